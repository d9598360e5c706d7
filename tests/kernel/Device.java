import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.concurrent.TimeUnit;
import java.util.function.BooleanSupplier;
import java.util.stream.Stream;

/** The executor's device, the daemon behind it, and this process's handles on it. */
final class Device {
    private static final Path PATH = Path.of("/dev/qelxw");
    private static final long PATIENCE_SECONDS = 60;

    private Device() {
    }

    /** Starts a daemon. {@return it, when the device is there} */
    static Process serve(String program) throws IOException, InterruptedException {
        Process daemon = new ProcessBuilder(program, "--foreground", "--forward", "none").inheritIO().start();
        await("the device", Device::opens);
        return daemon;
    }

    /** Sends a signal to a daemon. */
    static void signal(Process daemon, String name) throws IOException, InterruptedException {
        new ProcessBuilder("/bin/bash", "-c", "kill -" + name + " " + daemon.pid()).inheritIO().start().waitFor();
    }

    /** Ends a daemon with a signal. Returns when the device is gone. */
    static void end(Process daemon, String signal) throws IOException, InterruptedException {
        signal(daemon, signal);
        if (!daemon.waitFor(PATIENCE_SECONDS, TimeUnit.SECONDS)) {
            throw new IllegalStateException("the daemon outlives the signal " + signal);
        }
        await("the end of the device", () -> Files.notExists(PATH));
    }

    /** {@return this process's handles on the device, also on one that is gone} */
    static String handles() throws IOException {
        StringBuilder handles = new StringBuilder();
        try (Stream<Path> descriptors = Files.list(Path.of("/proc/self/fd"))) {
            descriptors.filter(Device::leadsToDevice)
                    .forEach(descriptor -> handles.append(descriptor.getFileName()).append(' '));
        }
        return handles.toString().strip();
    }

    private static boolean leadsToDevice(Path descriptor) {
        try {
            return Files.readSymbolicLink(descriptor).toString().startsWith(PATH.toString());
        } catch (IOException closedMeanwhile) {
            return false;
        }
    }

    /** The kernel shows a device's name a moment before the device can be opened. */
    private static boolean opens() {
        try {
            Files.newInputStream(PATH).close();
            return true;
        } catch (IOException notYet) {
            return false;
        }
    }

    private static void await(String what, BooleanSupplier condition) throws InterruptedException {
        long deadline = System.nanoTime() + TimeUnit.SECONDS.toNanos(PATIENCE_SECONDS);
        while (!condition.getAsBoolean()) {
            if (System.nanoTime() > deadline) {
                throw new IllegalStateException(what + " does not come");
            }
            Thread.sleep(20);
        }
    }
}
