import com.qel.internet.rk.common.CMNCluster;
import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNServer;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.atomic.AtomicInteger;

/** Threads that share one object read at once, each what is its own: every answer has to be the one to its question. */
public class ThreadsShareOneObject {
    private static final int THREADS = 8;
    private static final int READS = 20_000;
    private static final CMNExecutorInterface EXECUTOR = new CMNExecutorInterface();
    private static final AtomicInteger WRONG = new AtomicInteger();
    private static final AtomicInteger RIGHT = new AtomicInteger();

    public static void main(String[] arguments) throws InterruptedException {
        EXECUTOR.setKVAServerModalityNative(1);
        expectSuccess(EXECUTOR.userExecutorProcessInitNative());
        expectSuccess(EXECUTOR.startUserExecutorNative());
        for (int i = 0; i < THREADS; i++) {
            CMNCluster cluster = cluster(i);
            cluster.Address = addressOf(i);
            cluster.SetIPAddress = 1;
            cluster.MaxNumberOfPorts = 100 + i;
            cluster.SetMaxNumberOfPorts = 1;
            expectSuccess(EXECUTOR.addClusterNative(cluster));
        }
        CountDownLatch start = new CountDownLatch(1);
        List<Thread> threads = new ArrayList<>();
        for (int i = 0; i < THREADS; i++) {
            int own = i;
            Thread thread = new Thread(() -> read(own, start));
            thread.start();
            threads.add(thread);
        }
        start.countDown();
        for (Thread thread : threads) {
            thread.join();
        }
        System.out.println(RIGHT + " right answers, " + WRONG + " wrong ones");
        System.exit(WRONG.get() == 0 && RIGHT.get() == THREADS * READS ? 0 : 1);
    }

    /** Reads the settings of a thread's own cluster, and every now and then what is not there. */
    private static void read(int own, CountDownLatch start) {
        try {
            start.await();
        } catch (InterruptedException e) {
            return;
        }
        for (int i = 0; i < READS; i++) {
            boolean right = i % 4 == 3 ? isRefused(own) : isOwn(own);
            (right ? RIGHT : WRONG).incrementAndGet();
        }
    }

    private static boolean isOwn(int own) {
        CMNCluster cluster = cluster(own);
        return EXECUTOR.getClusterStatusNative(cluster) == 0 && cluster.MaxNumberOfPorts == 100 + own
                && addressOf(own).equals(cluster.Address);
    }

    /** A cluster's port that does not exist: its status differs from that of a missing cluster. */
    private static boolean isRefused(int own) {
        CMNServer server = new CMNServer();
        server.ClusterId = own % 2 == 0 ? nameOf(own) : "none" + nameOf(own);
        server.Port = 80;
        server.sServerID = "s";
        return EXECUTOR.getServerStatusNative(server) == (own % 2 == 0 ? -12 : -5);
    }

    private static CMNCluster cluster(int i) {
        CMNCluster cluster = new CMNCluster();
        cluster.sClusterId = nameOf(i);
        return cluster;
    }

    private static String nameOf(int i) {
        return "cluster" + (char) ('a' + i);
    }

    private static String addressOf(int i) {
        return "10.0.0." + (1 + i);
    }

    private static void expectSuccess(int status) {
        if (status != 0) {
            throw new IllegalStateException("status " + status);
        }
    }
}
