package com.qel.internet.rk.console;

import java.io.File;
import java.io.IOException;
import java.io.OutputStreamWriter;
import java.io.Writer;
import java.nio.charset.StandardCharsets;
import java.util.Set;
import org.jline.utils.Signals;

/** Shows texts that are longer than the terminal with the user's pager. */
final class Pager {
    private static final String VARIABLE = "PAGER";
    private static final String USUAL = "less";
    private static final Set<Integer> NOT_STARTED = Set.of(126, 127); // exit statuses of the shell
    private static final String INTERRUPT = "INT";

    private static final File TERMINAL = new File("/dev/tty");

    private Pager() {
    }

    /** Shows a text. {@return false when it was not: the user wants no pager, or it does not start} */
    static boolean show(String text) {
        String pager = System.getenv().getOrDefault(VARIABLE, USUAL);
        if (pager.isBlank()) {
            return false;
        }
        try {
            ProcessBuilder builder = new ProcessBuilder("/bin/sh", "-c", pager);
            builder.environment().putIfAbsent("LESS", "FRX"); // colours as they are
            Process process = builder
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
        // From now on interrupts are for the pager: they must not end the console. The pager is started before, as it
        // would inherit that they are ignored.
        ignoreInterrupts();
        try (Writer input = new OutputStreamWriter(process.getOutputStream(), StandardCharsets.UTF_8)) {
            input.write(text);
        } catch (IOException e) {
            // The user left the pager before the end of the text.
        }
        int status = process.onExit().join().exitValue();
        Signals.registerDefault(INTERRUPT);
        return status;
    }

    /** JLine takes a handler of a class that it knows by reflection only, so this names the class by reflection too. */
    private static void ignoreInterrupts() {
        try {
            Signals.unregister(INTERRUPT, Class.forName("sun.misc.SignalHandler").getField("SIG_IGN").get(null));
        } catch (ReflectiveOperationException e) {
            // This Java VM has no such class: an interrupt ends the console too.
        }
    }
}
