package com.qel.internet.rk.executor;

import java.net.InetAddress;
import java.util.Objects;

/** IPv4 addresses that are written in the program, without a checked exception and without asking a name service. */
public final class Addresses {
    private Addresses() {
    }

    /**
     * Understands a dotted address.
     *
     * @param dotted four decimal numbers from 0 to 255 with dots between them, such as {@code 10.0.0.5}
     * @return the address
     * @throws IllegalArgumentException when the text is anything else, a host's name for example
     */
    public static InetAddress ipv4(String dotted) {
        InetAddress address = Values.address(Objects.requireNonNull(dotted, "address"));
        if (address == null) {
            throw new IllegalArgumentException("an empty text is no dotted IPv4 address");
        }
        return address;
    }
}
