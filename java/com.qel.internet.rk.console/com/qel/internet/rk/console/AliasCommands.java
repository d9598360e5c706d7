package com.qel.internet.rk.console;

import static com.qel.internet.rk.console.Property.read;
import static com.qel.internet.rk.console.Property.setting;

import com.qel.internet.rk.common.CMNAddressConfig;
import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNStatus.Family;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.ParseResult;

/** Cluster addresses on the machine's network interfaces. */
final class AliasCommands {
    private static final String INTERFACE = "--interface";
    private static final String MASK = "--netmask";
    private static final int NOT_CONFIGURED = -63;

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
                (typed, config) -> requireBoth(typed));
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
}
