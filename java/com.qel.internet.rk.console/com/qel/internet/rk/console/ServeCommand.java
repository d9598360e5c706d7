package com.qel.internet.rk.console;

import com.sun.net.httpserver.HttpServer;
import java.io.IOException;
import java.net.InetAddress;
import java.net.InetSocketAddress;
import java.net.UnknownHostException;
import java.nio.charset.StandardCharsets;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.LinkedBlockingQueue;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;

/** Answers browsers and monitoring systems. */
@Command(name = "serve", description = "Answer browsers and monitoring systems until an interrupt (Ctrl-C): / is a page"
        + " that shows the farm, /metrics is for a monitoring system. Nothing can be changed there.")
final class ServeCommand implements Runnable {
    private static final int THREADS = 8;
    private static final int HIGHEST_PORT = 65_535;

    @Option(names = "--listen", paramLabel = "ADDRESS:PORT", defaultValue = "127.0.0.1:9190",
            description = "Where to listen; 127.0.0.1:9190 when left out, and a port of 0 for any. An address that is not"
                + " this machine's own loopback wants --token-file.")
    private String listen;

    @Option(names = "--token-file", paramLabel = "FILE",
            description = "A file with a token in its first line: who asks has to bring it, as a bearer token or as the"
                + " password of any user.")
    private String tokenFile;

    private final Session session;

    ServeCommand(Session session) {
        this.session = session;
    }

    @Override
    public void run() {
        InetSocketAddress address = address(listen);
        String token = tokenFile == null ? null : token(tokenFile);
        if (token == null && !address.getAddress().isLoopbackAddress()) {
            throw new UsageError("--listen: others could ask at " + listen + ": give a --token-file, or listen on 127.0.0.1");
        }
        BlockingQueue<Runnable> asked = new LinkedBlockingQueue<>();
        HttpServer server;
        try {
            server = HttpServer.create(address, 0);
        } catch (IOException e) {
            throw new Refusal(null, "cannot listen on " + listen + ": " + e.getMessage());
        }
        ExecutorService threads = Executors.newFixedThreadPool(THREADS, task -> {
            Thread thread = new Thread(task, "page");
            thread.setDaemon(true);
            return thread;
        });
        server.setExecutor(threads);
        server.createContext("/", new Page(token, new FarmTeller(session, asked)));
        server.start();
        try (Interrupt interrupt = new Interrupt()) {
            Thread end = new Thread(() -> {
                interrupt.end();
                session.awaitClosed();
            });
            Runtime.getRuntime().addShutdownHook(end);
            InetSocketAddress bound = server.getAddress();
            session.output.value("listening", "http://" + Page.inUrl(bound) + "/");
            session.output.finish();
            answer(asked, interrupt);
            removeHook(end);
        } finally {
            server.stop(0);
            threads.shutdownNow();
        }
    }

    private static void removeHook(Thread hook) {
        try {
            Runtime.getRuntime().removeShutdownHook(hook);
        } catch (IllegalStateException e) {
            // The Java VM is about to end; the hook has run.
        }
    }

    /** Native methods are for this thread: it does what others ask for, one after the other. */
    private static void answer(BlockingQueue<Runnable> asked, Interrupt interrupt) {
        while (!interrupt.came()) {
            try {
                asked.take().run();
            } catch (InterruptedException e) {
                return;
            }
        }
    }

    private static InetSocketAddress address(String text) {
        int colon = text.lastIndexOf(':');
        String host = colon < 0 ? "" : text.substring(0, colon).replaceAll("^\\[|]$", "");
        try {
            int port = Integer.parseInt(text.substring(colon + 1));
            if (!host.isEmpty() && port >= 0 && port <= HIGHEST_PORT) {
                return new InetSocketAddress(InetAddress.getByName(host), port);
            }
        } catch (NumberFormatException | UnknownHostException e) {
            // The same as what has no colon.
        }
        throw new UsageError("--listen: '" + text + "' is not of the form ADDRESS:PORT");
    }

    private static String token(String file) {
        String token;
        try {
            token = FileNames.lines(file).stream().findFirst().orElse("").strip();
        } catch (UsageError error) {
            throw new UsageError("--token-file: " + file + " " + error.getMessage());
        }
        if (token.getBytes(StandardCharsets.UTF_8).length < 8) {
            throw new UsageError("--token-file: the token in the first line of " + file + " is shorter than 8 bytes");
        }
        return token;
    }
}
