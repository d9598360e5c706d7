package com.qel.internet.rk.common;

import java.io.IOException;
import java.io.InputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.HashSet;
import java.util.Set;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Stream;

/**
 * Compares the version of the native library with that of these classes: they are made together, and fit nothing else.
 * The library's is a text in its file, as it has no function to ask for it.
 */
final class LibraryVersion {
    private static final Path MAPPED_FILES = Path.of("/proc/self/maps");
    private static final String REMOVED = " (deleted)";
    private static final Pattern TEXT = Pattern.compile("libcmnexecutor version ([^\0]+)\0");

    private LibraryVersion() {
    }

    /** {@return the files of that name that this process has loaded, removed ones too; none where nobody tells} */
    static Set<Path> loadedFiles() {
        Set<Path> files = new HashSet<>();
        try (Stream<String> lines = Files.lines(MAPPED_FILES, StandardCharsets.ISO_8859_1)) {
            lines.map(line -> line.endsWith(REMOVED) ? line.substring(0, line.length() - REMOVED.length()) : line)
                    .filter(line -> line.endsWith("/" + NativeLibrary.FILE))
                    .forEach(line -> files.add(Path.of(line.substring(line.indexOf('/')))));
        } catch (IOException notThere) {
            // Nothing is compared then.
        }
        return files;
    }

    /**
     * Refuses a library of another version.
     *
     * @param file the library's file
     * @throws UnsatisfiedLinkError when it does not fit
     */
    static void check(Path file) {
        String wanted = ownVersion();
        if (wanted == null) {
            return;
        }
        String found = versionOf(file);
        if (!found.equals(wanted)) {
            throw new UnsatisfiedLinkError("The native library " + file + " does not fit: its version is " + found
                    + ", and that of the jar is " + wanted + ". Install both of one version, or name the folder of the"
                    + " library that fits with -Djava.library.path=FOLDER.");
        }
    }

    /** {@return the version that stands beside the classes in the jar; null where they were compiled without} */
    private static String ownVersion() {
        try (InputStream text = LibraryVersion.class.getResourceAsStream("version.txt")) {
            return text == null ? null : new String(text.readAllBytes(), StandardCharsets.US_ASCII).strip();
        } catch (IOException unreadable) {
            return null;
        }
    }

    private static String versionOf(Path file) {
        try {
            Matcher text = TEXT.matcher(Files.readString(file, StandardCharsets.ISO_8859_1));
            return text.find() ? text.group(1) : "unknown";
        } catch (IOException unreadable) {
            return "unknown (" + unreadable.getMessage() + ")";
        }
    }
}
