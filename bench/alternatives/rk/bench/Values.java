package rk.bench;

import java.nio.ByteOrder;

/** What all the alternatives in Java share: keys and addresses, as the records want them. */
final class Values {
    static final int BAD_ADDRESS = -3;
    static final int NO_IDENTIFIER = -88;
    static final int IDENTIFIER_TOO_LONG = -90;

    private static final int IDENTIFIER_MOST = 64;
    private static final boolean LITTLE = ByteOrder.nativeOrder() == ByteOrder.LITTLE_ENDIAN;

    private Values() {
    }

    /** 0 for an identifier that an object may be added with, else a status. */
    static int checkIdentifier(String identifier) {
        if (identifier == null) {
            return NO_IDENTIFIER;
        }
        return identifier.length() > IDENTIFIER_MOST ? IDENTIFIER_TOO_LONG : 0;
    }

    /** The key of an ASCII identifier. */
    static int keyOf(String identifier) {
        int hash = -1;
        int length = identifier.length();
        int current = length > 0 ? Character.toUpperCase(identifier.charAt(0)) : 0;
        for (int i = 0; i < length; i++) {
            int next = i + 1 < length ? Character.toUpperCase(identifier.charAt(i + 1)) : 0;
            hash += shiftLeft(rotate(current, i % 64) + next, i);
            current = next;
        }
        return hash;
    }

    private static int shiftLeft(int value, int count) {
        int within = count % 64;
        return within < 32 ? value << within : 0;
    }

    private static int rotate(int value, int count) {
        return count < 9 ? (value >> count | value << (8 - count)) & 0xFF : 0;
    }

    /** The word in network byte order of a dotted address, or -1 when it is none. */
    static long addressOf(String text) {
        if (text == null) {
            return 0;
        }
        int word = 0;
        int part = 0;
        int dots = 0;
        for (int i = 0; i < text.length(); i++) {
            char character = text.charAt(i);
            if (character == '.') {
                word = word << 8 | part;
                part = 0;
                dots++;
            } else if (character >= '0' && character <= '9') {
                part = part * 10 + character - '0';
                if (part > 255) {
                    return -1;
                }
            } else {
                return -1;
            }
        }
        return dots != 3 ? -1 : networkOrder(word << 8 | part) & 0xFFFFFFFFL;
    }

    static String textOf(int networkWord) {
        int word = networkOrder(networkWord);
        return new StringBuilder(15).append(word >>> 24).append('.').append(word >>> 16 & 0xFF).append('.')
                .append(word >>> 8 & 0xFF).append('.').append(word & 0xFF).toString();
    }

    private static int networkOrder(int word) {
        return LITTLE ? Integer.reverseBytes(word) : word;
    }
}
