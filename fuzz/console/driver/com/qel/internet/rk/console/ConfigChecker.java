package com.qel.internet.rk.console;

import java.util.ArrayList;
import java.util.List;
import java.util.Random;
import picocli.CommandLine;

/**
 * Configurations that grow by lines made at random. What is read and written must be the same when it is read again, as
 * a script and as a document; a spoiled document is refused with its place, or read.
 */
final class ConfigChecker {
    private static final int MOST_LINES = 24;

    private final CommandLine tree;
    private final Output output;
    private final Random random;
    private final List<String> lines = new ArrayList<>();

    ConfigChecker(CommandLine tree, Output output, Random random) {
        this.tree = tree;
        this.output = output;
        this.random = random;
    }

    /** Adds a line to the configuration, or begins another one. {@return what is wrong with it; null for nothing} */
    String wrongWith(String line) {
        String wrong = wrongWithNext(line);
        if (wrong != null || lines.size() == MOST_LINES) {
            lines.clear();
        }
        return wrong;
    }

    private String wrongWithNext(String line) {
        lines.add(line);
        try {
            ConfigNode configuration = ConfigScript.read(tree, lines);
            String script = ConfigScript.write(configuration, List.of());
            String document = output.toText(ConfigDocument.write(configuration, List.of()));
            String wrong = wrongWith(script, script);
            wrong = wrong != null ? wrong : wrongWith(script, document);
            return wrong != null ? wrong : wrongWithSpoiled(document);
        } catch (UsageError | Refusal noConfiguration) {
            lines.remove(lines.size() - 1);
            return null;
        } catch (RuntimeException | Error thrown) {
            return thrown + " at " + thrown.getStackTrace()[0] + " for " + lines;
        }
    }

    /** {@return what is wrong when a text is read that is to make what a script makes} */
    private String wrongWith(String script, String text) {
        String again;
        try {
            again = ConfigScript.write(ConfigScript.read(tree, text.lines().toList()), List.of());
        } catch (UsageError refused) {
            return "not read again: " + refused.getMessage() + ": " + text;
        }
        return again.equals(script) ? null : "read again, " + script + " is " + again;
    }

    private String wrongWithSpoiled(String document) {
        int at = random.nextInt(document.length());
        String pieces = "{}[]\",:0-nt\\";
        String piece = random.nextBoolean() ? "" : String.valueOf(pieces.charAt(random.nextInt(pieces.length())));
        String spoiled = document.substring(0, at) + piece + document.substring(at + 1);
        try {
            ConfigScript.read(tree, List.of(spoiled));
        } catch (UsageError refused) {
            return refused.getMessage().isBlank() ? "no reason: " + spoiled : null;
        } catch (RuntimeException | Error thrown) {
            return thrown + " at " + thrown.getStackTrace()[0] + " for " + spoiled;
        }
        return null;
    }
}
