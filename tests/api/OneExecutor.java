import static com.qel.internet.rk.executor.Addresses.ipv4;

import com.qel.internet.rk.executor.Cluster;
import com.qel.internet.rk.executor.ClusterSettings;
import com.qel.internet.rk.executor.Executor;
import com.qel.internet.rk.executor.ExecutorException;
import com.qel.internet.rk.executor.Port;
import com.qel.internet.rk.executor.PortSettings;
import com.qel.internet.rk.executor.Server;
import com.qel.internet.rk.executor.ServerSettings;
import com.qel.internet.rk.executor.UserSpaceOptions;
import com.qel.internet.rk.executor.Wait;
import com.qel.internet.rk.executor.WeightChange;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.CancellationException;
import java.util.concurrent.atomic.AtomicInteger;

/** The executor of the process: opened, shared by threads, asked before it waits, gone, closed, and opened again. */
final class OneExecutor {
    private static final int THREADS = 8;
    private static final int ROUNDS = 300;

    private OneExecutor() {
    }

    static void closesAndOpensAgain() throws IOException {
        Path folder = Files.createTempDirectory("api");
        Path log = folder.resolve("log");
        Check.expectPart("log", Check.expectRefusal("a log that is a folder", -1, "REFUSED_OR_NO_EXECUTOR",
                () -> Executor.openUserSpace(UserSpaceOptions.none().log(folder))), "cannot be written");
        Check.expectPart("folder", Check.expectRefusal("an installation folder that is none", -1,
                "REFUSED_OR_NO_EXECUTOR",
                () -> Executor.openUserSpace(UserSpaceOptions.none().installFolder(log))), "cannot be used");

        Executor first = Executor.openUserSpace(UserSpaceOptions.none().log(log).installFolder(folder));
        Check.expect("answers", first.answers(), true);
        Check.expect("in user space", first.isUserSpace(), true);
        Cluster kept = first.cluster("web").add(ClusterSettings.at(ipv4("10.0.0.5")));
        Check.expectThrown("a second one", IllegalStateException.class, Executor::openUserSpace);
        Check.expectThrown("one in the kernel beside", IllegalStateException.class, Executor::openKernel);
        Check.expect("the first goes on", kept.status().name(), "web");
        Check.expectPart("logged", Files.readString(log), "addCluster cluster=web");
        first.close();
        Check.expectThrown("after the end", IllegalStateException.class, kept::status);
        Check.expectThrown("after the end", IllegalStateException.class, first::clusters);
        first.close(); // nothing is to be done

        try (Executor second = Executor.openUserSpace()) {
            Check.expect("begun afresh", second.clusters(), List.of());
            Check.expectThrown("what was of the first", IllegalStateException.class, kept::status);
            first.close(); // not the second
            Check.expect("open", second.answers(), true);
        }
        Files.delete(log);
        Files.delete(folder);
    }

    /** A machine that tests this has no kernel executor, or one that opens. */
    static void opensTheKernelWhereThereIsOne() {
        if (Files.isReadable(Path.of("/dev/qelxw"))) {
            Executor.openKernel().close();
            return;
        }
        Check.expectPart("device", Check.expectRefusal("no kernel executor", -1, "REFUSED_OR_NO_EXECUTOR",
                Executor::openKernel), "/dev/qelxw cannot be opened");
        Executor.openUserSpace().close(); // is open to whoever wants another
    }

    /** Without an executor, the reason of an old refusal still stands: it is not taken for an answer. */
    static void tellsWhenTheExecutorIsGone() {
        Executor executor = Executor.openUserSpace();
        Cluster cluster = executor.cluster("web").add(ClusterSettings.at(ipv4("10.0.0.5")));
        Check.expectRefusal("refused", -14, "PORT_EXISTS", () -> {
            cluster.port(80).add(PortSettings.none());
            cluster.port(80).add(PortSettings.none());
        });
        Executor.natives().stopUserExecutorNative();
        Check.expect("answers", executor.answers(), false);
        Port port = cluster.port(81);
        for (Runnable call : List.<Runnable>of(() -> port.add(PortSettings.none()), port::status, cluster::status,
                executor::clusters, () -> executor.highAvailability().definePartner(0, 0, 99),
                () -> executor.highAvailability().removePartner(), () -> port.affinities().list(),
                () -> executor.diagnostics().logTail(0), () -> executor.diagnostics().clearLog(),
                () -> executor.diagnostics().traceLevel(1), () -> executor.diagnostics().dumpConnections(true),
                () -> executor.aliases().of(ipv4("10.0.0.5")), () -> executor.aliases().configure(ipv4("10.0.0.5")))) {
            Check.expectRefusal("gone", -1, "REFUSED_OR_NO_EXECUTOR", call);
        }
        executor.close();
    }

    static void threadsShareIt() throws InterruptedException {
        try (Executor executor = Executor.openUserSpace()) {
            AtomicInteger right = new AtomicInteger();
            List<Thread> threads = new ArrayList<>();
            Port shared = executor.cluster("shared").add(ClusterSettings.at(ipv4("10.0.0.100"))).port(80)
                    .add(PortSettings.none());
            for (int i = 0; i < THREADS; i++) {
                Port port = executor.cluster("cluster" + (char) ('a' + i))
                        .add(ClusterSettings.at(ipv4("10.0.0." + (1 + i))).maxPorts(100 + i)).port(80)
                        .add(PortSettings.none());
                int own = i;
                threads.add(new Thread(() -> {
                    for (int round = 0; round < ROUNDS; round++) {
                        if (isOwn(port, own, round) && isAmongOthers(shared.server("own" + own))) {
                            right.incrementAndGet();
                        }
                    }
                }));
            }
            threads.forEach(Thread::start);
            for (Thread thread : threads) {
                thread.join();
            }
            Check.expect("right answers", right.get(), THREADS * ROUNDS);
            Check.expect("clusters", executor.clusters().size(), THREADS + 1);
        }
    }

    /** Several native calls make one answer, while other threads add, change and remove what is theirs. */
    private static boolean isOwn(Port port, int own, int round) {
        Server server = port.server("server" + round % 3);
        server.add(ServerSettings.at(ipv4("10.1.0." + (1 + own))));
        port.changeWeights(List.of(new WeightChange(server, round % 20)));
        boolean right = port.cluster().status().maxPorts() == 100 + own && port.servers().equals(List.of(server))
                && port.weights().get(0).weight() == round % 20 && isUnknown(port.server("none"), -19)
                && isUnknown(port.cluster().port(9).server("none"), -12);
        server.remove();
        return right;
    }

    /** Lists are as long as their arrays, although other threads add to the port and remove from it. */
    private static boolean isAmongOthers(Server server) {
        server.add(ServerSettings.at(ipv4("10.1.0.1")));
        boolean right = server.port().servers().contains(server)
                && server.port().weights().stream().anyMatch(row -> row.server().equals(server.name()));
        server.remove();
        return right;
    }

    private static boolean isUnknown(Server server, int status) {
        try {
            server.status();
            return false;
        } catch (ExecutorException refusal) {
            return refusal.status() == status;
        }
    }

    static void asksBeforeItWaits() {
        try (Executor executor = Executor.openUserSpace()) {
            Port port = executor.cluster("web").add(ClusterSettings.at(ipv4("10.0.0.5"))).port(80);
            List<Wait> asked = new ArrayList<>();
            executor.askBeforeWaiting(wait -> {
                asked.add(wait);
                return false;
            });
            Check.expect("message", Check.expectThrown("adding", CancellationException.class,
                    () -> port.add(PortSettings.none())),
                    "add port 80 of cluster 'web' may wait PT3H42M12S, which is not wanted");
            Check.expectThrown("changing", CancellationException.class, () -> port.change(PortSettings.none()));
            Check.expect("nothing was sent", port.cluster().ports(), List.of());
            Check.expect("asked", asked.stream().map(Wait::call).toList(),
                    List.of("add port 80 of cluster 'web'", "change port 80 of cluster 'web'"));
            Check.expect("how long", asked.get(0).longest(), Duration.ofSeconds(13332));
            executor.askBeforeWaiting(wait -> true);
            port.add(PortSettings.none());
            Check.expect("wanted", port.cluster().ports(), List.of(port));
            Check.expect("no wait", executor.waiting().isPresent(), false);
        }
    }
}
