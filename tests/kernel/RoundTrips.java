import com.qel.internet.rk.common.CMNAffinityRequest;
import com.qel.internet.rk.common.CMNCluster;
import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNExecutorStatus;
import com.qel.internet.rk.common.CMNIcmp;
import com.qel.internet.rk.common.CMNPort;
import com.qel.internet.rk.common.CMNServer;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.function.BooleanSupplier;

/**
 * Shows how long a round trip of commands of several lengths takes, to the executor in the same process and to the one
 * behind the device, and what the daemon reads and writes for it. Argument: the daemon's program.
 */
final class RoundTrips {
    private static final int USER_SPACE = 1;
    private static final int KERNEL = 0;
    private static final int QUERY = 3;
    private static final int BATCHES = 4;
    private static final int CALLS = 20; // a batch
    private static final int LOG_BYTES = 1000; // of a text; the whole block travels anyway

    private static final CMNExecutorInterface EXECUTOR = new CMNExecutorInterface();

    /** A command: its length, and a call that is true when it was performed. */
    private record Command(String name, int bytes, BooleanSupplier call) {
    }

    private static final List<Command> COMMANDS = List.of(
            new Command("set timers", 16,
                    () -> EXECUTOR.setTimersNative("1", "1", "1", "1", "1", "1", "1") == 0),
            new Command("read ICMP", 24, () -> EXECUTOR.getIcmpInfoNative(new CMNIcmp()) == 0),
            new Command("read cluster", 192, () -> EXECUTOR.getClusterStatusNative(cluster()) == 0),
            new Command("read executor", 696, () -> EXECUTOR.getExecutorStatusNative(new CMNExecutorStatus()) == 0),
            new Command("read server", 1952, () -> EXECUTOR.getServerStatusNative(server()) == 0),
            new Command("read interfaces", 5620, () -> {
                EXECUTOR.setInterfacesNative(null);
                return EXECUTOR.getNicAddrNative(0x7F000001, 0) == 0x7F000001;
            }),
            new Command("read log", 64016, () -> EXECUTOR.xlogtailNative(LOG_BYTES).endsWith("\n")),
            new Command("3000 affinities", 96048, () -> EXECUTOR.serverDirectedAffinityNative(affinities()) == 0));

    /** What a round trip takes. */
    private record Cost(double microseconds, long bytesIn, long bytesOut, double rounds) {
    }

    private RoundTrips() {
    }

    public static void main(String[] arguments) throws IOException, InterruptedException {
        Process daemon = Device.serve(arguments[0]);
        System.out.printf("%-16s %6s %9s %9s %6s   %s%n", "command", "bytes", "user/us", "kernel/us", "ratio",
                "daemon: rounds, bytes in, bytes out");
        EXECUTOR.userExecutorProcessInitNative();
        EXECUTOR.startUserExecutorNative();
        for (int mode : new int[] {USER_SPACE, KERNEL}) {
            EXECUTOR.setKVAServerModalityNative(mode);
            prepare();
        }
        for (Command command : COMMANDS) {
            EXECUTOR.setKVAServerModalityNative(USER_SPACE);
            Cost user = measure(command, daemon);
            EXECUTOR.setKVAServerModalityNative(KERNEL);
            Cost kernel = measure(command, daemon);
            System.out.printf("%-16s %6d %9.1f %9.1f %6.1f   %.1f %d %d%n", command.name, command.bytes,
                    user.microseconds, kernel.microseconds, kernel.microseconds / user.microseconds, kernel.rounds,
                    kernel.bytesIn, kernel.bytesOut);
        }
        EXECUTOR.stopExecutorNative();
        Device.end(daemon, "TERM");
    }

    private static void prepare() {
        EXECUTOR.backupAddNative(0, 0, "80"); // which does not tell
        require("a cluster", EXECUTOR.addClusterNative(cluster()) == 0);
        CMNPort port = new CMNPort();
        port.ClusterId = "web";
        port.PortNumber = 80;
        require("a port", EXECUTOR.addPortNative(port) == 0);
        require("a server", EXECUTOR.addServerNative(server()) == 0);
    }

    private static void require(String what, boolean isThere) {
        if (!isThere) {
            throw new IllegalStateException(what + " cannot be had");
        }
    }

    /** The fastest of the batches, after one that does not count. */
    private static Cost measure(Command command, Process daemon) throws IOException {
        runBatch(command);
        long[] before = work(daemon);
        double fastest = Double.MAX_VALUE;
        for (int i = 0; i < BATCHES; i++) {
            fastest = Math.min(fastest, runBatch(command));
        }
        long[] after = work(daemon);
        int calls = BATCHES * CALLS;
        return new Cost(fastest, (after[0] - before[0]) / calls, (after[1] - before[1]) / calls,
                (double) (after[2] - before[2]) / calls);
    }

    /** {@return microseconds of a call} */
    private static double runBatch(Command command) {
        long began = System.nanoTime();
        for (int i = 0; i < CALLS; i++) {
            require(command.name, command.call.getAsBoolean());
        }
        return (System.nanoTime() - began) / 1000.0 / CALLS;
    }

    /** {@return bytes that the daemon has read, bytes that it has written, and how often it has written} */
    private static long[] work(Process daemon) throws IOException {
        long[] work = new long[3];
        for (String line : Files.readAllLines(Path.of("/proc/" + daemon.pid() + "/io"))) {
            String[] parts = line.split(": ");
            switch (parts[0]) {
                case "rchar" -> work[0] = Long.parseLong(parts[1]);
                case "wchar" -> work[1] = Long.parseLong(parts[1]);
                case "syscw" -> work[2] = Long.parseLong(parts[1]);
                default -> {
                    // of disks
                }
            }
        }
        return work;
    }

    private static CMNCluster cluster() {
        CMNCluster cluster = new CMNCluster();
        cluster.sClusterId = "web";
        cluster.Address = "10.0.0.10";
        cluster.SetIPAddress = 1;
        return cluster;
    }

    private static CMNServer server() {
        CMNServer server = new CMNServer();
        server.ClusterId = "web";
        server.Port = 80;
        server.sServerID = "10.0.0.101";
        server.iServerIdKey = EXECUTOR.calcClusterIdKeyNative(server.sServerID, "");
        return server;
    }

    private static CMNAffinityRequest affinities() {
        CMNAffinityRequest request = new CMNAffinityRequest();
        request.iCommand = QUERY;
        request.iClusterAddr = 0x0A00000A;
        request.iPort = 80;
        request.iNumAffinities = CMNAffinityRequest.CAPACITY;
        return request;
    }
}
