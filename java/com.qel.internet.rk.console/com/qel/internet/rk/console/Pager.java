package com.qel.internet.rk.console;

import java.io.File;
import java.io.IOException;
import java.io.OutputStreamWriter;
import java.io.Writer;
import java.nio.charset.StandardCharsets;
import java.util.Set;
import org.jline.terminal.Terminal;
import org.jline.utils.Signals;

/** Shows texts that are longer than the terminal with the user's pager. */
final class Pager {
    private static final String VARIABLE = "PAGER";
    private static final String USUAL = "less";
    private static final Set<Integer> NOT_STARTED = Set.of(126, 127); // exit statuses of the shell
    private static final String INTERRUPT = "INT";

    private static final File TERMINAL = new File("/dev/tty");

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
        try {
            Process process = new ProcessBuilder("/bin/sh", "-c", pager)
                    .redirectOutput(TERMINAL) // descriptor 1 may be caught
                    .redirectError(ProcessBuilder.Redirect.INHERIT)
                    .start();
            return !NOT_STARTED.contains(feed(process, text));
        } catch (IOException e) {
            return false;
        }
    }

    /** Gives the pager its text, and waits until the user leaves it. {@return its exit status} */
    private static int feed(Process process, String text) {
        // Interrupts are the pager's from now on: they are not to end the console. A pager that were started while they
        // are ignored would ignore them as well.
        ignoreInterrupts();
        try (Writer input = new OutputStreamWriter(process.getOutputStream(), StandardCharsets.UTF_8)) {
            input.write(text);
        } catch (IOException e) {
            // Whoever has seen enough need not read all.
        }
        int status = process.onExit().join().exitValue();
        Signals.registerDefault(INTERRUPT);
        return status;
    }

    /** JLine names the class of signals that Java has for this by reflection only, and so it is here. */
    private static void ignoreInterrupts() {
        try {
            Signals.unregister(INTERRUPT, Class.forName("sun.misc.SignalHandler").getField("SIG_IGN").get(null));
        } catch (ReflectiveOperationException e) {
            // A Java VM without it: an interrupt ends the console too.
        }
    }
}
