package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNListener;
import java.net.InetAddress;
import java.util.Objects;

/**
 * An address and a port at which a server takes connections.
 *
 * @param address   an IPv4 address
 * @param port      the port there, 0 to 65535; 0 for the number of the cluster's port
 * @param protocol  protocol; the executor gives the numbers their meaning
 * @param keyRing   name of the key ring file, at most 255 bytes; empty for none
 * @param stashFile name of the file with the key ring's password, at most 255 bytes; empty for none
 */
public record Listener(InetAddress address, int port, int protocol, String keyRing, String stashFile) {
    private static final int LONGEST_FILE = 255;

    /**
     * Takes what arrives as it is given.
     *
     * @param address   an IPv4 address
     * @param port      the port there
     * @param protocol  protocol
     * @param keyRing   name of the key ring file
     * @param stashFile name of the file with the key ring's password
     * @throws IllegalArgumentException when the address is no IPv4 address, the port outside 0 to 65535, or a name too
     *         long
     */
    public Listener {
        Values.bytes4(Objects.requireNonNull(address, "address"), "listener");
        Values.port(port);
        Values.text(Objects.requireNonNull(keyRing, "key ring"), LONGEST_FILE, "key ring");
        Values.text(Objects.requireNonNull(stashFile, "stash file"), LONGEST_FILE, "stash file");
    }

    /**
     * A listener without keys.
     *
     * @param address an IPv4 address
     * @param port    the port there, 0 to 65535
     * @throws IllegalArgumentException when the address is no IPv4 address, or the port outside 0 to 65535
     */
    public Listener(InetAddress address, int port) {
        this(address, port, 0, "", "");
    }

    /**
     * A listener without keys at the number of the cluster's port.
     *
     * @param address an IPv4 address
     * @throws IllegalArgumentException when it is no IPv4 address
     */
    public Listener(InetAddress address) {
        this(address, 0);
    }

    static Listener of(CMNListener from) {
        return new Listener(Values.address(from._iAddress), from._iMapPort & Values.HIGHEST_PORT, from._iProtocol,
                from._sKeyRing, from._sStashFile);
    }

    CMNListener toNative() {
        CMNListener listener = new CMNListener(Values.number(address, "listener"), port);
        listener._iProtocol = protocol;
        listener._sKeyRing = keyRing;
        listener._sStashFile = stashFile;
        return listener;
    }
}
