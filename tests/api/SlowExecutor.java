import static com.qel.internet.rk.executor.Addresses.ipv4;

import com.qel.internet.rk.executor.ClusterSettings;
import com.qel.internet.rk.executor.Executor;
import com.qel.internet.rk.executor.Port;
import com.qel.internet.rk.executor.PortSettings;
import com.qel.internet.rk.executor.Wait;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Optional;
import java.util.concurrent.atomic.AtomicBoolean;

/**
 * On an executor that takes its time and writes down who comes in, into the file that RK_WATCH names: a call that may
 * wait is seen by other threads while it is under way; and whatever threads do, commands come one at a time, and those
 * of one call together.
 */
final class SlowExecutor {
    private static final int THREADS = 4;

    private SlowExecutor() {
    }

    public static void main(String[] arguments) throws IOException, InterruptedException {
        Path watch = Path.of(System.getenv("RK_WATCH"));
        Files.deleteIfExists(watch);
        try (Executor executor = Executor.openUserSpace()) {
            Port port = executor.cluster("web").add(ClusterSettings.at(ipv4("10.0.0.5"))).port(80)
                    .add(PortSettings.none());
            AtomicBoolean isSeen = new AtomicBoolean();
            Thread changing = new Thread(() -> {
                while (!isSeen.get()) { // again, should the other thread have slept all the while
                    port.change(PortSettings.none().stickyBits(8));
                }
            });
            changing.start();
            Optional<Wait> wait = executor.waiting();
            while (wait.isEmpty()) {
                Thread.onSpinWait();
                wait = executor.waiting();
            }
            isSeen.set(true);
            Check.expect("call", wait.get().call(), "change port 80 of cluster 'web'");
            Check.expect("how long", wait.get().longest(), Wait.LONGEST_OF_PORTS);
            changing.join();
            Check.expect("afterwards", executor.waiting(), Optional.empty());

            List<Thread> threads = new ArrayList<>();
            for (int i = 0; i < THREADS; i++) {
                threads.add(new Thread(port::servers));
            }
            threads.forEach(Thread::start);
            executor.report();
            for (Thread thread : threads) {
                thread.join();
            }
        }
        List<String> entered = Files.readAllLines(watch);
        Files.delete(watch);
        Check.expect("commands beside others", entered.stream().filter(line -> line.contains("beside")).toList(),
                List.of());
        Check.expect("commands between those of another call", interrupted(entered), List.of());
        Check.expect("threads", entered.stream().map(line -> line.split(" ")[0]).distinct().count() >= THREADS, true);
        Check.exit(6);
    }

    /** Those of the threads that list servers whose commands do not follow one another: each makes one call. */
    private static List<String> interrupted(List<String> entered) {
        List<String> threads = entered.stream().map(line -> line.split(" ")[0]).toList();
        return threads.stream().distinct().skip(2).filter(thread -> threads.stream().filter(thread::equals).count()
                != threads.lastIndexOf(thread) - threads.indexOf(thread) + 1).toList();
    }
}
