import com.qel.internet.rk.common.CMNCluster;
import com.qel.internet.rk.common.CMNExecutorInterface;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

/** A small server: adds a cluster to the user-space executor, and tells which executor that was. */
final class OneCluster {
    public static void main(String[] arguments) throws IOException {
        CMNExecutorInterface executor = new CMNExecutorInterface();
        executor.setKVAServerModalityNative(1);
        executor.userExecutorProcessInitNative();
        executor.startUserExecutorNative();
        CMNCluster cluster = new CMNCluster();
        cluster.sClusterId = "web";
        cluster.Address = "10.0.0.5";
        cluster.SetIPAddress = 1;
        int status = executor.addClusterNative(cluster);
        String file = Files.lines(Path.of("/proc/self/maps")).filter(line -> line.endsWith("/libuexc.so"))
                .map(line -> line.substring(line.indexOf('/'))).findFirst().orElse("nothing");
        System.out.println("status " + status + " of " + file);
        executor.stopUserExecutorNative();
        executor.userExecutorProcessTermNative();
    }
}
