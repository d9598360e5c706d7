package com.qel.internet.rk.common;

/**
 * The state of the executor's high-availability machine, as
 * {@link CMNExecutorInterface#getHAInfoNative getHAInfoNative} fills it. The executor defines what the numbers of
 * mode, role, strategy, states and types mean. Addresses and masks are in host byte order: 10.0.0.1 is 0x0A000001.
 */
public final class CMNHAStatus {
    /** The most heartbeats, and the most reach targets, that an executor has. */
    public static final int CAPACITY = 32;

    /** Creates an empty status. */
    public CMNHAStatus() {
    }

    /** Address of the state machine; it is sent with the question, and is the executor's own afterwards. */
    public int haFsmAddress;
    /** Mode of the state machine. */
    public int haFsmMode;
    /** Role of this load balancer. */
    public int haRole;
    /** Strategy by which a load balancer that was down gets its role back. */
    public int haStrategy;
    /** State. */
    public int haState;
    /** Substate. */
    public int haSubstate;
    /** Port on which the partners talk, 0 to 65535. */
    public int haPort;
    /** State of the partner. */
    public int haPeer;

    /** Number of heartbeats: as many elements of the next three arrays are filled. */
    public int haHBCount;
    /** Heartbeats: addresses of this load balancer. */
    public final int[] haLocal_Address = new int[CAPACITY];
    /** Heartbeats: addresses of the partner. */
    public final int[] haRemote_Address = new int[CAPACITY];
    /** Heartbeats: statuses. */
    public final int[] haStatus = new int[CAPACITY];

    /** Number of reach targets: as many elements of the next seven arrays are filled. */
    public int haReachCount;
    /** Reach targets: addresses. */
    public final int[] haAddress = new int[CAPACITY];
    /** Reach targets: masks. */
    public final int[] haMask = new int[CAPACITY];
    /** Reach targets: types. */
    public final int[] haType = new int[CAPACITY];
    /** Reach targets: statuses as this load balancer sees them. */
    public final int[] haAddress_status = new int[CAPACITY];
    /** Reach targets: statuses as the partner sees them. */
    public final int[] haRemote_status = new int[CAPACITY];
    /** Reach targets: when this load balancer's status was set, on the executor's own clock. */
    public final int[] haLTimeStamp = new int[CAPACITY];
    /** Reach targets: when the partner's status was set, on the executor's own clock. */
    public final int[] haRTimeStamp = new int[CAPACITY];
}
