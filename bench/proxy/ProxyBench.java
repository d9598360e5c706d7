import com.qel.internet.rk.common.CMNCluster;
import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNListener;
import com.qel.internet.rk.common.CMNPort;
import com.qel.internet.rk.common.CMNServer;
import com.qel.internet.rk.common.CMNServerWeights;
import java.io.IOException;
import java.io.InputStream;
import java.net.InetSocketAddress;
import java.net.ServerSocket;
import java.net.Socket;
import java.net.StandardProtocolFamily;
import java.net.UnixDomainSocketAddress;
import java.nio.ByteBuffer;
import java.nio.channels.SocketChannel;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.stream.Stream;

/**
 * What the executor's HAProxy costs beside one that is configured by hand: the same three servers behind both, asked in
 * turns, so that both meet the same machine. {@code ProxyBench ROUNDS PORTS}, with QELXW_FORWARD=proxy.
 */
final class ProxyBench {
    private static final String OURS = "127.0.78.10";
    private static final String BY_HAND = "127.0.78.11";
    private static final int PORT = 8080;
    private static final int SERVER_PORT = 8081;
    private static final int[] SERVERS = {0x7f004e15, 0x7f004e16, 0x7f004e17}; // 127.0.78.21 to .23
    private static final int CLIENTS = 4;
    private static final int REQUESTS = 200; // of each client in a round
    private static final int CHANGES = 200;
    private static final byte[] REQUEST = "GET / HTTP/1.0\r\n\r\n".getBytes(StandardCharsets.US_ASCII);
    private static final byte[] REPLY =
            "HTTP/1.0 200 OK\r\nContent-Length: 3\r\n\r\nok\n".getBytes(StandardCharsets.US_ASCII);

    private static final CMNExecutorInterface NATIVES = new CMNExecutorInterface();

    private ProxyBench() {
    }

    /** Work that is timed. */
    private interface Work {
        void perform() throws IOException;
    }

    public static void main(String[] arguments) throws IOException, InterruptedException {
        int rounds = Integer.parseInt(arguments[0]);
        int ports = Integer.parseInt(arguments[1]);
        for (int server : SERVERS) {
            serve(server);
        }
        Path folder = Files.createTempDirectory("proxy-bench");
        Process byHand = startByHand(folder, farmByHand(folder));
        try {
            startOurs();
            letWorkersEnd();
            compareRequests(rounds, new long[] {workerOfOurs(), byHand.pid()});
            compareWeights(rounds, folder.resolve("socket"));
            measurePorts(ports, folder);
        } finally {
            NATIVES.stopUserExecutorNative();
            byHand.destroy();
            byHand.waitFor();
            try (Stream<Path> files = Files.list(folder)) {
                for (Path file : files.toList()) {
                    Files.delete(file);
                }
            }
            Files.delete(folder);
        }
        System.exit(0);
    }

    // --- Servers, and who stands before them -------------------------------------------------------------------------

    private static String dotted(int address) {
        return (address >>> 24) + "." + (address >>> 16 & 255) + "." + (address >>> 8 & 255) + "." + (address & 255);
    }

    private static Thread run(Work work) {
        Thread thread = new Thread(() -> {
            try {
                work.perform();
            } catch (IOException error) {
                throw new IllegalStateException(error);
            }
        });
        thread.setDaemon(true);
        thread.start();
        return thread;
    }

    private static void serve(int address) throws IOException {
        ServerSocket socket = new ServerSocket();
        socket.setReuseAddress(true);
        socket.bind(new InetSocketAddress(dotted(address), SERVER_PORT), 1024);
        for (int thread = 0; thread < CLIENTS; thread++) {
            run(() -> {
                byte[] request = new byte[1024];
                while (true) {
                    try (Socket connection = socket.accept()) {
                        if (connection.getInputStream().read(request) > 0) {
                            connection.getOutputStream().write(REPLY);
                        }
                    }
                }
            });
        }
    }

    /** What a configuration by hand has besides its ports. */
    private static String globalByHand(Path folder) {
        return "global\n stats socket " + folder + "/socket level admin\n"
                + "defaults\n mode tcp\n timeout connect 5s\n timeout client 300s\n timeout server 300s\n";
    }

    private static String portByHand(int port) {
        return "frontend farm" + port + "\n bind " + BY_HAND + ":" + port + "\n default_backend servers" + port + "\n"
                + "backend servers" + port + "\n balance roundrobin\n";
    }

    private static Process startByHand(Path folder, String text) throws IOException, InterruptedException {
        Path file = Files.writeString(folder.resolve("haproxy.cfg"), text);
        String named = System.getenv("QELXW_HAPROXY");
        // In a session of its own, as the executor's is: a system may share its processors out among sessions.
        Process process = new ProcessBuilder("setsid", named == null ? "/usr/sbin/haproxy" : named, "-db", "-f",
                file.toString()).redirectErrorStream(true).redirectOutput(folder.resolve("log").toFile()).start();
        while (!Files.exists(folder.resolve("socket"))) {
            Thread.sleep(10);
        }
        return process;
    }

    private static String farmByHand(Path folder) {
        StringBuilder text = new StringBuilder(globalByHand(folder)).append(portByHand(PORT));
        for (int server : SERVERS) {
            text.append(" server ").append((char) ('a' + (server & 15) - 5)).append(' ').append(dotted(server))
                    .append(':').append(SERVER_PORT).append(" weight 10\n");
        }
        return text.toString();
    }

    private static void check(String what, int status) {
        if (status != 0) {
            throw new IllegalStateException(what + ": status " + status);
        }
    }

    private static void startOurs() {
        NATIVES.setKVAServerModalityNative(1);
        check("start", NATIVES.userExecutorProcessInitNative());
        check("start", NATIVES.startUserExecutorNative());
        CMNCluster cluster = new CMNCluster();
        cluster.sClusterId = "bench";
        cluster.Address = OURS;
        cluster.SetIPAddress = 1;
        cluster.MaxNumberOfPorts = 5000;
        cluster.SetMaxNumberOfPorts = 1;
        check("cluster", NATIVES.addClusterNative(cluster));
        addPort(PORT);
        for (int index = 0; index < SERVERS.length; index++) {
            CMNServer server = new CMNServer();
            server.sServerID = String.valueOf((char) ('a' + index));
            server.ClusterId = "bench";
            server.Port = PORT;
            server.addListener(new CMNListener(SERVERS[index], SERVER_PORT));
            server.SetListeners = 1;
            check("server", NATIVES.addServerNative(server));
        }
    }

    private static void addPort(int number) {
        CMNPort port = new CMNPort();
        port.ClusterId = "bench";
        port.PortNumber = number;
        port.Type = 1;
        port.SetType = 1;
        port.iMethod = 2;
        port.SetMethod = 1;
        check("port " + number, NATIVES.addPortNative(port));
    }

    // --- Measuring ---------------------------------------------------------------------------------------------------

    private static double median(double[] values) {
        double[] sorted = values.clone();
        Arrays.sort(sorted);
        return sorted[sorted.length / 2];
    }

    private static void ask(String address, int port) throws IOException {
        try (Socket connection = new Socket(address, port)) {
            connection.getOutputStream().write(REQUEST);
            InputStream input = connection.getInputStream();
            if (input.readAllBytes().length != REPLY.length) {
                throw new IOException("no answer");
            }
        }
    }

    /** {@return what a process's threads have had of the processors, in microseconds} */
    private static double processorTime(long process) throws IOException {
        double sum = 0;
        try (Stream<Path> threads = Files.list(Path.of("/proc", String.valueOf(process), "task"))) {
            for (Path thread : threads.toList()) {
                sum += Long.parseLong(Files.readString(thread.resolve("schedstat")).split(" ")[0]) / 1e3;
            }
        }
        return sum;
    }

    private static double requestsPerSecond(String address) throws InterruptedException {
        Thread[] clients = new Thread[CLIENTS];
        long begin = System.nanoTime();
        for (int index = 0; index < CLIENTS; index++) {
            clients[index] = run(() -> {
                for (int request = 0; request < REQUESTS; request++) {
                    ask(address, PORT);
                }
            });
        }
        for (Thread client : clients) {
            client.join();
        }
        return CLIENTS * REQUESTS * 1e9 / (System.nanoTime() - begin);
    }

    /** {@return the medians of the times that these take, in turns, in microseconds} */
    private static double[] microseconds(int times, Work... works) throws IOException {
        double[][] values = new double[works.length][times];
        for (int index = 0; index < times; index++) {
            for (int turn = 0; turn < works.length; turn++) {
                int step = index / works.length % 2 == 0 ? 1 : works.length - 1; // each comes after each other
                int work = (index + step * turn) % works.length;
                long begin = System.nanoTime();
                works[work].perform();
                values[work][index] = (System.nanoTime() - begin) / 1e3;
            }
        }
        return Arrays.stream(values).mapToDouble(ProxyBench::median).toArray();
    }

    /** In each round both are measured, the first of them in turns. */
    private static void compareRequests(int rounds, long[] processes) throws IOException, InterruptedException {
        double[][] rates = new double[2][rounds];
        double[][] loads = new double[2][rounds];
        double[][] times = new double[2][rounds];
        List<String> addresses = List.of(OURS, BY_HAND);
        for (int round = -1; round < rounds; round++) { // the first warms up
            double[] rate = new double[2];
            double[] load = new double[2];
            for (int turn = 0; turn < 2; turn++) {
                int which = (round + turn + 2) % 2;
                double before = processorTime(processes[which]);
                rate[which] = requestsPerSecond(addresses.get(which));
                load[which] = (processorTime(processes[which]) - before) / CLIENTS / REQUESTS;
            }
            double[] time = microseconds(REQUESTS, () -> ask(OURS, PORT), () -> ask(BY_HAND, PORT),
                    () -> ask(dotted(SERVERS[0]), SERVER_PORT));
            for (int which = 0; round >= 0 && which < 2; which++) {
                rates[which][round] = rate[which];
                loads[which][round] = load[which];
                times[which][round] = time[which] - time[2];
            }
        }
        report("requests a second", rates[0], rates[1]);
        report("processor a request, us", loads[0], loads[1]);
        report("added latency, us", times[0], times[1]);
    }

    /** Medians of all rounds; the ratio is that of a round, which both had the same machine in. */
    private static void report(String what, double[] ours, double[] byHand) {
        double[] ratios = new double[ours.length];
        for (int round = 0; round < ratios.length; round++) {
            ratios[round] = ours[round] / byHand[round];
        }
        System.out.printf("%-28s executor %10.1f   by hand %10.1f   ratio %.3f%n", what, median(ours), median(byHand),
                median(ratios));
    }

    private static CMNServerWeights weightOfOne() {
        CMNServerWeights weights = new CMNServerWeights(1);
        weights.sClusterID = "bench";
        weights.iPortNumber = PORT;
        weights.setServerId("a", 0);
        weights.iServerIdKey[0] = NATIVES.calcClusterIdKeyNative("a", "");
        return weights;
    }

    private static void changeWeight(CMNServerWeights weights, int weight) {
        weights.iWeight[0] = weight;
        check("weight", NATIVES.setServerWeightsNative(weights, 1));
        check("weight of a", weights.iRC[0]);
    }

    /** Workers that were replaced: the executor looks each second, as commands come, whether they can end. */
    private static void letWorkersEnd() throws InterruptedException {
        Thread.sleep(1500);
        changeWeight(weightOfOne(), 10);
        Thread.sleep(500);
    }

    private static void compareWeights(int rounds, Path socket) throws IOException {
        CMNServerWeights weights = weightOfOne();
        double[] ours = new double[rounds];
        double[] byHand = new double[rounds];
        int[] weight = {0};
        for (int round = 0; round < rounds; round++) {
            double[] times = microseconds(CHANGES, () -> changeWeight(weights, 1 + weight[0]++ % 10),
                    () -> command(socket, "set server servers" + PORT + "/a weight " + (1 + weight[0]++ % 10)));
            ours[round] = times[0];
            byHand[round] = times[1];
        }
        report("one weight changed, us", ours, byHand);
    }

    private static void command(Path socket, String text) throws IOException {
        try (SocketChannel channel = SocketChannel.open(StandardProtocolFamily.UNIX)) {
            channel.connect(UnixDomainSocketAddress.of(socket));
            channel.write(ByteBuffer.wrap((text + "\n").getBytes(StandardCharsets.US_ASCII)));
            ByteBuffer reply = ByteBuffer.allocate(1024);
            while (channel.read(reply) >= 0) {
                reply.clear();
            }
        }
    }

    /** {@return the resident memory of a process in KB} */
    private static long memoryOf(long process) throws IOException {
        return Files.readAllLines(Path.of("/proc", String.valueOf(process), "status")).stream()
                .filter(text -> text.startsWith("VmRSS:")).mapToLong(text -> Long.parseLong(text.replaceAll("\\D", "")))
                .sum();
    }

    /** {@return the processes of the executor's HAProxy: the one that minds the worker, and the worker} */
    private static List<ProcessHandle> processesOfOurs() throws IOException {
        List<ProcessHandle> processes = new ArrayList<>();
        for (ProcessHandle process : ProcessHandle.current().descendants().toList()) {
            Path folder = Path.of("/proc", String.valueOf(process.pid()));
            String line = new String(Files.readAllBytes(folder.resolve("cmdline")), StandardCharsets.US_ASCII);
            if (line.contains("haproxy\0-") && line.contains("qelxw-proxy-")) {
                processes.add(process);
            }
        }
        return processes;
    }

    private static long workerOfOurs() throws IOException {
        return processesOfOurs().stream().filter(process -> process.children().findAny().isEmpty()).findAny()
                .orElseThrow().pid();
    }

    private static long memory() throws IOException {
        long sum = 0;
        for (ProcessHandle process : processesOfOurs()) {
            sum += memoryOf(process.pid());
        }
        return sum;
    }

    private static void measurePorts(int ports, Path folder) throws IOException, InterruptedException {
        long before = memory();
        long begin = System.nanoTime();
        for (int index = 0; index < ports; index++) {
            addPort(20_000 + index);
        }
        double each = (System.nanoTime() - begin) / 1e6 / ports;
        letWorkersEnd();
        StringBuilder text = new StringBuilder(globalByHand(folder)).append(portByHand(PORT));
        for (int index = 0; index < ports; index++) {
            text.append(portByHand(20_000 + index));
        }
        Files.delete(folder.resolve("socket"));
        Process byHand = startByHand(folder, text.toString());
        try {
            System.out.printf("%d more ports: %.1f ms each; HAProxy's memory from %d to %d KB, by hand %d KB%n", ports,
                    each, before, memory(), memoryOf(byHand.pid()));
        } finally {
            byHand.destroy();
            byHand.waitFor();
        }
    }
}
