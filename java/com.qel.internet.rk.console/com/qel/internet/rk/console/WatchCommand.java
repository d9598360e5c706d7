package com.qel.internet.rk.console;

import java.time.LocalTime;
import java.time.temporal.ChronoUnit;
import java.util.List;
import java.util.concurrent.Callable;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;

/** Runs a command again and again. */
@Command(name = "watch", description = "Run a command again and again, until an interrupt (Ctrl-C).")
final class WatchCommand implements Callable<Integer> {
    /** What the argument is called behind which anything may stand. */
    static final String REST = "COMMAND";
    private static final List<String> ENDLESS = List.of("watch", "top", "serve");
    private static final String CLEAR = "\033[H\033[2J\033[3J";
    private static final double LONGEST = 86_400;

    @Parameters(index = "0", paramLabel = "SECONDS", description = "How long to wait in between; 0.1 and more.")
    private double seconds;

    @Parameters(index = "1..*", arity = "1..*", paramLabel = REST, description = "The command, with its options.")
    private List<String> words;

    @Option(names = "--times", paramLabel = "N", description = "End after so many times. Stands before SECONDS.")
    private int times;

    private final CommandLine tree;
    private final Session session;

    WatchCommand(CommandLine tree, Session session) {
        this.tree = tree;
        this.session = session;
    }

    @Override
    public Integer call() {
        if (!(seconds >= 0.1 && seconds <= LONGEST)) {
            throw new UsageError("SECONDS: " + seconds + " is outside 0.1 to 86400");
        }
        if (ENDLESS.contains(words.get(0))) {
            throw new UsageError("'" + words.get(0) + "' goes on by itself");
        }
        List<String> command = List.copyOf(words); // the table of commands keeps what is parsed last
        long pause = (long) (seconds * 1000);
        int left = times;
        CommandRunner runner = new CommandRunner(session);
        Screen screen = session.output.screen;
        int status = ExitStatus.SUCCESS;
        try (Interrupt interrupt = new Interrupt()) {
            while (!interrupt.came()) {
                if (screen != null) {
                    session.output.plain(CLEAR + "Every " + seconds(pause) + " s, "
                            + LocalTime.now().truncatedTo(ChronoUnit.SECONDS) + ": " + String.join(" ", command) + "\n\n");
                    session.output.flushUnpaged();
                }
                session.output.screen = screen == null ? null : screen.withoutPager();
                session.known.forget();
                status = runner.run(tree, command, 0);
                if (--left == 0) {
                    break;
                }
                interrupt.rest(pause);
            }
        } finally {
            session.output.screen = screen;
        }
        return status;
    }

    private static String seconds(long milliseconds) {
        return milliseconds % 1000 == 0 ? Long.toString(milliseconds / 1000) : Double.toString(milliseconds / 1000.0);
    }
}
