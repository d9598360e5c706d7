package com.qel.internet.rk.common;

/** Loads the native library, and says what to do when it cannot be loaded. */
final class NativeLibrary {
    private static final String NAME = "cmnexecutor";

    private NativeLibrary() {
    }

    static void load() {
        try {
            System.loadLibrary(NAME);
        } catch (UnsatisfiedLinkError cause) {
            UnsatisfiedLinkError error = new UnsatisfiedLinkError(explain(cause.getMessage()));
            error.initCause(cause);
            throw error;
        } catch (IllegalCallerException cause) {
            UnsatisfiedLinkError error = new UnsatisfiedLinkError(explainDenial());
            error.initCause(cause);
            throw error;
        }
    }

    private static String explainDenial() {
        Module module = NativeLibrary.class.getModule();
        return "The Java VM denies the native library " + System.mapLibraryName(NAME)
                + ": allow native access with --enable-native-access="
                + (module.isNamed() ? module.getName() : "ALL-UNNAMED") + ".";
    }

    private static String explain(String message) {
        String file = System.mapLibraryName(NAME);
        StringBuilder text = new StringBuilder();
        text.append("The native library ").append(file).append(" cannot be loaded: ").append(message).append(". ");
        if (message.contains("another classloader")) {
            text.append("A Java VM loads a native library for one class loader only: put the jar of the module where"
                    + " one class loader has it for all, such as the class path or a server's shared folder.");
        } else if (message.contains("libuexc")) {
            text.append("It needs libuexc.so, the user-space executor: put a libuexc.so that offers EXC_UserInput and"
                    + " the EXC_Usr operations beside ").append(file)
                    .append(", or name its folder in LD_LIBRARY_PATH before the Java VM starts.");
        } else if (message.contains("symbol")) {
            text.append("The libuexc.so that was found is not a whole one: put one that offers EXC_UserInput and all"
                    + " the EXC_Usr operations beside ").append(file).append(", or first in LD_LIBRARY_PATH.");
        } else {
            text.append("Name the folder that holds ").append(file)
                    .append(" and libuexc.so with -Djava.library.path=FOLDER.");
        }
        return text.toString();
    }
}
