import com.qel.internet.rk.common.CMNCluster;
import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNListener;
import com.qel.internet.rk.common.CMNPort;
import com.qel.internet.rk.common.CMNServer;
import com.qel.internet.rk.common.CMNServerWeights;
import java.io.IOException;
import java.io.InputStream;
import java.io.PrintStream;
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
import java.util.Collections;
import java.util.List;
import java.util.Random;
import java.util.stream.IntStream;
import java.util.stream.Stream;

/**
 * What the executor's HAProxy costs beside one that is configured by hand: the same three servers behind both, asked in
 * turns, so that both meet the same machine. {@code ProxyBench ROUNDS PORTS}, with QELXW_FORWARD=proxy.
 */
final class ProxyBench {
    private static final String OURS = "127.0.78.10";
    private static final String BY_HAND = "127.0.78.11";
    private static final String AGAIN = "127.0.78.12"; // the same by hand once more: what the measuring itself differs by
    private static final int PORT = 8080;
    private static final int SERVER_PORT = 8081;
    private static final int[] SERVERS = {0x7f004e15, 0x7f004e16, 0x7f004e17}; // 127.0.78.21 to .23
    private static final int CLIENTS = 4;
    private static final int REQUESTS = 200; // of each client in a round
    private static final int CHANGES = 200;
    private static final byte[] REQUEST = "GET / HTTP/1.0\r\n\r\n".getBytes(StandardCharsets.US_ASCII);
    private static final byte[] REPLY =
            "HTTP/1.0 200 OK\r\nContent-Length: 3\r\n\r\nok\n".getBytes(StandardCharsets.US_ASCII);

    private static final PrintStream OUT = new PrintStream(System.out, true, StandardCharsets.UTF_8);
    private static final Random RANDOM = new Random(1);
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
        Path folderAgain = Files.createTempDirectory("proxy-bench");
        Process byHand = startByHand(folder, farmByHand(folder, BY_HAND));
        Process again = startByHand(folderAgain, farmByHand(folderAgain, AGAIN));
        try {
            startOurs();
            letWorkersEnd();
            printHead(rounds);
            compareRequests(rounds, new long[] {workerOfOurs(), byHand.pid(), again.pid()});
            compareWeights(rounds, folder.resolve("socket"));
            measurePorts(ports, folder);
        } finally {
            NATIVES.stopUserExecutorNative();
            for (Process process : List.of(byHand, again)) {
                process.destroy();
                process.waitFor();
            }
            remove(folder);
            remove(folderAgain);
        }
        System.exit(0);
    }

    private static void remove(Path folder) throws IOException {
        try (Stream<Path> files = Files.list(folder)) {
            for (Path file : files.toList()) {
                Files.delete(file);
            }
        }
        Files.delete(folder);
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

    private static String portByHand(String address, int port) {
        return "frontend farm" + port + "\n bind " + address + ":" + port + "\n default_backend servers" + port + "\n"
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

    private static String farmByHand(Path folder, String address) {
        StringBuilder text = new StringBuilder(globalByHand(folder)).append(portByHand(address, PORT));
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
        return quantile(values, 0.5);
    }

    /** {@return the value below which a share of the values is} */
    private static double quantile(double[] values, double share) {
        double[] sorted = values.clone();
        Arrays.sort(sorted);
        return sorted[(int) Math.max(0, Math.min(sorted.length - 1, Math.floor(sorted.length * share)))];
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

    /** {@return the medians of the times that these take, in turns whose order is drawn each time, in microseconds} */
    private static double[] microseconds(int times, List<Work> works) throws IOException {
        double[][] values = new double[works.size()][times];
        List<Integer> order = new ArrayList<>(IntStream.range(0, works.size()).boxed().toList());
        for (int index = 0; index < times; index++) {
            Collections.shuffle(order, RANDOM);
            for (int work : order) {
                long begin = System.nanoTime();
                works.get(work).perform();
                values[work][index] = (System.nanoTime() - begin) / 1e3;
            }
        }
        return Arrays.stream(values).mapToDouble(ProxyBench::median).toArray();
    }

    /** In each round all are measured, in an order that is drawn. */
    private static void compareRequests(int rounds, long[] processes) throws IOException, InterruptedException {
        List<String> addresses = List.of(OURS, BY_HAND, AGAIN);
        int count = addresses.size();
        double[][] rates = new double[count][rounds];
        double[][] loads = new double[count][rounds];
        double[][] times = new double[count][rounds];
        List<Integer> order = new ArrayList<>(IntStream.range(0, count).boxed().toList());
        List<Work> works = new ArrayList<>();
        addresses.forEach(address -> works.add(() -> ask(address, PORT)));
        works.add(() -> ask(dotted(SERVERS[0]), SERVER_PORT));
        for (int round = -1; round < rounds; round++) { // the first warms up
            double[] rate = new double[count];
            double[] load = new double[count];
            Collections.shuffle(order, RANDOM);
            for (int which : order) {
                double before = processorTime(processes[which]);
                rate[which] = requestsPerSecond(addresses.get(which));
                load[which] = (processorTime(processes[which]) - before) / CLIENTS / REQUESTS;
            }
            double[] time = microseconds(REQUESTS, works);
            for (int which = 0; round >= 0 && which < count; which++) {
                rates[which][round] = rate[which];
                loads[which][round] = load[which];
                times[which][round] = time[which] - time[count];
            }
        }
        report("requests a second, " + CLIENTS + " clients", rates[0], rates[1], rates[2]);
        report("processor time of HAProxy a request, µs", loads[0], loads[1], loads[2]);
        report("latency above that of a server asked directly, µs", times[0], times[1], times[2]);
    }

    private static void printHead(int rounds) throws IOException {
        OUT.printf("%d rounds, %d processors, load at the start %s; in brackets half of the rounds, then where the median "
                + "of ratios is with 95 %% certainty.%n%n", rounds, Runtime.getRuntime().availableProcessors(),
                String.join(" ", List.of(Files.readString(Path.of("/proc/loadavg")).split(" ")).subList(0, 3)));
        OUT.println("| what | executor | by hand | executor / by hand | by hand / by hand |");
        OUT.println("|---|---|---|---|---|");
    }

    /** Medians of all rounds; the ratio is that of a round, which all had the same machine in. */
    private static void report(String what, double[] ours, double[] byHand, double[] again) {
        OUT.printf("| %s | %.1f | %.1f | %s | %s |%n", what, median(ours), median(byHand), ratioText(ours, byHand),
                again.length == 0 ? "" : ratioText(again, byHand));
    }

    /** {@return the median of the rounds' ratios, their quartiles, and between which values the median is for sure} */
    private static String ratioText(double[] these, double[] those) {
        double[] ratios = IntStream.range(0, these.length).mapToDouble(round -> these[round] / those[round]).toArray();
        double off = 0.98 / Math.sqrt(ratios.length); // of the ranks that a median has in 95 of 100 samples
        return String.format("%.3f [%.3f to %.3f], %.3f to %.3f", median(ratios), quantile(ratios, 0.25),
                quantile(ratios, 0.75), quantile(ratios, 0.5 - off), quantile(ratios, 0.5 + off));
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
            double[] times = microseconds(CHANGES, List.of(() -> changeWeight(weights, 1 + weight[0]++ % 10),
                    () -> command(socket, "set server servers" + PORT + "/a weight " + (1 + weight[0]++ % 10))));
            ours[round] = times[0];
            byHand[round] = times[1];
        }
        report("one weight changed, µs: by a Java call, and by a connection to HAProxy's socket", ours, byHand,
                new double[0]);
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
        StringBuilder text = new StringBuilder(globalByHand(folder)).append(portByHand(BY_HAND, PORT));
        for (int index = 0; index < ports; index++) {
            text.append(portByHand(BY_HAND, 20_000 + index));
        }
        Files.delete(folder.resolve("socket"));
        Process byHand = startByHand(folder, text.toString());
        try {
            long ours = memory();
            long those = memoryOf(byHand.pid());
            OUT.printf("| memory with %d ports, MB | %.1f | %.1f | %.3f | |%n%n", ports, ours / 1e3, those / 1e3,
                    (double) ours / those);
            OUT.printf("With one port the executor's HAProxy, a worker and the process that minds it, had %.1f MB. A new "
                    + "port took %.1f ms, over the %d one after the other.%n", before / 1e3, each, ports);
        } finally {
            byHand.destroy();
            byHand.waitFor();
        }
    }
}
