package com.qel.internet.rk.common;

/** A cluster address, and the network interface that carries it as an alias. */
public final class CMNAddressConfig {
    /** Creates a configuration whose interface is found by the address's subnet. */
    public CMNAddressConfig() {
    }

    /** The cluster address, dotted. */
    public String Address;
    /** 1 when {@link #InterfaceName} and {@link #NetMask} are given; otherwise they are found by the subnet. */
    public byte ConfigInfoProvided;
    /** Name of the interface, such as eth0; when writing, of an alias too, such as eth0:1. */
    public String InterfaceName;
    /** Subnet mask, dotted. */
    public String NetMask;
}
