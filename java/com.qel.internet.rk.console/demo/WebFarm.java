import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.io.PrintStream;
import java.net.InetAddress;
import java.net.InetSocketAddress;
import java.net.ServerSocket;
import java.net.Socket;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.TreeMap;
import java.util.concurrent.atomic.AtomicInteger;

/**
 * A web farm on one machine, as a program of one file: small web servers, their clients, and a console that configures
 * what stands between them.
 *
 * <p>{@code WebFarm play CONSOLE SCRIPT} plays a demonstration with the console that is started by CONSOLE: real
 * requests before and after each change. {@code WebFarm serve} runs the servers alone, until its input ends.
 */
final class WebFarm {
    /** The exit status when the farm cannot be had here; why is on standard error. */
    private static final int NOT_HERE = 3;
    private static final String CLUSTER = "127.0.77.10";
    private static final int CLUSTER_PORT = 8080;
    private static final String SERVERS = "127.0.77.2";
    private static final int SERVER_PORT = 8081;
    private static final String CLIENTS = "127.0.77.1";
    private static final int PATIENCE = 10_000; // milliseconds that a client waits
    private static final int BAR = 40;
    private static final int ASKED_BEFORE = 30; // requests on each side of a change

    private static final String BLOCK = "\u2588"; // the file is read with the machine's own letters: it has ASCII alone
    private static final PrintStream OUT = new PrintStream(System.out, true, StandardCharsets.UTF_8);

    private final Map<String, Integer> sent = new TreeMap<>(); // requests by the server that answered
    private int lost;
    private Process console;
    private PrintStream commands;
    private BufferedReader output;
    private int marks;

    /** The farm cannot be had on this machine. */
    private static final class NotHere extends Exception {
        private static final long serialVersionUID = 1;

        NotHere(String why) {
            super(why);
        }
    }

    private WebFarm() {
    }

    /**
     * Plays, or serves.
     *
     * @param arguments {@code play CONSOLE SCRIPT}, or {@code serve}
     */
    public static void main(String[] arguments) throws IOException, InterruptedException {
        try {
            boolean plays = arguments.length == 3 && arguments[0].equals("play");
            checkAddress(CLUSTER, CLUSTER_PORT);
            for (int number = 1; number <= (plays ? 4 : 3); number++) {
                startServer(number);
            }
            if (plays) {
                new WebFarm().play(arguments[1], Files.readAllLines(Path.of(arguments[2])));
            } else {
                OUT.println("ready");
                while (System.in.read() >= 0) {
                    continue;
                }
            }
        } catch (NotHere reason) {
            System.err.println(reason.getMessage());
            System.exit(NOT_HERE);
        }
        System.exit(0);
    }

    // --- Servers and clients -----------------------------------------------------------------------------------------

    private static ServerSocket listen(String address, int port) throws NotHere {
        try {
            ServerSocket socket = new ServerSocket();
            socket.setReuseAddress(true);
            socket.bind(new InetSocketAddress(address, port), 1024);
            return socket;
        } catch (IOException error) {
            throw new NotHere("cannot listen on " + address + ":" + port + ": " + error.getMessage());
        }
    }

    private static void checkAddress(String address, int port) throws IOException, NotHere {
        listen(address, port).close();
    }

    /** Starts a server that answers each request with its name. */
    private static void startServer(int number) throws NotHere {
        ServerSocket socket = listen(SERVERS + number, SERVER_PORT);
        run(() -> {
            while (true) {
                Socket connection = socket.accept();
                run(() -> answer(connection, "web" + number));
            }
        });
    }

    /** What a thread does. */
    private interface Work {
        void perform() throws IOException;
    }

    private static Thread run(Work work) {
        Thread thread = new Thread(() -> {
            try {
                work.perform();
            } catch (IOException gone) {
                return; // the other side has closed
            }
        });
        thread.setDaemon(true);
        thread.start();
        return thread;
    }

    private static void answer(Socket connection, String name) throws IOException {
        try (connection) {
            BufferedReader request = reader(connection);
            String line = request.readLine();
            while (line != null && !line.isEmpty()) {
                line = request.readLine();
            }
            write(connection, "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " + name.length() + "\r\n\r\n"
                    + name + "\n");
        }
    }

    private static BufferedReader reader(Socket connection) throws IOException {
        return new BufferedReader(new InputStreamReader(connection.getInputStream(), StandardCharsets.US_ASCII));
    }

    private static void write(Socket connection, String text) throws IOException {
        connection.getOutputStream().write(text.getBytes(StandardCharsets.US_ASCII));
    }

    /** {@return the name of the server that answers a client of the farm; null when there is no answer} */
    private static String ask(String client) {
        try (Socket connection = new Socket()) {
            connection.bind(new InetSocketAddress(InetAddress.getByName(client), 0));
            connection.setSoTimeout(PATIENCE);
            connection.connect(new InetSocketAddress(CLUSTER, CLUSTER_PORT), PATIENCE);
            write(connection, "GET / HTTP/1.1\r\nHost: farm\r\nConnection: close\r\n\r\n");
            BufferedReader reply = reader(connection);
            String last = null;
            for (String line = reply.readLine(); line != null; line = reply.readLine()) {
                last = line;
            }
            return last;
        } catch (IOException refused) {
            return null;
        }
    }

    /** Sends requests one after the other, and counts who answers. */
    private Map<String, Integer> askOften(int count, String client) {
        Map<String, Integer> shares = new TreeMap<>();
        for (int index = 0; index < count; index++) {
            askInto(shares, client);
        }
        return shares;
    }

    private void askInto(Map<String, Integer> shares, String client) {
        String server = ask(client);
        if (server == null) {
            lost++;
        } else {
            shares.merge(server, 1, Integer::sum);
            sent.merge(server, 1, Integer::sum);
        }
    }

    // --- The console -------------------------------------------------------------------------------------------------

    private void openConsole(String launcher) throws IOException, NotHere {
        ProcessBuilder builder =
                new ProcessBuilder(launcher, "--user", "--forward", "proxy", "--echo", "--script", "-");
        builder.redirectErrorStream(true);
        console = builder.start();
        commands = new PrintStream(console.getOutputStream(), true, StandardCharsets.UTF_8);
        output = new BufferedReader(new InputStreamReader(console.getInputStream(), StandardCharsets.UTF_8));
        List<String> log = perform("log tail");
        if (log.stream().noneMatch(line -> line.endsWith("forwarding: by HAProxy"))) {
            throw new NotHere(log.stream().filter(line -> line.contains("nothing is forwarded")).findAny()
                    .map(line -> line.substring(line.indexOf("nothing"))).orElse("nothing is forwarded here"));
        }
    }

    /** {@return what a command prints, without empty lines} */
    private List<String> perform(String command) throws IOException, NotHere {
        String mark = "> key of mark" + ++marks; // is printed before its output, and after that of the command
        commands.println(command);
        commands.println(mark.substring(2));
        List<String> lines = new ArrayList<>();
        for (String line = output.readLine(); !Objects.equals(line, mark); line = output.readLine()) {
            if (line == null) {
                throw new NotHere("the console has ended: " + String.join(" ", lines));
            }
            if (!line.isEmpty() && !line.startsWith("> ")) {
                lines.add(line);
            }
        }
        output.readLine(); // the key
        return lines;
    }

    /** Performs a command for all to see. */
    private void show(String command) throws IOException, NotHere {
        OUT.println("  > " + command);
        for (String line : perform(command)) {
            if (!line.equals("ok")) {
                OUT.println("    " + line);
            }
        }
    }

    // --- What is shown -----------------------------------------------------------------------------------------------

    private static void title(String text) {
        OUT.println();
        OUT.println(text);
    }

    private static void draw(Map<String, Integer> shares, String whose) {
        int all = shares.values().stream().mapToInt(Integer::intValue).sum();
        OUT.println("    " + all + " requests" + whose);
        shares.forEach((server, count) -> {
            int length = Math.max(1, Math.round((float) BAR * count / all));
            OUT.printf("      %s %-" + BAR + "s %4d%n", server, BLOCK.repeat(length), count);
        });
    }

    private void drawOften(int count, String client, String whose) {
        draw(askOften(count, client), whose);
    }

    /** Changes something while clients go on asking, before and after it as well. */
    private void whileAsking(Work change) throws IOException, InterruptedException {
        AtomicInteger asked = new AtomicInteger();
        AtomicInteger end = new AtomicInteger(Integer.MAX_VALUE);
        Map<String, Integer> shares = new TreeMap<>();
        int before = lost;
        Thread clients = run(() -> {
            while (asked.getAndIncrement() < end.get()) {
                askInto(shares, CLIENTS);
            }
        });
        while (asked.get() < ASKED_BEFORE) {
            Thread.sleep(1);
        }
        change.perform();
        end.set(asked.get() + ASKED_BEFORE);
        clients.join();
        draw(shares, " before, during and after it; " + lostText(lost - before));
    }

    private static String lostText(int count) {
        return count == 0 ? "none was lost" : count + " were LOST";
    }

    private void showWithin(String command) throws IOException {
        try {
            show(command);
        } catch (NotHere ended) {
            throw new IOException(ended.getMessage());
        }
    }

    private void play(String launcher, List<String> farm) throws IOException, InterruptedException, NotHere {
        openConsole(launcher);
        title("A web farm: clients ask " + CLUSTER + ":" + CLUSTER_PORT + ", HAProxy hands them to three servers.");
        for (String line : farm) {
            if (!line.startsWith("#")) {
                show(line);
            }
        }
        drawOften(60, CLIENTS, ": the weights are 1, 2 and 3");

        title("Weights change.");
        show("weights set shop 8080 web1=3 web2=2 web3=1");
        drawOften(60, CLIENTS, "");

        title("A server goes down while requests flow.");
        whileAsking(() -> showWithin("server down shop 8080 web1"));
        drawOften(60, CLIENTS, " afterwards");
        show("server up shop 8080 web1");

        title("A rule: who comes from the office gets a server of its own.");
        show("rule add shop 8080 office --type 1 --begin 127.0.77.100 --end 127.0.77.119 --priority 1");
        show("rule server add shop 8080 office web3");
        drawOften(30, "127.0.77.105", " from 127.0.77.105, in the office");
        drawOften(30, "127.0.77.120", " from 127.0.77.120, outside");

        title("Clients stick to the server that they had.");
        show("port set shop 8080 --sticky-time 300");
        for (int client = 1; client <= 6; client++) {
            drawClient("127.0.77.20" + client);
        }
        show("port set shop 8080 --sticky-time 0");

        title("A fourth server is added while requests flow.");
        whileAsking(() -> showWithin("server add shop 8080 web4 --listener 127.0.77.24,map-port=8081 --weight 6"));
        drawOften(60, CLIENTS, " afterwards");

        title("Reports agree with what was sent.");
        boolean agrees = true;
        for (Map.Entry<String, Integer> answered : sent.entrySet()) {
            String reported = perform("server report shop 8080 " + answered.getKey()).stream()
                    .filter(line -> line.startsWith("connections ")).findAny().orElse("").replaceAll("\\D", "");
            agrees &= reported.equals(answered.getValue().toString());
            OUT.printf("    %s answered %4d requests, its report says %4s connections%n", answered.getKey(),
                    answered.getValue(), reported);
        }
        int all = sent.values().stream().mapToInt(Integer::intValue).sum();
        OUT.println();
        OUT.println((all + lost) + " requests in all: " + lostText(lost)
                + (agrees ? "." : ", and the reports DO NOT AGREE."));
        OUT.println("Try it yourself: ./run --farm. What else the console does: ./run --help.");
        commands.close();
        console.waitFor();
        if (lost > 0 || !agrees) {
            System.exit(1);
        }
    }

    private void drawClient(String client) {
        Map<String, Integer> shares = askOften(8, client);
        OUT.println("    8 requests from " + client + ": " + String.join(" and ", shares.keySet()));
    }
}
