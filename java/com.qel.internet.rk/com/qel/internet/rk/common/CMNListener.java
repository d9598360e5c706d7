package com.qel.internet.rk.common;

/**
 * A listener of a server: an address and port at which the server takes connections. The native methods read it through
 * its methods and fill it through {@link #setAddress} and its fields.
 */
public final class CMNListener {
    /** Address, in host byte order: 10.0.0.1 is 0x0A000001. */
    public int _iAddress;
    /** Port of the server, 0 to 65535; 0 for the cluster port's own number. */
    public int _iMapPort;
    /** Protocol number; the executor gives it its meaning. */
    public int _iProtocol;
    /** Name of the key ring file; keep it below 256 bytes. */
    public String _sKeyRing = "";
    /** Name of the file with the key ring's password; keep it below 256 bytes. */
    public String _sStashFile = "";

    /** Creates a listener without an address. */
    public CMNListener() {
    }

    /**
     * Creates a listener.
     *
     * @param address its address, in host byte order
     * @param mapPort port of the server, 0 to 65535
     */
    public CMNListener(int address, int mapPort) {
        _iAddress = address;
        _iMapPort = mapPort;
    }

    /** {@return the address, in host byte order} */
    public int getIntAddress() {
        return _iAddress;
    }

    /**
     * Sets the address.
     *
     * @param address in host byte order
     */
    public void setAddress(int address) {
        _iAddress = address;
    }

    /** {@return the port of the server} */
    public int getMapPort() {
        return _iMapPort;
    }

    /** {@return the protocol number} */
    public int getProtocol() {
        return _iProtocol;
    }

    /** {@return the name of the key ring file} */
    public String getKeyRing() {
        return _sKeyRing;
    }

    /** {@return the name of the file with the key ring's password} */
    public String getStashFile() {
        return _sStashFile;
    }
}
