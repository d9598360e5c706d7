package com.qel.internet.rk.console;

import com.google.gson.JsonParseException;
import com.google.gson.JsonParser;
import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.NativeStandIn;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.OutputStream;
import java.io.PrintStream;
import java.io.UncheckedIOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Random;
import java.util.Set;
import java.util.TreeSet;
import java.util.concurrent.atomic.AtomicReference;
import picocli.CommandLine;

/**
 * Runs command lines that mostly make sense, on native methods that answer anything. A line is a finding when it throws
 * what is no usage error, hangs, ends with a status that does not fit, prints what is no JSON where JSON is wanted, or
 * changes something after a refusal. Configurations are read and written beside it ({@link ConfigChecker}).
 *
 * <p>{@code ConsoleFuzzer SECONDS SEED FINDINGS SCRIPT...} makes lines from those of the scripts;
 * {@code ConsoleFuzzer replay FILE...} runs the lines of the files, each as it would be with several answers.
 */
final class ConsoleFuzzer {
    private static final long LONGEST_NANOS = 10_000_000_000L;
    private static final int ANSWERS_PER_REPLAY = 50;
    private static final int MOST_FINDINGS = 20;
    private static final int LINES_PER_CONFIGURATION = 8;

    /** Where the fuzzer itself prints: help goes to standard output, which is turned off. */
    private final PrintStream report = System.out;
    private final ByteArrayOutputStream out = new ByteArrayOutputStream();
    private final ByteArrayOutputStream err = new ByteArrayOutputStream();
    private final Session session;
    private final CommandRunner runner;
    private final CommandLine tree;
    private final AtomicReference<Running> running = new AtomicReference<>();
    private final Set<String> nativesCalled = new TreeSet<>();
    private long executions;

    /** The line that runs, since when. */
    private record Running(String line, long since) {
    }

    private ConsoleFuzzer() {
        Output output = new Output(new PrintStream(out, true, StandardCharsets.UTF_8),
                new PrintStream(err, true, StandardCharsets.UTF_8), NativeOutput.open());
        session = new Session(output);
        runner = new CommandRunner(session);
        tree = CommandTree.add(new CommandLine(new Lines(session, runner, true, false)), session);
        openSession();
        System.setOut(new PrintStream(OutputStream.nullOutputStream()));
    }

    public static void main(String[] arguments) throws IOException {
        System.setProperty("jdk.net.hosts.file", "/dev/null"); // no name in a line is looked up anywhere
        ConsoleFuzzer fuzzer = new ConsoleFuzzer();
        if (arguments.length >= 2 && arguments[0].equals("replay")) {
            System.exit(fuzzer.replay(arguments));
        }
        if (arguments.length < 4) {
            System.err.println("usage: ConsoleFuzzer SECONDS SEED FINDINGS SCRIPT... | ConsoleFuzzer replay FILE...");
            System.exit(2);
        }
        System.exit(fuzzer.fuzz(arguments));
    }

    /** The answers while a session opens are as any, so it may take a few. */
    private void openSession() {
        for (int seed = 0;; seed++) {
            NativeStandIn.begin(seed);
            try {
                session.open(false, null, null);
                return;
            } catch (Refusal refused) {
                if (seed > 1000) {
                    throw refused;
                }
            }
        }
    }

    private int replay(String[] arguments) throws IOException {
        int findings = 0;
        for (int i = 1; i < arguments.length; i++) {
            for (String line : Files.readAllLines(Path.of(arguments[i]))) {
                for (int seed = 0; seed < ANSWERS_PER_REPLAY; seed++) {
                    String wrong = wrongWith(line, seed);
                    if (wrong != null) {
                        System.err.println("FINDING: " + wrong + "\n  line: " + line);
                        findings++;
                    }
                }
            }
        }
        report.println("replayed " + executions + " lines, findings " + findings);
        return findings == 0 ? 0 : 1;
    }

    private int fuzz(String[] arguments) throws IOException {
        long end = System.nanoTime() + Long.parseLong(arguments[0]) * 1_000_000_000L;
        long seed = Long.parseLong(arguments[1]);
        Path folder = Path.of(arguments[2]);
        List<Path> scripts = new ArrayList<>();
        for (int i = 3; i < arguments.length; i++) {
            scripts.add(Path.of(arguments[i]));
        }
        LineMaker lines = new LineMaker(new Random(seed), tree, scripts);
        ConfigChecker configurations = new ConfigChecker(tree, session.output, new Random(seed));
        watch(folder);
        Set<String> seen = new TreeSet<>();
        long begun = System.nanoTime();
        while (System.nanoTime() < end && seen.size() < MOST_FINDINGS) {
            String line = lines.make();
            String wrong = wrongWith(line, seed + executions);
            if (wrong != null && seen.add(wrong.replaceAll("\\d+", "N"))) {
                keep(folder, line, wrong);
            }
            if (executions % LINES_PER_CONFIGURATION == 0) {
                String configuring = lines.makeConfiguring();
                running.set(new Running(configuring, System.nanoTime()));
                wrong = configurations.wrongWith(configuring);
                running.set(null);
                if (wrong != null && seen.add(wrong.replaceAll("\\d+", "N"))) {
                    keep(folder, configuring, wrong);
                }
            }
        }
        double seconds = (System.nanoTime() - begun) / 1e9;
        long natives = Arrays.stream(CMNExecutorInterface.class.getDeclaredMethods())
                .filter(method -> method.getName().endsWith("Native")).count();
        report.printf("executions %d, per second %.0f, native methods called %d of %d, findings %d%n", executions,
                executions / seconds, nativesCalled.size(), natives, seen.size());
        return seen.isEmpty() ? 0 : 1;
    }

    private static void keep(Path folder, String line, String wrong) {
        System.err.println("FINDING: " + wrong + "\n  line: " + line);
        try {
            Files.createDirectories(folder);
            Path file = folder.resolve("console-" + Integer.toHexString(line.hashCode()));
            Files.write(file, (line + "\n").getBytes(StandardCharsets.UTF_8));
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    /** Ends the program when a line takes too long. */
    private void watch(Path folder) {
        Thread watcher = new Thread(() -> {
            while (true) {
                Running now = running.get();
                if (now != null && System.nanoTime() - now.since > LONGEST_NANOS) {
                    keep(folder, now.line, "the line hangs");
                    Runtime.getRuntime().halt(1);
                }
                try {
                    Thread.sleep(500);
                } catch (InterruptedException e) {
                    return;
                }
            }
        });
        watcher.setDaemon(true);
        watcher.start();
    }

    /** Runs a line. {@return what is wrong with it; null for nothing} */
    private String wrongWith(String line, long seed) {
        out.reset();
        err.reset();
        NativeStandIn.begin(seed);
        session.output.jsonAlways = false;
        executions++;
        running.set(new Running(line, System.nanoTime()));
        try {
            List<String> words = CommandLineSplitter.split(line);
            if (words.isEmpty()) {
                return null;
            }
            if (words.get(0).equals(Lines.EXPECT_REFUSAL)) {
                words = words.subList(1, words.size());
            }
            int status = runner.run(tree, words, 1);
            nativesCalled.addAll(NativeStandIn.CALLS);
            return wrongWith(words, status);
        } catch (UsageError unclosedQuote) {
            return null;
        } catch (RuntimeException | Error thrown) {
            return thrown + " at " + thrown.getStackTrace()[0];
        } finally {
            running.set(null);
        }
    }

    private String wrongWith(List<String> words, int status) {
        if (err.toString(StandardCharsets.UTF_8).contains("the console itself failed")) {
            return err.toString(StandardCharsets.UTF_8).strip();
        }
        if (status < ExitStatus.SUCCESS || status > ExitStatus.USAGE) {
            return "the exit status is " + status;
        }
        List<String> changes = changesAfter(status == ExitStatus.USAGE ? -1 : NativeStandIn.refused);
        boolean isRefused = status == ExitStatus.USAGE || NativeStandIn.refused != -1;
        if (isRefused && !changes.isEmpty()) {
            return "after a refusal: " + changes;
        }
        return session.output.json ? wrongWithJson(words) : null;
    }

    private static List<String> changesAfter(int refused) {
        return NativeStandIn.CALLS.subList(refused + 1, NativeStandIn.CALLS.size()).stream()
                .filter(name -> !name.matches("(get|is|calc|check|linuxUp|solarisUp|HPUp|userExecutorStarted).*"))
                .toList();
    }

    private String wrongWithJson(List<String> words) {
        for (String printed : out.toString(StandardCharsets.UTF_8).split("\n")) {
            try {
                if (!words.contains("--help") && !words.contains("-h") && !words.contains("help")) {
                    JsonParser.parseString(printed);
                }
            } catch (JsonParseException e) {
                return "no JSON: " + printed;
            }
        }
        return null;
    }
}
