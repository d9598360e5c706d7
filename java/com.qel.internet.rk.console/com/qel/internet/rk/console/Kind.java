package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNListener;
import java.net.Inet4Address;
import java.net.InetAddress;
import java.net.UnknownHostException;
import java.nio.charset.StandardCharsets;
import java.time.Instant;
import java.time.ZoneId;
import java.time.format.DateTimeFormatter;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.regex.Pattern;

/** What the value of a field is: how it is typed, and how people read it. */
enum Kind {
    INT("N", Integer.MIN_VALUE, Integer.MAX_VALUE, "0"),
    INT8("N", Byte.MIN_VALUE, Byte.MAX_VALUE, "0"),
    UINT8("N", 0, 255, "0"),
    INT16("N", Short.MIN_VALUE, Short.MAX_VALUE, "0"),
    UINT16("N", 0, 65535, "0"),
    LONG("N", Long.MIN_VALUE, Long.MAX_VALUE, "0"),
    /** 0 or 1, typed as a word. */
    SWITCH("on|off", 0, 1, "off"),
    /** An identifier's key. */
    KEY("KEY", Integer.MIN_VALUE, Integer.MAX_VALUE, null),
    /** Seconds since 1970. */
    TIME("TIME", Integer.MIN_VALUE, Integer.MAX_VALUE, null),
    TEXT("TEXT", 0, 0, ""),
    /** An address in text form, or a host name, which the native library resolves. */
    ADDRESS("ADDRESS", 0, 0, "0.0.0.0"),
    /** An IPv4 address as an int in host byte order. */
    HOST_ORDER_ADDRESS("A.B.C.D", 0, 0, "0.0.0.0"),
    /** An IPv4 address as 4 bytes. */
    IPV4_BYTES("A.B.C.D", 0, 0, "0.0.0.0"),
    /** An IPv6 address as 16 bytes. */
    IPV6_BYTES("ADDRESS", 0, 0, "0:0:0:0:0:0:0:0"),
    /** Eight characters 0, 1 or x. */
    TYPE_OF_SERVICE("BITS", 0, 0, ""),
    /** A bound of a rule's range: a number and an address, of which the rule's type picks one. */
    RULE_BOUND("N|ADDRESS", 0, 0, null),
    /** A list of listeners. */
    LISTENERS("A.B.C.D[,PART=VALUE...]", 0, 0, "");

    /** How help calls the value. */
    final String argument;
    /** What a new object usually has in a field of this kind, as it is typed; null where that says nothing. */
    final String initial;
    private final long min;
    private final long max;

    private static final Pattern DOTTED = Pattern.compile("\\d{1,3}(\\.\\d{1,3}){3}");
    private static final Pattern SERVICE_BITS = Pattern.compile("[01xX]{8}");
    private static final Pattern NUMBER = Pattern.compile("[+-]?\\d+|0[xX][0-9a-fA-F]+");
    private static final String ANY_SERVICE = "xxxxxxxx";

    Kind(String argument, long min, long max, String initial) {
        this.argument = argument;
        this.initial = initial;
        this.min = min;
        this.max = max;
    }

    /** {@return the bounds of the value, for help; empty where there is nothing to say} */
    String bounds() {
        return switch (this) {
            case INT8, UINT8, INT16, UINT16 -> ", " + min + " to " + max;
            case RULE_BOUND -> ": a number, or for a rule of type address an address";
            case LISTENERS -> ": addresses at which the server listens, at most two, each with an option of its own. Parts:"
                    + " map-port, protocol, key-ring, stash-file";
            default -> "";
        };
    }

    /**
     * Understands what was typed.
     *
     * @param limit the most bytes of a text; 0 for no limit
     * @return a Number, a String or a byte array
     * @throws UsageError when the text is not of this kind
     */
    Object parse(String text, int limit) {
        return switch (this) {
            case SWITCH -> parseSwitch(text);
            case TEXT, ADDRESS -> parseText(text, limit);
            case HOST_ORDER_ADDRESS -> toInt(parseIpv4(text));
            case IPV4_BYTES -> parseIpv4(text);
            case IPV6_BYTES -> parseIpv6(text);
            case TYPE_OF_SERVICE -> parseServiceBits(text);
            default -> parseNumber(text);
        };
    }

    /** {@return the value as people read it} */
    String format(Object value) {
        if (value == null || value.equals("")) {
            return "-";
        }
        return switch (this) {
            case SWITCH -> switch (((Number) value).intValue()) {
                case 0 -> "off";
                case 1 -> "on";
                default -> value.toString();
            };
            case KEY -> String.format("0x%08X", ((Number) value).intValue());
            case TIME -> formatTime(((Number) value).intValue());
            case LISTENERS -> formatListeners((List<?>) value);
            default -> plain(value).toString();
        };
    }

    /** {@return whether a text looks like a number} */
    static boolean isNumber(String text) {
        return NUMBER.matcher(text).matches();
    }

    /** {@return the value as it is typed; an address that was a name is dotted, and bits that say nothing are left out} */
    String typed(Object value) {
        if (value == null) {
            return "";
        }
        return switch (this) {
            case SWITCH -> format(value);
            case LISTENERS -> typedListeners((List<?>) value);
            case TYPE_OF_SERVICE -> value.equals(ANY_SERVICE) ? "" : value.toString().toLowerCase(Locale.ROOT);
            case ADDRESS -> typedAddress((String) value);
            case RULE_BOUND -> value instanceof String address ? typedAddress(address) : value.toString();
            default -> plain(value).toString();
        };
    }

    /** {@return a value as it is typed, for JSON: a Number for what is one} */
    Object document(String typed) {
        boolean isNumber = this != TEXT && this != TYPE_OF_SERVICE && isNumber(typed);
        return isNumber ? LONG.parse(typed, 0) : typed;
    }

    /** {@return the value as programs read it: a Number, or a String} */
    Object plain(Object value) {
        if (value instanceof byte[] bytes) {
            return formatAddress(bytes);
        }
        return this == HOST_ORDER_ADDRESS ? formatAddress(toBytes((Integer) value)) : value;
    }

    private static String formatListeners(List<?> listeners) {
        List<String> texts = new ArrayList<>();
        for (Object object : listeners) {
            CMNListener listener = (CMNListener) object;
            texts.add(formatAddress(toBytes(listener._iAddress)) + ":" + listener._iMapPort);
        }
        return texts.isEmpty() ? "-" : String.join(" ", texts);
    }

    private static String typedListeners(List<?> listeners) {
        List<String> texts = new ArrayList<>();
        for (Object listener : listeners) {
            StringBuilder text = new StringBuilder();
            for (Property part : ServerCommands.LISTENER_PARTS) {
                String value = part.typed(listener);
                boolean isAddress = part.option().isEmpty();
                if (isAddress || !value.equals(part.domain().initial())) {
                    text.append(isAddress ? "" : "," + part.option() + "=").append(value);
                }
            }
            texts.add(text.toString());
        }
        return String.join("\n", texts);
    }

    private static String typedAddress(String text) {
        if (text.isEmpty() || DOTTED.matcher(text).matches()) {
            return text;
        }
        try {
            for (InetAddress address : InetAddress.getAllByName(text)) {
                if (address instanceof Inet4Address) {
                    return address.getHostAddress();
                }
            }
        } catch (UnknownHostException e) {
            // The same as a host that has no such address.
        }
        throw new UsageError("'" + text + "' is no IPv4 address, nor the name of a host that has one");
    }

    private long parseNumber(String text) {
        long number;
        try {
            boolean isHexadecimal = text.startsWith("0x") || text.startsWith("0X");
            number = isHexadecimal ? Long.parseLong(text.substring(2), 16) : Long.parseLong(text);
        } catch (NumberFormatException e) {
            throw new UsageError("'" + text + "' is not a number");
        }
        if (number < min || number > max) {
            throw new UsageError(text + " is outside " + min + " to " + max);
        }
        return number;
    }

    private static long parseSwitch(String text) {
        return switch (text.toLowerCase(Locale.ROOT)) {
            case "on", "yes", "true", "1" -> 1;
            case "off", "no", "false", "0" -> 0;
            default -> throw new UsageError("'" + text + "' is neither on nor off");
        };
    }

    private static String parseText(String text, int limit) {
        int length = text.getBytes(StandardCharsets.UTF_8).length;
        if (limit > 0 && length > limit) {
            throw new UsageError("the text is " + length + " bytes long, the most is " + limit);
        }
        return text;
    }

    private static byte[] parseIpv4(String text) {
        byte[] bytes = new byte[4];
        boolean isAddress = DOTTED.matcher(text).matches();
        for (int i = 0; i < bytes.length && isAddress; i++) {
            int part = Integer.parseInt(text.split("\\.")[i]);
            isAddress = part <= 255;
            bytes[i] = (byte) part;
        }
        if (!isAddress) {
            throw new UsageError("'" + text + "' is not an IPv4 address of the form A.B.C.D");
        }
        return bytes;
    }

    private static byte[] parseIpv6(String text) {
        try {
            // With a colon in it, the text is never looked up as a host name.
            byte[] bytes = text.contains(":") && !text.contains("%") ? InetAddress.getByName(text).getAddress() : null;
            if (bytes != null && bytes.length == 16) {
                return bytes;
            }
        } catch (UnknownHostException e) {
            // The same as an address of another kind.
        }
        throw new UsageError("'" + text + "' is not an IPv6 address");
    }

    private static String parseServiceBits(String text) {
        if (!SERVICE_BITS.matcher(text).matches()) {
            throw new UsageError("'" + text + "' is not eight characters 0, 1 or x, one a bit, highest bit first");
        }
        return text;
    }

    private static int toInt(byte[] address) {
        int value = 0;
        for (byte part : address) {
            value = value << 8 | (part & 0xFF);
        }
        return value;
    }

    private static byte[] toBytes(int address) {
        return new byte[] {(byte) (address >> 24), (byte) (address >> 16), (byte) (address >> 8), (byte) address};
    }

    private static String formatAddress(byte[] bytes) {
        try {
            return InetAddress.getByAddress(bytes).getHostAddress();
        } catch (UnknownHostException e) {
            throw new IllegalStateException("an address has 4 or 16 bytes, this one " + bytes.length, e);
        }
    }

    private static String formatTime(int seconds) {
        String date = DateTimeFormatter.ofPattern("yyyy-MM-dd HH:mm:ss zzz", Locale.ROOT)
                .withZone(ZoneId.systemDefault())
                .format(Instant.ofEpochSecond(seconds));
        return seconds + " (" + date + ")";
    }
}
