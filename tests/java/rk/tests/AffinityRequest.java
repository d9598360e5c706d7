package rk.tests;

/** A request of server-directed affinity: the members that the library reads and writes, and no others. */
public class AffinityRequest {
    public int iCommand;
    public int iClusterAddr;
    public int iPort;
    public int iNumAffinities;
    public int iResponse = -7;
    public int iTime = -7;
    public int[] aiClientAddr = {};
    public int[] aiServerAddr = {};
    public int[] aiNumActive = {};
    public int[] aiAgeOrResponse = {};
}
