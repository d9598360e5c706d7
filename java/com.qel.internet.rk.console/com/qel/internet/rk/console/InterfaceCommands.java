package com.qel.internet.rk.console;

import static com.qel.internet.rk.console.Property.read;

import com.qel.internet.rk.common.CMNInterfaceList;
import java.util.List;
import java.util.Map;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.ParseResult;

/** The network interfaces as the executor knows them. */
final class InterfaceCommands {
    private static final String LOCAL = "--local";
    private static final String MAC = "mac";

    /** The names are those of the executor's own print of the list. */
    private static final List<Property> INTERFACE = List.of(
            read("name", "interface", Kind.TEXT),
            read("ip", "address", Kind.TEXT),
            read("localip", "local address", Kind.TEXT),
            read("netmask", "mask", Kind.TEXT),
            read("netnumber", "subnet", Kind.TEXT),
            read("broadcast", "broadcast", Kind.TEXT),
            read(MAC, "hardware address", Kind.TEXT));

    private InterfaceCommands() {
    }

    /** {@return the commands} */
    static CommandSpec create(Session session) {
        CommandGroup interfaces = new CommandGroup("interface", "The network interfaces as the executor knows them.");
        interfaces.command("list", "List the interfaces, aliases included.", typed -> list(session));
        interfaces.command("refresh",
                "Make the library read the executor's list anew, as list and nic do by themselves.", typed -> {
                    session.requireExecutor();
                    session.natives().setInterfacesNative(null);
                    session.output.sent("debug misc 8");
                });
        Identity address = Identity.argument("A.B.C.D", "The address.", Kind.HOST_ORDER_ADDRESS);
        CommandSpec nic = interfaces.command("nic", "Show the address of the interface on an address's subnet.",
                typed -> nic(session, address.number(typed, 0), typed), address);
        nic.addOption(OptionSpec.builder(LOCAL).description("Show the interface's local address.").build());
        interfaces.command("reserved", "Show the library's answer to the method that is reserved for the list.",
                typed -> session.output.value("answer",
                        session.natives().getInterfaceListNative(null, new CMNInterfaceList())));
        return interfaces.definition;
    }

    private static void list(Session session) {
        session.natives().setInterfacesNative(null);
        List<Map<String, Object>> rows = DebugCommands.Sub.INTERFACES.records(session);
        rows.forEach(row -> row.computeIfPresent(MAC, (name, mac) -> withLeadingZeros(mac.toString())));
        session.output.table(rows, INTERFACE);
    }

    /** {@return a hardware address with two digits a byte} */
    private static String withLeadingZeros(String mac) {
        return Stream.of(mac.split(":")).map(part -> "0".repeat(Math.max(0, 2 - part.length())) + part)
                .collect(Collectors.joining(":"));
    }

    private static void nic(Session session, int address, ParseResult typed) {
        session.natives().setInterfacesNative(null);
        int found = session.natives().getNicAddrNative(address, typed.hasMatchedOption(LOCAL) ? 1 : 0);
        if (found == 0) {
            throw new Refusal(null, "no interface is on the subnet of " + Kind.HOST_ORDER_ADDRESS.format(address));
        }
        session.output.value("address", Kind.HOST_ORDER_ADDRESS.format(found));
    }
}
