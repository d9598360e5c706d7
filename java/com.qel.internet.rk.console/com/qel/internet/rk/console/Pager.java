package com.qel.internet.rk.console;

import java.io.IOException;
import java.io.OutputStreamWriter;
import java.io.Writer;
import java.nio.charset.StandardCharsets;
import java.util.Set;
import org.jline.terminal.Terminal;
import org.jline.terminal.Terminal.Signal;
import org.jline.terminal.Terminal.SignalHandler;

/** Shows texts that are longer than the terminal with the user's pager. */
final class Pager {
    private static final String VARIABLE = "PAGER";
    private static final String USUAL = "less";
    private static final Set<Integer> NOT_STARTED = Set.of(126, 127); // exit statuses of the shell

    private final Terminal terminal;

    Pager(Terminal terminal) {
        this.terminal = terminal;
    }

    /** Shows a text. {@return false when it was not: it is short, or the pager does not start} */
    boolean show(String text) {
        String pager = System.getenv().getOrDefault(VARIABLE, USUAL);
        if (pager.isBlank() || text.lines().count() < terminal.getHeight()) {
            return false;
        }
        // An interrupt is the pager's: it is not to end the console, not even when it is heard of late. So this stays
        // until the next line is read.
        terminal.handle(Signal.INT, SignalHandler.SIG_IGN);
        try {
            return !NOT_STARTED.contains(run(pager, text));
        } catch (IOException e) {
            return false;
        }
    }

    /** {@return the exit status} */
    private static int run(String pager, String text) throws IOException {
        Process process = new ProcessBuilder("/bin/sh", "-c", pager)
                .redirectOutput(ProcessBuilder.Redirect.INHERIT)
                .redirectError(ProcessBuilder.Redirect.INHERIT)
                .start();
        try (Writer input = new OutputStreamWriter(process.getOutputStream(), StandardCharsets.UTF_8)) {
            input.write(text);
        } catch (IOException leftEarly) {
            // Whoever has seen enough need not read all.
        }
        while (true) {
            try {
                return process.waitFor();
            } catch (InterruptedException e) {
                // It still has the terminal.
            }
        }
    }
}
