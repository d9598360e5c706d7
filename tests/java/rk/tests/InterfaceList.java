package rk.tests;

/** The fields of an interface list, and no more. */
public class InterfaceList {
    public int iNumInterfaces = 77;
    public int[] aiIp = new int[120];
    public int[] aiNetmask = new int[120];
    public int[] aiNetnumber = new int[120];
    public int[] aiBroadcast = new int[120];
}
