package com.qel.internet.rk.common;

/**
 * Network interfaces. Element i of each array belongs to the same interface; addresses and masks are in host byte
 * order. {@link CMNExecutorInterface#getInterfaceListNative getInterfaceListNative} is reserved for filling it, and
 * fills nothing yet.
 */
public final class CMNInterfaceList {
    /** The most interfaces that the executor tells of. */
    public static final int CAPACITY = 100;

    /** Creates an empty list. */
    public CMNInterfaceList() {
    }

    /** Number of interfaces. */
    public int iNumInterfaces;
    /** Addresses. */
    public final int[] aiIp = new int[CAPACITY];
    /** Subnet masks. */
    public final int[] aiNetmask = new int[CAPACITY];
    /** Subnet numbers: address and mask. */
    public final int[] aiNetnumber = new int[CAPACITY];
    /** Broadcast addresses. */
    public final int[] aiBroadcast = new int[CAPACITY];
}
