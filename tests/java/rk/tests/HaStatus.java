package rk.tests;

/** The fields of a high-availability status, and no more. */
public class HaStatus {
    public int haFsmAddress = 77;
    public int haFsmMode = 77;
    public int haRole = 77;
    public int haStrategy = 77;
    public int haState = 77;
    public int haSubstate = 77;
    public int haPort = 77;
    public int haHBCount = 77;
    public int haPeer = 77;
    public int haReachCount = 77;
    public int[] haLocal_Address = new int[40];
    public int[] haRemote_Address = new int[40];
    public int[] haStatus = new int[40];
    public int[] haAddress = new int[40];
    public int[] haMask = new int[40];
    public int[] haType = new int[40];
    public int[] haAddress_status = new int[40];
    public int[] haRemote_status = new int[40];
    public int[] haLTimeStamp = new int[40];
    public int[] haRTimeStamp = new int[40];
}
