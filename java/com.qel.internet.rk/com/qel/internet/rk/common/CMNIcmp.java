package com.qel.internet.rk.common;

/** Whether an ICMP response came, and from where. */
public final class CMNIcmp {
    /** Creates a record of no response. */
    public CMNIcmp() {
    }

    /** 1 when a response came, 0 when not. */
    public int iGotIcmpResp;
    /** Address that the response came from; travels unchanged. */
    public int iIcmpRespAddr;
}
