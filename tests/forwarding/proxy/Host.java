import com.qel.internet.rk.common.CMNCluster;
import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNListener;
import com.qel.internet.rk.common.CMNPort;
import com.qel.internet.rk.common.CMNServer;
import com.qel.internet.rk.common.CMNServerWeights;
import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.net.InetAddress;
import java.nio.ByteBuffer;

/**
 * A server with threads and programs of its own whose executor forwards: {@code Host CLUSTER PORT SERVER1 SERVER2 SERVER3
 * SERVER_PORT}. For the first line that it reads it prints the processes of its programs and "ready"; then a line
 * "weights 1 2 3" sets the servers' weights, and is answered by "done".
 */
public class Host {
    private static final int THREADS = 200;
    private static final int PROGRAMS = 3;
    private static final CMNExecutorInterface EXECUTOR = new CMNExecutorInterface();

    private static void expectSuccess(int status) {
        if (status != 0) {
            throw new IllegalStateException("status " + status);
        }
    }

    private static int address(String dotted) {
        try {
            return ByteBuffer.wrap(InetAddress.getByName(dotted).getAddress()).getInt();
        } catch (IOException noAddress) {
            throw new IllegalArgumentException(noAddress);
        }
    }

    private static void configure(String[] arguments) {
        EXECUTOR.setKVAServerModalityNative(1);
        expectSuccess(EXECUTOR.userExecutorProcessInitNative());
        expectSuccess(EXECUTOR.startUserExecutorNative());
        CMNCluster cluster = new CMNCluster();
        cluster.sClusterId = "shop";
        cluster.Address = arguments[0];
        cluster.SetIPAddress = 1;
        expectSuccess(EXECUTOR.addClusterNative(cluster));
        CMNPort port = new CMNPort();
        port.ClusterId = "shop";
        port.PortNumber = Integer.parseInt(arguments[1]);
        port.Type = 1;
        port.SetType = 1;
        port.iMethod = 2;
        port.SetMethod = 1;
        expectSuccess(EXECUTOR.addPortNative(port));
        for (int index = 0; index < 3; index++) {
            CMNServer server = new CMNServer();
            server.ClusterId = "shop";
            server.Port = port.PortNumber;
            server.sServerID = name(index);
            server.addListener(new CMNListener(address(arguments[2 + index]), Integer.parseInt(arguments[5])));
            server.SetListeners = 1;
            expectSuccess(EXECUTOR.addServerNative(server));
        }
    }

    private static String name(int index) {
        return String.valueOf((char) ('a' + index));
    }

    private static void setWeights(int port, String[] words) {
        CMNServerWeights weights = new CMNServerWeights(3);
        weights.sClusterID = "shop";
        weights.iPortNumber = port;
        for (int index = 0; index < 3; index++) {
            weights.setServerId(name(index), index);
            weights.iServerIdKey[index] = EXECUTOR.calcClusterIdKeyNative(name(index), "");
            weights.iWeight[index] = Integer.parseInt(words[1 + index]);
        }
        expectSuccess(EXECUTOR.setServerWeightsNative(weights, 3));
    }

    private static void startThreads() throws InterruptedException {
        for (int index = 0; index < THREADS; index++) {
            boolean goesOn = index % 2 == 0;
            Thread thread = new Thread(() -> {
                while (goesOn) {
                    try {
                        Thread.sleep(100);
                    } catch (InterruptedException end) {
                        return;
                    }
                }
            });
            thread.setDaemon(true);
            thread.start();
            if (!goesOn) {
                thread.join();
            }
        }
    }

    public static void main(String[] arguments) throws IOException, InterruptedException {
        Thread starter = new Thread(() -> configure(arguments)); // ends before HAProxy is needed
        starter.start();
        starter.join();
        startThreads();
        BufferedReader lines = new BufferedReader(new InputStreamReader(System.in));
        lines.readLine();
        for (int index = 0; index < PROGRAMS; index++) {
            System.out.println(new ProcessBuilder("sleep", "600").start().pid());
        }
        System.out.println("ready");
        for (String line = lines.readLine(); line != null; line = lines.readLine()) {
            setWeights(Integer.parseInt(arguments[1]), line.split(" "));
            System.out.println("done");
        }
    }
}
