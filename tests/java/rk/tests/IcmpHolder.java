package rk.tests;

/** An ICMP response: the members that the library reads and writes, and no others. */
public class IcmpHolder {
    public int iGotIcmpResp = -7;
    public int iIcmpRespAddr = -7;
}
