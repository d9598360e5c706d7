package com.qel.internet.rk.console;

import java.util.ArrayList;
import java.util.List;

/** Splits a line into words as a shell does. */
final class CommandLineSplitter {
    private CommandLineSplitter() {
    }

    /**
     * Splits a line at blanks. Single quotes keep everything, double quotes all but a backslash before {@code "} or
     * {@code \}; outside quotes a backslash keeps the next character, and a word that begins with {@code #} begins a
     * comment.
     *
     * @return the words; none for a blank line or a comment
     * @throws UsageError when a quote is not closed
     */
    static List<String> split(String line) {
        List<String> words = new ArrayList<>();
        StringBuilder word = null;
        int i = 0;
        while (i < line.length()) {
            char c = line.charAt(i);
            if (Character.isWhitespace(c)) {
                if (word != null) {
                    words.add(word.toString());
                    word = null;
                }
                i++;
            } else if (c == '#' && word == null) {
                break;
            } else {
                word = word == null ? new StringBuilder() : word;
                i = c == '\'' || c == '"' ? appendQuoted(line, i, word) : appendPlain(line, i, word);
            }
        }
        if (word != null) {
            words.add(word.toString());
        }
        return words;
    }

    /** Appends the character at i, or the one after a backslash. {@return where the rest begins} */
    private static int appendPlain(String line, int i, StringBuilder word) {
        if (line.charAt(i) == '\\' && i + 1 < line.length()) {
            word.append(line.charAt(i + 1));
            return i + 2;
        }
        word.append(line.charAt(i));
        return i + 1;
    }

    /** Appends what stands in the quotes that open at i. {@return where the rest begins} */
    private static int appendQuoted(String line, int i, StringBuilder word) {
        char quote = line.charAt(i);
        for (int at = i + 1; at < line.length(); at++) {
            char c = line.charAt(at);
            if (c == quote) {
                return at + 1;
            }
            boolean escaped = quote == '"' && c == '\\' && at + 1 < line.length()
                    && (line.charAt(at + 1) == '"' || line.charAt(at + 1) == '\\');
            if (escaped) {
                at++;
            }
            word.append(line.charAt(at));
        }
        throw new UsageError("a quote is not closed: " + line.substring(i));
    }
}
