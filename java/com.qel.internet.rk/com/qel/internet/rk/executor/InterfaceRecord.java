package com.qel.internet.rk.executor;

import java.net.InetAddress;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * A network interface, or an alias of one, as the executor knows it.
 *
 * @param name            its name, of which the executor keeps nine characters; that of an alias has a colon
 * @param address         its address
 * @param localAddress    its local address
 * @param mask            the mask of its subnet
 * @param subnet          the number of its subnet
 * @param broadcast       the address of all on its subnet
 * @param hardwareAddress its hardware address: six numbers of two hexadecimal digits, with colons between them
 */
public record InterfaceRecord(String name, InetAddress address, InetAddress localAddress, InetAddress mask,
        InetAddress subnet, InetAddress broadcast, String hardwareAddress) {
    /** Characters that the executor's list keeps of a name. */
    static final int LONGEST_NAME = 9;

    private static final String TITLE = "Interface List Info.";
    private static final Pattern ITEM = Pattern.compile(" (\\w+) \\.+ (.*)");
    private static final String LAST_ITEM = "name";

    /** {@return the records behind the counters of a dump} */
    static List<InterfaceRecord> parse(String dump) {
        List<InterfaceRecord> records = new ArrayList<>();
        Map<String, String> items = new HashMap<>();
        for (String line : dump.lines().dropWhile(line -> !line.equals(TITLE)).toList()) {
            Matcher item = ITEM.matcher(line);
            if (item.matches()) {
                items.put(item.group(1), item.group(2));
                if (item.group(1).equals(LAST_ITEM)) {
                    records.add(of(items));
                }
            }
        }
        return List.copyOf(records);
    }

    private static InterfaceRecord of(Map<String, String> items) {
        Object[] mac = Pattern.compile(":").splitAsStream(items.get("mac")).map(part -> Integer.valueOf(part, 16))
                .toArray();
        return new InterfaceRecord(items.get(LAST_ITEM), Values.address(items.get("ip")),
                Values.address(items.get("localip")), Values.address(items.get("netmask")),
                Values.address(items.get("netnumber")), Values.address(items.get("broadcast")),
                String.format("%02X:%02X:%02X:%02X:%02X:%02X", mac));
    }

    /** {@return whether the library takes this interface for an address} */
    boolean hasOnSubnet(InetAddress other) {
        int itsMask = Values.number(mask, "mask");
        return itsMask != 0 && (Values.number(other, "address") & itsMask) == Values.number(subnet, "subnet");
    }
}
