import com.qel.internet.rk.common.CMNAffinityRequest;
import com.qel.internet.rk.common.CMNCluster;
import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNIcmp;
import com.qel.internet.rk.common.CMNPort;
import com.qel.internet.rk.common.CMNServer;
import java.io.IOException;
import java.io.OutputStream;
import java.util.Objects;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicBoolean;
import java.util.concurrent.atomic.AtomicInteger;

/**
 * What becomes of the library's handle while the device comes and goes. Arguments: the daemon's program; or "beside" and
 * a name, for a process that works at the device beside another until its input ends.
 */
final class LifeCycle {
    private static final int USER_SPACE = 1;
    private static final int KERNEL = 0;
    private static final int BIND = 1;
    private static final int QUERY = 3;
    private static final int LEAST_ROUNDS = 50;
    private static final long PATIENCE_SECONDS = 60;
    private static final long MOMENT_MILLISECONDS = 1000;

    private static final CMNExecutorInterface EXECUTOR = new CMNExecutorInterface();
    private static int failures;

    private LifeCycle() {
    }

    public static void main(String[] arguments) throws IOException, InterruptedException {
        if (arguments.length == 2) {
            workBeside(arguments[1]);
        } else {
            String daemon = arguments[0];
            withoutDevice();
            Process first = Device.serve(daemon);
            deviceAppears();
            stopAndReopen();
            blocksOfAllSizes();
            twoProcesses();
            otherExecutor();
            killedBetweenCommands(first, daemon);
            killedDuringCommand(daemon);
        }
        System.exit(failures == 0 ? 0 : 1);
    }

    private static void expect(String what, Object expected, Object actual) {
        boolean isSame = Objects.equals(expected, actual);
        System.out.println((isSame ? "ok: " : "FAILED: ") + what + (isSame ? "" : ": " + actual));
        failures += isSame ? 0 : 1;
    }

    private static void expectHandles(String what, String expected) throws IOException {
        expect(what, expected, Device.handles());
    }

    private static void expectErrorNumber(String what, int status) {
        System.out.println((status > 0 ? "ok: " : "FAILED: ") + what + ": status " + status);
        failures += status > 0 ? 0 : 1;
    }

    private static int ask() {
        return EXECUTOR.getIcmpInfoNative(new CMNIcmp());
    }

    private static void withoutDevice() throws IOException {
        expect("without a device it is not loaded", 0, EXECUTOR.isLoadedNative());
        expect("without a device it is not up", 0, EXECUTOR.linuxUpNative());
        expect("without a device a command is refused", -1, ask());
        expect("without a device an addition is refused", -99, EXECUTOR.addClusterNative(cluster("web")));
        expect("without a device there is nothing to stop", "EOK", EXECUTOR.stopExecutorNative());
        expectHandles("without a device there is no handle", "");
    }

    private static void deviceAppears() throws IOException {
        expect("the device is up", 1, EXECUTOR.linuxUpNative());
        expectHandles("probing opens no handle", "");
        expect("it is loaded", 1, EXECUTOR.isLoadedNative());
        String handle = Device.handles();
        expect("loading leaves one handle", true, handle.matches("\\d+"));
        expect("it is up still", 1, EXECUTOR.linuxUpNative());
        expect("it is loaded still", 1, EXECUTOR.isLoadedNative());
        expectHandles("probing leaves the handle", handle);
        expect("a command gets through", 0, ask());
        expect("a cluster is added", 0, EXECUTOR.addClusterNative(cluster("web")));
        expectHandles("commands take the handle that is there", handle);
    }

    private static void stopAndReopen() throws IOException {
        expect("stopping", "EOK", EXECUTOR.stopExecutorNative());
        expectHandles("stopping closes the handle", "");
        expect("stopping once more", "EOK", EXECUTOR.stopExecutorNative());
        expect("a command opens the device again", 0, EXECUTOR.getClusterStatusNative(cluster("web")));
        expect("and leaves one handle", true, Device.handles().matches("\\d+"));
    }

    /** From 16 bytes to more than a command block is long. */
    private static void blocksOfAllSizes() {
        CMNPort port = new CMNPort();
        port.ClusterId = "web";
        port.PortNumber = 80;
        expect("a port is added", 0, EXECUTOR.addPortNative(port));
        CMNServer server = new CMNServer();
        server.ClusterId = "web";
        server.Port = 80;
        server.sServerID = "10.0.0.101";
        expect("a server is added", 0, EXECUTOR.addServerNative(server));
        expect("timers without a backup", -17, EXECUTOR.setTimersNative("1", "2", "3", "4", "5", "6", "7"));
        expect("the log's end", true, EXECUTOR.xlogtailNative(60000).endsWith(" reason=-105 (there is no backup)\n"));

        CMNAffinityRequest request = affinities(BIND);
        expect("as many affinities as there may be", 0, EXECUTOR.serverDirectedAffinityNative(request));
        expect("all of them are bound", 0, request.iResponse);
        request = affinities(QUERY);
        expect("all of them are read", 0, EXECUTOR.serverDirectedAffinityNative(request));
        int last = CMNAffinityRequest.CAPACITY - 1;
        expect("the last one's server", 0x0A000065, request.aiServerAddr[last]);
        expect("the last one's client", 0x0A060000 + last, request.aiClientAddr[last]);
    }

    private static CMNAffinityRequest affinities(int command) {
        CMNAffinityRequest request = new CMNAffinityRequest();
        request.iCommand = command;
        request.iClusterAddr = 0x0A00000A;
        request.iPort = 80;
        request.iNumAffinities = CMNAffinityRequest.CAPACITY;
        for (int i = 0; i < CMNAffinityRequest.CAPACITY; i++) {
            request.aiClientAddr[i] = 0x0A060000 + i;
            request.aiServerAddr[i] = command == BIND ? 0x0A000065 : 0;
        }
        return request;
    }

    private static void twoProcesses() throws IOException, InterruptedException {
        Process other = new ProcessBuilder(ProcessHandle.current().info().command().orElseThrow(), "-cp",
                System.getProperty("java.class.path"), "-Djava.library.path=" + System.getProperty("java.library.path"),
                "LifeCycle", "beside", "mail").redirectOutput(ProcessBuilder.Redirect.INHERIT)
                .redirectErrorStream(true).start();
        while (EXECUTOR.getClusterStatusNative(cluster("mail")) != 0 && other.isAlive()) {
            Thread.sleep(20);
        }
        expect("two processes each read what they wrote", 0, workAtOwnCluster("web", LEAST_ROUNDS));
        other.getOutputStream().close();
        expect("the other process ends", true, other.waitFor(PATIENCE_SECONDS, TimeUnit.SECONDS));
        expect("and found its own values", 0, other.exitValue());
        expect("its cluster stays", 0, EXECUTOR.getClusterStatusNative(cluster("mail")));
    }

    private static void workBeside(String name) {
        AtomicBoolean isWanted = new AtomicBoolean(true);
        Thread listener = new Thread(() -> {
            awaitEndOfInput();
            isWanted.set(false);
        });
        listener.setDaemon(true);
        listener.start();
        int wrong = EXECUTOR.addClusterNative(cluster(name));
        do {
            wrong += workAtOwnCluster(name, LEAST_ROUNDS);
        } while (isWanted.get() && wrong == 0);
        expect("the process beside reads what it wrote", 0, wrong);
    }

    private static void awaitEndOfInput() {
        try {
            System.in.transferTo(OutputStream.nullOutputStream());
        } catch (IOException ended) {
            System.err.println(ended);
        }
    }

    /** Writes and reads values of a cluster in turn. {@return how often it was not the value that was written} */
    private static int workAtOwnCluster(String name, int rounds) {
        int wrong = 0;
        for (int i = 1; i <= rounds; i++) {
            CMNCluster written = cluster(name);
            written.MaxNumberOfPorts = i;
            written.SetMaxNumberOfPorts = 1;
            CMNCluster read = cluster(name);
            boolean isSame = EXECUTOR.setClusterStatusNative(written) == 0 && EXECUTOR.getClusterStatusNative(read) == 0
                    && read.MaxNumberOfPorts == i && read.sClusterId.equals(name);
            wrong += isSame ? 0 : 1;
        }
        return wrong;
    }

    private static CMNCluster cluster(String name) {
        CMNCluster cluster = new CMNCluster();
        cluster.sClusterId = name;
        cluster.iClusterIdKey = EXECUTOR.calcClusterIdKeyNative(name, "");
        cluster.Address = name.equals("web") ? "10.0.0.10" : "10.0.0.20";
        cluster.SetIPAddress = 1;
        return cluster;
    }

    private static void otherExecutor() throws IOException {
        expect("stopping", "EOK", EXECUTOR.stopExecutorNative());
        EXECUTOR.setKVAServerModalityNative(USER_SPACE);
        EXECUTOR.userExecutorProcessInitNative();
        expect("the user-space executor starts", 0, EXECUTOR.startUserExecutorNative());
        expect("and has no clusters of the other one", -5, EXECUTOR.getClusterStatusNative(cluster("web")));
        expectHandles("and opens no device", "");
        expect("it stops", 0, EXECUTOR.stopUserExecutorNative());
        EXECUTOR.setKVAServerModalityNative(KERNEL);
        expect("the kernel executor has what it had", 0, EXECUTOR.getClusterStatusNative(cluster("web")));
    }

    private static void killedBetweenCommands(Process first, String daemon) throws IOException, InterruptedException {
        String handle = Device.handles();
        Device.end(first, "KILL");
        expect("with the daemon killed it is not up", 0, EXECUTOR.linuxUpNative());
        expect("but its device is open", 1, EXECUTOR.isLoadedNative());
        expectErrorNumber("a command to a killed daemon", ask());
        expectErrorNumber("and once more", ask());
        expectHandles("the handle stays", handle);

        Process second = Device.serve(daemon);
        expect("a new daemon is up", 1, EXECUTOR.linuxUpNative());
        expectErrorNumber("a command on the handle of the old one", ask());
        expect("stopping", "EOK", EXECUTOR.stopExecutorNative());
        expect("a command to the new daemon", 0, ask());
        expect("which begins afresh", -5, EXECUTOR.getClusterStatusNative(cluster("web")));

        Device.end(second, "TERM");
        expectErrorNumber("a command to a daemon that ended by itself", ask());
        expect("stopping", "EOK", EXECUTOR.stopExecutorNative());
        expect("then there is no device again", -1, ask());
    }

    private static void killedDuringCommand(String daemon) throws IOException, InterruptedException {
        Process third = Device.serve(daemon);
        expect("a third daemon answers", 0, ask());
        Device.signal(third, "STOP");
        AtomicInteger status = new AtomicInteger();
        Thread caller = new Thread(() -> status.set(ask()));
        caller.start();
        caller.join(MOMENT_MILLISECONDS);
        expect("a command waits for a daemon that sleeps", true, caller.isAlive());
        Device.end(third, "KILL");
        caller.join(TimeUnit.SECONDS.toMillis(PATIENCE_SECONDS));
        expect("it returns when that is killed", false, caller.isAlive());
        expectErrorNumber("the command that waited", status.get());
        expect("stopping", "EOK", EXECUTOR.stopExecutorNative());
        expectHandles("leaves no handle", "");

        Process fourth = Device.serve(daemon);
        expect("a fourth daemon answers", 0, ask());
        expect("stopping", "EOK", EXECUTOR.stopExecutorNative());
        Device.end(fourth, "TERM");
    }
}
