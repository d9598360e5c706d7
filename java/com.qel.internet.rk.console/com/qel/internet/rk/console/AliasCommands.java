package com.qel.internet.rk.console;

import static com.qel.internet.rk.console.Property.read;
import static com.qel.internet.rk.console.Property.setting;

import com.qel.internet.rk.common.CMNAddressConfig;
import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.ParseResult;

/** Cluster addresses on the machine's network interfaces. */
final class AliasCommands {
    private static final String INTERFACE = "--interface";
    private static final String MASK = "--netmask";
    private static final int NOT_CONFIGURED = -63;
    private static final int LONGEST_NAME = 9; // characters that the executor's list keeps of an interface's name
    private static final Pattern NUMBER = Pattern.compile(".*:(\\d{1,2})");

    private static final Table CONFIG = Table.of(CMNAddressConfig::new,
            read("Address", "address", Kind.ADDRESS),
            setting("InterfaceName", "interface", Kind.TEXT, INTERFACE, "ConfigInfoProvided"),
            setting("NetMask", "mask", Kind.ADDRESS, MASK, "ConfigInfoProvided"));

    private AliasCommands() {
    }

    /** {@return the commands} */
    static CommandSpec create(Session session) {
        Identity address = new Identity("ADDRESS", "The cluster address, dotted.", Kind.ADDRESS, "Address", null, 0);
        ObjectFamily aliases = new ObjectFamily(session, Family.ALIAS, "alias",
                "Cluster addresses on this machine's network interfaces, so that it answers for them.", address);
        aliases.make("configure", "Put an address on an interface, as an alias. Without an interface and a mask, both"
                + " are found by the address's subnet.", CONFIG, CMNExecutorInterface::configureAddressNative,
                (typed, config) -> {
                    requireBoth(typed);
                    requireRoom(session, (CMNAddressConfig) config);
                });
        aliases.act("unconfigure", "Take an address off its interface.", CONFIG,
                CMNExecutorInterface::unconfigureAddressNative);
        aliases.ask("status", "Show whether an alias carries an address.", "configured", NOT_CONFIGURED, CONFIG,
                CMNExecutorInterface::clusterConfigureStatusNative);
        aliases.show("info", "Show which interface carries an address as an alias, and with which mask.", CONFIG,
                CMNExecutorInterface::getAddressConfigureInfoNative);
        return aliases.definition();
    }

    private static void requireBoth(ParseResult typed) {
        if (typed.hasMatchedOption(INTERFACE) != typed.hasMatchedOption(MASK)) {
            throw new UsageError(INTERFACE + " and " + MASK + " go together");
        }
    }

    /**
     * Refuses an address whose alias would lose its number in the executor's list. The library would take it for the
     * interface itself: it could not take the address off again, and the next address would replace it.
     */
    private static void requireRoom(Session session, CMNAddressConfig config) {
        List<Map<String, Object>> interfaces = interfaces(session);
        String name = config.ConfigInfoProvided == 1 ? config.InterfaceName : onSubnet(interfaces, config.Address);
        if (name == null || name.contains(":") || !isListed(interfaces, name)) {
            return; // the library takes it as it is, or refuses it
        }
        boolean hasAlias = session.natives().clusterConfigureStatusNative(config) == 0;
        int number = hasAlias ? 1 : freeNumber(interfaces, name);
        if ((name + ":" + number).length() > LONGEST_NAME) {
            throw new Refusal(null, "the executor's list keeps " + LONGEST_NAME + " characters of a name, and the alias "
                    + name + ":" + number + " is longer: the next address would replace this one");
        }
    }

    /** {@return the executor's list; empty when the executor cannot be reached, as the library tells then} */
    private static List<Map<String, Object>> interfaces(Session session) {
        session.natives().setInterfacesNative(null);
        try {
            return DebugCommands.Sub.INTERFACES.records(session);
        } catch (Refusal unreachable) {
            return List.of();
        }
    }

    /** {@return the interface that the library takes for an address; null when there is none} */
    private static String onSubnet(List<Map<String, Object>> interfaces, String address) {
        try {
            int wanted = (Integer) Kind.HOST_ORDER_ADDRESS.parse(address, 0);
            for (Map<String, Object> row : interfaces) {
                int mask = addressIn(row, "netmask");
                if (mask != 0 && (wanted & mask) == addressIn(row, "netnumber")) {
                    return row.get("name").toString();
                }
            }
        } catch (UsageError noDottedAddress) { // a host's name, or nothing that the library takes
            return null;
        }
        return null;
    }

    private static boolean isListed(List<Map<String, Object>> interfaces, String name) {
        String cut = name.substring(0, Math.min(LONGEST_NAME, name.length()));
        return interfaces.stream().anyMatch(row -> row.get("name").equals(cut));
    }

    private static int addressIn(Map<String, Object> row, String field) {
        return (Integer) Kind.HOST_ORDER_ADDRESS.parse(row.get(field).toString(), 0);
    }

    /** {@return the number that the library gives the next alias of an interface} */
    private static int freeNumber(List<Map<String, Object>> interfaces, String name) {
        Set<Integer> taken = interfaces.stream().map(row -> row.get("name").toString())
                .filter(other -> other.startsWith(name)).map(NUMBER::matcher).filter(Matcher::matches)
                .map(number -> Integer.valueOf(number.group(1))).collect(Collectors.toSet());
        return IntStream.iterate(1, number -> number + 1).filter(number -> !taken.contains(number)).findFirst()
                .getAsInt();
    }
}
