package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNExecutorReport;
import com.qel.internet.rk.common.CMNExecutorStatus;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.Collection;
import java.util.List;
import java.util.Objects;
import java.util.Optional;
import java.util.function.Predicate;

/**
 * The executor, the part of the load balancer that forwards packets: where everything begins.
 *
 * <p>A process has one open executor at a time. All threads share it: their calls take turns, and a call that is made
 * of several native ones is not interrupted by another. {@link #close} ends it; what came from it is of no use after
 * that, and another one may be opened.
 *
 * <pre>{@code
 * try (Executor executor = Executor.openUserSpace()) {
 *     Cluster web = executor.cluster("web");
 *     web.add(ClusterSettings.at(Addresses.ipv4("10.0.0.5")));
 *     web.port(80).add(PortSettings.none().stickyTime(Duration.ofMinutes(5)));
 *     web.port(80).server("north").add(ServerSettings.at(Addresses.ipv4("10.0.1.1")).weight(10));
 * }
 * }</pre>
 */
public final class Executor implements AutoCloseable {
    private static final int TO_KERNEL = 0;
    private static final int TO_USER_SPACE = 1;
    private static final int REFUSED = -1;

    /** The open one; null when there is none. */
    private static Executor current;

    private final Channel channel;
    private final boolean isUserSpace;

    /** The one object with the native methods, made when it is needed first: making it loads the native library. */
    private static final class Natives {
        static final CMNExecutorInterface SHARED = new CMNExecutorInterface();
    }

    private Executor(boolean isUserSpace) {
        this.channel = new Channel(natives());
        this.isUserSpace = isUserSpace;
    }

    /**
     * Starts the executor in user space, inside this process.
     *
     * @return the executor
     * @throws ExecutorException     when it does not start
     * @throws IllegalStateException when this process has an open one already
     * @throws UnsatisfiedLinkError  when the native library cannot be loaded; its message says what to do
     */
    public static Executor openUserSpace() {
        return openUserSpace(UserSpaceOptions.none());
    }

    /**
     * Starts the executor in user space, inside this process.
     *
     * @param options what it starts with
     * @return the executor
     * @throws ExecutorException     when it does not start, or does not take the options
     * @throws IllegalStateException when this process has an open one already
     * @throws UnsatisfiedLinkError  when the native library cannot be loaded; its message says what to do
     */
    public static synchronized Executor openUserSpace(UserSpaceOptions options) {
        requireNone();
        CMNExecutorInterface natives = natives();
        synchronized (natives) {
            natives.setKVAServerModalityNative(TO_USER_SPACE);
            String folder = options.installFolder();
            String log = options.log();
            require(folder == null || natives.userExecutorSetInstallPathNative(folder),
                    "installation folder " + folder, "it cannot be used");
            require(log == null || natives.userExecutorSetLogNative(log), "log file " + log, "it cannot be written");
            require(natives.userExecutorProcessInitNative(), "executor in user space");
            int status = natives.startUserExecutorNative();
            if (status != 0) {
                natives.userExecutorProcessTermNative();
            }
            require(status, "executor in user space");
            current = new Executor(true);
        }
        return current;
    }

    /**
     * Opens the channel to the executor in the kernel, the device {@code /dev/qelxw}.
     *
     * @return the executor
     * @throws ExecutorException     when the device cannot be opened
     * @throws IllegalStateException when this process has an open one already
     * @throws UnsatisfiedLinkError  when the native library cannot be loaded; its message says what to do
     */
    public static synchronized Executor openKernel() {
        requireNone();
        CMNExecutorInterface natives = natives();
        synchronized (natives) {
            natives.setKVAServerModalityNative(TO_KERNEL);
            require(natives.isLoadedNative() != 0, "executor in the kernel",
                    "its device /dev/qelxw cannot be opened: it is not there, or not for this user");
            current = new Executor(false);
        }
        return current;
    }

    /**
     * Gives the object that all calls of this package go through, for what it does not offer. Its methods take turns
     * with those of this package. Whoever needs an object with the native methods takes this one: a second one has a
     * lock of its own, and the process has one executor.
     *
     * @return the native methods
     * @throws UnsatisfiedLinkError when the native library cannot be loaded; its message says what to do
     */
    public static CMNExecutorInterface natives() {
        return Natives.SHARED;
    }

    /**
     * Computes the key by which the executor knows a name.
     *
     * @param name name of a cluster or server
     * @return the key
     */
    public static int keyOf(String name) {
        return natives().calcClusterIdKeyNative(Objects.requireNonNull(name, "name"), "");
    }

    /**
     * Finds names that have a key in common. The executor cannot tell those of clusters apart, nor those of one port's
     * servers: look before names are made from numbers or addresses.
     *
     * @param names the names
     * @return those that clash; empty when all keys differ
     */
    public static List<KeyClash> clashes(Collection<String> names) {
        return Names.clashes(natives(), names);
    }

    /** {@return whether this is the executor in user space, and not the one in the kernel} */
    public boolean isUserSpace() {
        return isUserSpace;
    }

    /** {@return whether the executor answers; one in the kernel may have gone} */
    public boolean answers() {
        return channel.answer() == 0;
    }

    /**
     * Has a question asked before each call that may take long, in the thread that makes it and before anything is
     * sent: whether it is to be entered. When it is not, the call ends with
     * {@link java.util.concurrent.CancellationException}. Without a question all are entered.
     *
     * @param question gives true for a wait that is wanted
     */
    public void askBeforeWaiting(Predicate<Wait> question) {
        channel.askBeforeWaiting(Objects.requireNonNull(question, "question"));
    }

    /**
     * Tells which call is under way that may take long. Every other call waits until it has ended: this one does not,
     * and so tells a thread beforehand what it would wait for.
     *
     * @return the call; empty when there is none
     */
    public Optional<Wait> waiting() {
        return Optional.ofNullable(channel.waiting());
    }

    /**
     * Reads the settings.
     *
     * @return the settings
     * @throws ExecutorException when the executor refuses
     */
    public ExecutorStatus status() {
        CMNExecutorStatus status = new CMNExecutorStatus();
        channel.perform(this, Family.EXECUTOR, natives -> natives.getExecutorStatusNative(status));
        return ExecutorStatus.of(status);
    }

    /**
     * Changes settings.
     *
     * @param settings those that are given change
     * @throws ExecutorException when the executor refuses; no setting is changed then
     */
    public void change(ExecutorSettings settings) {
        channel.perform(this, Family.EXECUTOR, natives -> natives.setExecutorStatusNative(settings.toNative()));
    }

    /**
     * Reads the counters.
     *
     * @return the counters
     * @throws ExecutorException when the executor refuses
     */
    public ExecutorReport report() {
        CMNExecutorReport report = new CMNExecutorReport();
        channel.perform(this, Family.EXECUTOR, natives -> natives.getExecutorReportNative(report));
        return ExecutorReport.of(report);
    }

    /**
     * Sets the counter of connections per second.
     *
     * @param rate what it is to be
     * @throws ExecutorException when the executor refuses
     */
    public void setConnectionsPerSecond(int rate) {
        CMNExecutorReport report = new CMNExecutorReport();
        report.iConnectionsPerSecond = rate;
        channel.perform(this, Family.EXECUTOR, natives -> natives.setExecutorCPSNative(report));
    }

    /**
     * Names a cluster, whether it is there or not: nothing is sent.
     *
     * @param name its identifier, at most 64 bytes; upper and lower case are the same
     * @return the cluster of that name
     * @throws IllegalArgumentException when the name is longer
     */
    public Cluster cluster(String name) {
        return new Cluster(channel, Name.ofCluster(channel, name));
    }

    /**
     * Lists the clusters.
     *
     * @return the clusters, in the executor's order
     * @throws ExecutorException when the executor refuses
     */
    public List<Cluster> clusters() {
        return channel.together(natives -> channel.names().clusters().stream().map(this::cluster).toList());
    }

    /** {@return the relation to the high-availability partner} */
    public HighAvailability highAvailability() {
        return new HighAvailability(channel);
    }

    /** {@return cluster addresses on the machine's network interfaces} */
    public Aliases aliases() {
        return new Aliases(channel);
    }

    /** {@return logs, dumps, connections made by hand, and what is known of attacks} */
    public Diagnostics diagnostics() {
        return new Diagnostics(channel);
    }

    /**
     * Ends the executor in user space, or closes the channel to the one in the kernel, which goes on. Waits for the
     * call that another thread has under way. Does nothing the second time.
     *
     * @throws ExecutorException when the executor does not stop; it counts as closed all the same
     */
    @Override
    public void close() {
        synchronized (Executor.class) {
            CMNExecutorInterface natives = natives();
            int[] status = {0};
            boolean wasOpen = channel.close(() -> status[0] = stop(natives));
            if (wasOpen) {
                current = null;
            }
            require(status[0], toString());
        }
    }

    private int stop(CMNExecutorInterface natives) {
        if (!isUserSpace) {
            natives.stopExecutorNative();
            return 0;
        }
        int stopped = natives.userExecutorStartedNative() ? natives.stopUserExecutorNative() : 0;
        int cleaned = natives.userExecutorProcessTermNative();
        return stopped != 0 ? stopped : cleaned;
    }

    /** {@return which executor it is} */
    @Override
    public String toString() {
        return isUserSpace ? "executor in user space" : "executor in the kernel";
    }

    private static void requireNone() {
        if (current != null) {
            throw new IllegalStateException("this process has an open executor already: share it, or close it first");
        }
    }

    private static void require(int status, String what) {
        if (status != 0) {
            throw new ExecutorException(what, Family.SYSTEM, status);
        }
    }

    private static void require(boolean done, String what, String otherwise) {
        if (!done) {
            throw new ExecutorException(what, Family.SYSTEM, REFUSED, otherwise);
        }
    }
}
