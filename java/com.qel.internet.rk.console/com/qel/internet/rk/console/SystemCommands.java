package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNStatus.Family;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Parameters;

/** Whether there is an executor, which one commands go to, and the library's other answers. */
@Command(name = "system", description = "Whether there is an executor, and which one commands go to.")
final class SystemCommands {
    /** What an executor can run on. */
    enum Platform { linux, solaris, hp }

    /** Which executor. */
    enum Mode { kernel, user }

    /** What there can be too many of. */
    enum Limit { clusters, ports, servers }

    private final Session session;

    private SystemCommands(Session session) {
        this.session = session;
    }

    /** {@return the family's commands} */
    static CommandLine create(Session session) {
        CommandLine family = new CommandLine(new SystemCommands(session));
        family.addSubcommand(new UserExecutorCommands(session));
        return family;
    }

    @Command(description = "Show whether the kernel executor's device is, or can be, opened; it then stays open.")
    void present() {
        session.output.answer("present", session.natives().isLoadedNative() != 0);
    }

    @Command(description = "Show whether the kernel executor of a platform runs, without touching the channel to it.")
    void probe(@Parameters(paramLabel = "PLATFORM", defaultValue = "linux",
            description = "One of ${COMPLETION-CANDIDATES}; linux when left out.") Platform platform) {
        int up = switch (platform) {
            case linux -> session.natives().linuxUpNative();
            case solaris -> session.natives().solarisUpNative();
            case hp -> session.natives().HPUpNative();
        };
        session.output.answer("up", up != 0);
    }

    @Command(description = "Close the channel to the kernel executor; the next command to it opens it again.")
    void stop() {
        session.known.forget();
        session.output.text("result", session.natives().stopExecutorNative());
    }

    @Command(name = "script-prefix", description = "Show the prefix of the executor's scripts.")
    void scriptPrefix() {
        session.output.text("prefix", session.natives().ScriptPrefixNative());
    }

    @Command(name = "update-kernel", description = "Show the library's answer to the update of the kernel executor.")
    void updateKernel() {
        session.output.text("answer", session.natives().updateKernelNative());
    }

    @Command(name = "check-max", description = "Ask whether there may be this many of something.")
    void checkMax(@Parameters(index = "0", paramLabel = "WHAT", description = "One of ${COMPLETION-CANDIDATES}.")
            Limit limit, @Parameters(index = "1", paramLabel = "N", description = "How many.") int count) {
        session.finish(Family.SYSTEM, switch (limit) {
            case clusters -> session.natives().checkMaxClustersNative(count);
            case ports -> session.natives().checkMaxPortsNative(count);
            case servers -> session.natives().checkMaxServersNative(count);
        });
    }

    @Command(description = "Send the commands from now on to the kernel executor, or to the user-space executor.")
    void mode(@Parameters(paramLabel = "MODE", description = "One of ${COMPLETION-CANDIDATES}.") Mode mode) {
        session.setMode(mode == Mode.kernel);
        session.output.done();
    }
}
