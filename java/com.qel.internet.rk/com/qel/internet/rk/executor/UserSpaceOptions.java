package com.qel.internet.rk.executor;

import java.nio.file.Path;

/** What the executor in user space starts with. Never changes: each option gives another object that has it too. */
public final class UserSpaceOptions {
    private static final UserSpaceOptions NONE = new UserSpaceOptions(null, null);

    private final Path log;
    private final Path installFolder;

    private UserSpaceOptions(Path log, Path installFolder) {
        this.log = log;
        this.installFolder = installFolder;
    }

    /** {@return no options: the executor writes no log, and has its own choice of an installation folder} */
    public static UserSpaceOptions none() {
        return NONE;
    }

    /**
     * Names the file that the executor appends its log to.
     *
     * @param file the file
     * @return these options and the file
     */
    public UserSpaceOptions log(Path file) {
        return new UserSpaceOptions(file.toAbsolutePath(), installFolder);
    }

    /**
     * Names the folder that the executor is installed in.
     *
     * @param folder the folder
     * @return these options and the folder
     */
    public UserSpaceOptions installFolder(Path folder) {
        return new UserSpaceOptions(log, folder.toAbsolutePath());
    }

    /** {@return the log file; null for none} */
    String log() {
        return log == null ? null : log.toString();
    }

    /** {@return the installation folder; null for none} */
    String installFolder() {
        return installFolder == null ? null : installFolder.toString();
    }
}
