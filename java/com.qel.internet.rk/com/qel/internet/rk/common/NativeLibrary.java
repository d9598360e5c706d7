package com.qel.internet.rk.common;

import java.io.File;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Set;

/** Loads the native library, and says what to do when it cannot be loaded. */
final class NativeLibrary {
    private static final String NAME = "cmnexecutor";
    /** The library's file. */
    static final String FILE = System.mapLibraryName(NAME);

    private NativeLibrary() {
    }

    /**
     * Loads the library that is installed, or else the one in the jar.
     *
     * @throws UnsatisfiedLinkError when there is none, or it is not whole, not allowed, or of another version
     */
    static void load() {
        Set<Path> others = LibraryVersion.loadedFiles();
        try {
            System.loadLibrary(NAME);
        } catch (UnsatisfiedLinkError cause) {
            if (isInstalled() || !UnpackedLibrary.isInJar()) {
                throw error(explain(cause.getMessage(), "Name the folder that holds " + FILE
                        + " and libuexc.so with -Djava.library.path=FOLDER."), cause);
            }
            loadFromJar(others);
            return;
        } catch (IllegalCallerException cause) {
            throw error(explainDenial(), cause);
        }
        Set<Path> loaded = LibraryVersion.loadedFiles();
        loaded.removeAll(others);
        loaded.forEach(LibraryVersion::check);
    }

    private static boolean isInstalled() {
        for (String folder : System.getProperty("java.library.path", "").split(File.pathSeparator)) {
            if (Files.exists(Path.of(folder, FILE))) {
                return true;
            }
        }
        return false;
    }

    /** Loads the library in the jar, unless the process has one: a second would share its executor without a lock. */
    private static void loadFromJar(Set<Path> others) {
        try {
            if (!others.isEmpty()) {
                throw new UnsatisfiedLinkError(others.iterator().next() + " already loaded in another classloader");
            }
            UnpackedLibrary.load();
        } catch (UnsatisfiedLinkError | IOException cause) {
            throw error(explain(cause.toString(), "It is not installed, and the jar has one that was to be unpacked: "
                    + UnpackedLibrary.ADVICE), cause);
        }
    }

    private static UnsatisfiedLinkError error(String text, Throwable cause) {
        UnsatisfiedLinkError error = new UnsatisfiedLinkError(text);
        error.initCause(cause);
        return error;
    }

    private static String explainDenial() {
        Module module = NativeLibrary.class.getModule();
        return "The Java VM denies the native library " + FILE
                + ": allow native access with --enable-native-access="
                + (module.isNamed() ? module.getName() : "ALL-UNNAMED") + ".";
    }

    /** {@return what the VM said, and what to do: the advice, unless it is libuexc.so that is missing or broken} */
    private static String explain(String message, String advice) {
        StringBuilder text = new StringBuilder();
        text.append("The native library ").append(FILE).append(" cannot be loaded: ").append(message).append(". ");
        if (message.contains("another classloader")) {
            text.append("A Java VM loads a native library for one class loader only: put the jar of the module where"
                    + " one class loader has it for all, such as the class path or a server's shared folder.");
        } else if (message.contains("libuexc")) {
            text.append("It needs libuexc.so, the user-space executor: put a libuexc.so that offers EXC_UserInput and"
                    + " the EXC_Usr operations beside ").append(FILE)
                    .append(", or name its folder in LD_LIBRARY_PATH before the Java VM starts.");
        } else if (message.contains("symbol")) {
            text.append("The libuexc.so that was found is not a whole one: put one that offers EXC_UserInput and all"
                    + " the EXC_Usr operations beside ").append(FILE).append(", or first in LD_LIBRARY_PATH.");
        } else {
            text.append(advice);
        }
        return text.toString();
    }
}
