package com.qel.internet.rk.executor;

import java.net.Inet4Address;
import java.net.Inet6Address;
import java.net.InetAddress;
import java.net.UnknownHostException;
import java.time.Duration;

/**
 * Values between Java's types and those of the native methods. A value that would not arrive as it was given is an
 * IllegalArgumentException that names it; whether the executor likes what arrives is not decided here.
 */
final class Values {
    static final int HIGHEST_PORT = 65535;

    private Values() {
    }

    static int within(int value, int low, int high, String what) {
        if (value < low || value > high) {
            throw new IllegalArgumentException(what + ": " + value + " is outside " + low + " to " + high);
        }
        return value;
    }

    static int port(int number) {
        return within(number, 0, HIGHEST_PORT, "port number");
    }

    static int seconds(Duration time, String what) {
        long seconds = time.getSeconds();
        if (time.getNano() != 0 || seconds != (int) seconds) {
            throw new IllegalArgumentException(what + ": " + time + " is no number of seconds that an int holds");
        }
        return (int) seconds;
    }

    /** {@return a text of at most this many bytes, as native code counts them} */
    static String text(String text, int most, String what) {
        int bytes = 0;
        for (int i = 0; i < text.length(); i++) {
            char c = text.charAt(i);
            bytes += c != 0 && c < 0x80 ? 1 : c < 0x800 ? 2 : 3;
        }
        if (bytes > most) {
            throw new IllegalArgumentException(what + ": " + bytes + " bytes are more than " + most);
        }
        return text;
    }

    static byte[] bytes4(InetAddress address, String what) {
        if (!(address instanceof Inet4Address)) {
            throw new IllegalArgumentException(what + ": " + address.getHostAddress() + " is no IPv4 address");
        }
        return address.getAddress();
    }

    static byte[] bytes16(InetAddress address, String what) {
        if (!(address instanceof Inet6Address)) {
            throw new IllegalArgumentException(what + ": " + address.getHostAddress() + " is no IPv6 address");
        }
        return address.getAddress();
    }

    /** {@return an IPv4 address in dotted form} */
    static String dotted(InetAddress address, String what) {
        bytes4(address, what);
        return address.getHostAddress();
    }

    /** {@return an IPv4 address in host byte order: 10.0.0.1 is 0x0A000001} */
    static int number(InetAddress address, String what) {
        int number = 0;
        for (byte part : bytes4(address, what)) {
            number = number << 8 | part & 0xFF;
        }
        return number;
    }

    /** {@return the IPv4 address that a number in host byte order is} */
    static InetAddress address(int number) {
        return address(new byte[] {(byte) (number >> 24), (byte) (number >> 16), (byte) (number >> 8), (byte) number});
    }

    static InetAddress address(byte[] bytes) {
        try {
            return InetAddress.getByAddress(bytes);
        } catch (UnknownHostException e) { // only for a length that no address has
            throw new IllegalArgumentException(e);
        }
    }

    /**
     * {@return the address that a native method wrote; null when it wrote none}
     *
     * @throws IllegalArgumentException when the text is not four numbers from 0 to 255 with dots between them
     */
    static InetAddress address(String dotted) {
        if (dotted == null || dotted.isEmpty()) {
            return null;
        }
        int number = 0;
        int part = -1;
        int dots = 0;
        for (int i = 0; i < dotted.length(); i++) {
            char c = dotted.charAt(i);
            if (c == '.' && part >= 0) {
                number = number << 8 | part;
                part = -1;
                dots++;
            } else if (c >= '0' && c <= '9' && part != 0) {
                part = Math.max(part, 0) * 10 + c - '0';
            } else {
                part = 256;
            }
            if (part > 255 || dots > 3) {
                break;
            }
        }
        if (part < 0 || part > 255 || dots != 3) {
            throw new IllegalArgumentException("'" + dotted + "' is no dotted IPv4 address");
        }
        return address(number << 8 | part);
    }
}
