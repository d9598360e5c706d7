import static com.qel.internet.rk.executor.Addresses.ipv4;

import com.qel.internet.rk.executor.Alias;
import com.qel.internet.rk.executor.Aliases;
import com.qel.internet.rk.executor.Executor;
import com.qel.internet.rk.executor.InterfaceRecord;
import java.net.InetAddress;
import java.util.List;
import java.util.Optional;

/** Cluster addresses on the interfaces of a machine that aliases.sh has made. */
final class AliasesArePutUp {
    private static final int LEAST_EXPECTATIONS = 14;

    private AliasesArePutUp() {
    }

    public static void main(String[] arguments) {
        InetAddress mask = ipv4("255.255.255.0");
        try (Executor executor = Executor.openUserSpace()) {
            Aliases aliases = executor.aliases();
            Check.expect("interface", find(aliases, "rk0"), Optional.of(new InterfaceRecord("rk0", ipv4("10.77.0.1"),
                    ipv4("10.77.0.1"), mask, ipv4("10.77.0.0"), ipv4("10.77.0.255"), "02:00:0A:4D:00:01")));

            aliases.configure(ipv4("10.77.0.50"));
            aliases.configure(ipv4("10.88.0.51"), "rk0", mask);
            Check.expect("alias", aliases.of(ipv4("10.77.0.50")),
                    Optional.of(new Alias(ipv4("10.77.0.50"), "rk0", mask)));
            Check.expect("first", find(aliases, "rk0:1").map(InterfaceRecord::address),
                    Optional.of(ipv4("10.77.0.50")));
            Check.expect("second", find(aliases, "rk0:2").map(InterfaceRecord::address),
                    Optional.of(ipv4("10.88.0.51")));

            List<InterfaceRecord> before = aliases.interfaces();
            refused("by the subnet", "rk0longer:1: 11 bytes", () -> aliases.configure(ipv4("10.78.0.50")));
            refused("by name", "rk0longer:1: 11 bytes",
                    () -> aliases.configure(ipv4("10.80.0.50"), "rk0longer", mask));
            refused("name of an alias", "rk0seven:1: 10 bytes",
                    () -> aliases.configure(ipv4("10.80.0.50"), "rk0seven:1", mask));
            refused("the tenth", "rkseven:10: 10 bytes", () -> aliases.configure(ipv4("10.79.0.50")));
            Check.expect("nothing is done", aliases.interfaces(), before);

            aliases.configure(ipv4("10.79.0.15")); // which an alias carries
            aliases.configure(ipv4("10.77.0.50"));
            Check.expect("again", find(aliases, "rk0:1").map(InterfaceRecord::address),
                    Optional.of(ipv4("10.77.0.50")));
            aliases.unconfigure(ipv4("10.77.0.50"));
            Check.expect("taken off", aliases.of(ipv4("10.77.0.50")), Optional.empty());
        }
        Check.exit(LEAST_EXPECTATIONS);
    }

    private static Optional<InterfaceRecord> find(Aliases aliases, String name) {
        return aliases.interfaces().stream().filter(each -> each.name().equals(name)).findFirst();
    }

    private static void refused(String what, String alias, Runnable call) {
        Check.expect(what, Check.expectThrown(what, IllegalArgumentException.class, call),
                "alias " + alias + " are more than 9");
    }
}
