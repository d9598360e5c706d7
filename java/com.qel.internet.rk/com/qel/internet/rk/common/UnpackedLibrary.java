package com.qel.internet.rk.common;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.io.InputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.FileAttribute;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.List;
import java.util.Locale;

/**
 * The native libraries that some jars have inside. They are unpacked into a new folder that is this user's
 * alone, loaded, and removed at once: what is loaded stays, and nothing is left behind however the process ends.
 */
final class UnpackedLibrary {
    /** The property that names the folder to unpack in, where the one for temporary files will not do. */
    private static final String FOLDER_PROPERTY = "com.qel.internet.rk.unpack";
    /** What to do when unpacking or loading fails. */
    static final String ADVICE = "name a folder of yours, where files may be executed, with -D" + FOLDER_PROPERTY
            + "=FOLDER, or install the library.";

    private static final String RESOURCES = "/com/qel/internet/rk/natives/"
            + System.getProperty("os.name", "").toLowerCase(Locale.ROOT) + "-" + System.getProperty("os.arch")
            + "/";
    private static final String EXECUTOR = "libuexc.so";
    private static final int WRITABLE_BY_OTHERS = 0002;
    private static final int STICKY = 01000;

    private UnpackedLibrary() {
    }

    /** {@return whether the jar has libraries for this machine} */
    static boolean isInJar() {
        return UnpackedLibrary.class.getResource(RESOURCES + NativeLibrary.FILE) != null;
    }

    /**
     * Unpacks and loads the libraries.
     *
     * @throws IOException          when they cannot be unpacked
     * @throws UnsatisfiedLinkError when they cannot be loaded, or are of another version than the classes
     */
    static void load() throws IOException {
        Path folder = makeFolder();
        Path library = folder.resolve(NativeLibrary.FILE);
        Path executor = folder.resolve(EXECUTOR);
        try {
            unpack(library);
            unpack(executor);
            System.load(library.toString());
            LibraryVersion.check(library);
        } finally {
            for (Path file : List.of(library, executor, folder)) {
                Files.deleteIfExists(file);
            }
        }
    }

    /** Makes the folder, under a name that nobody can foresee and that was not there. */
    private static Path makeFolder() throws IOException {
        String named = System.getProperty(FOLDER_PROPERTY, System.getProperty("java.io.tmpdir"));
        Path parent = Path.of(named).toRealPath();
        int mode = (Integer) Files.getAttribute(parent, "unix:mode");
        if ((mode & WRITABLE_BY_OTHERS) != 0 && (mode & STICKY) == 0) {
            throw new IOException("in " + parent + " other users can put a library of theirs in the place of ours");
        }
        FileAttribute<?> ownersAlone =
                PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rwx------"));
        return Files.createTempDirectory(parent, "cmnexecutor-", ownersAlone);
    }

    private static void unpack(Path file) throws IOException {
        try (InputStream bytes = UnpackedLibrary.class.getResourceAsStream(RESOURCES + file.getFileName())) {
            if (bytes == null) {
                throw new FileNotFoundException("the jar has no " + file.getFileName());
            }
            Files.copy(bytes, file);
        }
    }
}
