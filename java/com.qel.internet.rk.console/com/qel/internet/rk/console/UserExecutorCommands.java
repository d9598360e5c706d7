package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNStatus.Family;
import picocli.CommandLine.Command;
import picocli.CommandLine.Parameters;

/** The life of the user-space executor. */
@Command(name = "user", description = "The user-space executor: its log, its start and its stop.")
final class UserExecutorCommands {
    private final Session session;

    UserExecutorCommands(Session session) {
        this.session = session;
    }

    @Command(description = "Load the user-space executor. It is linked to the library, so there is nothing to do.")
    void load() {
        check(session.natives().loadUserExecutorNative());
    }

    @Command(description = "Set up what the user-space executor needs once in a process.")
    void init() {
        check(session.natives().userExecutorProcessInitNative());
    }

    @Command(description = "Start the user-space executor.")
    void start() {
        check(session.natives().startUserExecutorNative());
    }

    @Command(description = "Show whether the user-space executor runs.")
    void started() {
        session.output.answer("started", session.natives().userExecutorStartedNative());
    }

    @Command(description = "Stop the user-space executor; it forgets what was configured.")
    void stop() {
        check(session.natives().stopUserExecutorNative());
    }

    @Command(description = "Clean up what the user-space executor needed in the process.")
    void term() {
        check(session.natives().userExecutorProcessTermNative());
    }

    @Command(description = "Set the log file of the user-space executor.")
    void log(@Parameters(paramLabel = "FILE", description = "The log file.") String file) {
        session.setLog(file);
        session.output.done();
    }

    @Command(name = "install-path", description = "Set the installation folder of the user-space executor.")
    void installPath(@Parameters(paramLabel = "DIR", description = "The folder.") String folder) {
        session.setInstallPath(folder);
        session.output.done();
    }

    private void check(int status) {
        session.known.forget();
        session.finish(Family.SYSTEM, status);
    }
}
