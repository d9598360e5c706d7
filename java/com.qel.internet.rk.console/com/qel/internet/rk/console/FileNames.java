package com.qel.internet.rk.console;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStream;
import java.io.InputStreamReader;
import java.io.UncheckedIOException;
import java.nio.charset.CharacterCodingException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.InvalidPathException;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.util.List;
import java.util.stream.Stream;

/** Files that commands name. */
final class FileNames {
    /** What an argument is called that names a file; completion offers files for it. */
    static final String LABEL = "FILE";
    /** The same for a file that is written. */
    static final String NEW_LABEL = "NEW_FILE";

    private FileNames() {
    }

    static boolean isLabel(String label) {
        return label.equals(LABEL) || label.equals(NEW_LABEL);
    }

    /** {@return the files whose names begin with what is typed; folders with a slash at their end} */
    static List<String> beginning(String begun) {
        String folder = begun.substring(0, begun.lastIndexOf('/') + 1);
        try (Stream<Path> files = Files.list(Path.of(folder.isEmpty() ? "." : folder))) {
            return files.map(file -> folder + file.getFileName() + (Files.isDirectory(file) ? "/" : "")).sorted().toList();
        } catch (IOException | InvalidPathException | UncheckedIOException unreadable) {
            return List.of();
        }
    }

    /** Opens a text file to read; - stands for standard input. */
    static BufferedReader open(String file) throws IOException {
        InputStream input = file.equals("-") ? System.in : Files.newInputStream(Path.of(file));
        return new BufferedReader(new InputStreamReader(input, StandardCharsets.UTF_8.newDecoder()));
    }

    /** {@return why a file cannot be read, in words} */
    static String reason(Exception error) {
        if (error instanceof NoSuchFileException || error instanceof InvalidPathException) {
            return "there is no such file";
        }
        return error instanceof CharacterCodingException ? "it is not UTF-8" : error.getMessage();
    }

    /** {@return the lines of a file} */
    static List<String> lines(String file) {
        try (BufferedReader input = open(file)) {
            return input.lines().toList();
        } catch (IOException | InvalidPathException error) {
            throw new UsageError("cannot be read: " + reason(error));
        } catch (UncheckedIOException error) {
            throw new UsageError("cannot be read: " + reason(error.getCause()));
        }
    }

    /** Writes a file whole, or leaves it as it was. */
    static void write(String file, String text) {
        try {
            Path path = Path.of(file).toAbsolutePath();
            Path part = Files.createTempFile(path.getParent(), "." + path.getFileName(), ".part");
            try {
                Files.writeString(part, text);
                Files.move(part, path, StandardCopyOption.REPLACE_EXISTING,
                        StandardCopyOption.ATOMIC_MOVE);
            } finally {
                Files.deleteIfExists(part);
            }
        } catch (IOException | InvalidPathException error) {
            throw new Refusal(null, "the file " + file + " cannot be written: " + reason(error));
        }
    }
}
