package com.qel.internet.rk.console;

import java.io.FileDescriptor;
import java.io.FileInputStream;
import java.io.FileOutputStream;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.lang.reflect.Field;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.charset.StandardCharsets;

/**
 * What native code prints to standard output by itself. The launcher makes descriptor 1 a file, and this class has Java
 * print to descriptor 3, which is standard output as it was: whoever runs a command then decides what becomes of the
 * rest.
 */
final class NativeOutput {
    private static final String CATCH = "com.qel.internet.rk.console.catch";
    private static final int STANDARD_OUTPUT = 3;
    private static final int CAUGHT = 4;
    private static final int CATCHING = 1;

    private final FileChannel caught;
    private final FileChannel catching;

    private NativeOutput(FileChannel caught, FileChannel catching) {
        this.caught = caught;
        this.catching = catching;
    }

    /**
     * Begins to catch, when the launcher has prepared that.
     *
     * @throws IllegalStateException when the Java VM does not let descriptors be chosen: nothing can be printed then
     */
    static NativeOutput open() {
        if (!Boolean.getBoolean(CATCH)) {
            return new NativeOutput(null, null);
        }
        FileDescriptor file = new FileDescriptor();
        choose(file, CAUGHT);
        FileDescriptor end = new FileDescriptor();
        choose(end, CATCHING);
        choose(FileDescriptor.out, STANDARD_OUTPUT);
        return new NativeOutput(new FileInputStream(file).getChannel(), new FileOutputStream(end).getChannel());
    }

    /** {@return what was printed since this was asked last} */
    String take() {
        try {
            long length = caught == null ? 0 : caught.size();
            if (length == 0) {
                return "";
            }
            ByteBuffer bytes = ByteBuffer.allocate((int) length);
            caught.read(bytes, 0);
            catching.truncate(0); // the launcher has it appended to, so the next text begins at the file's begin
            return new String(bytes.array(), 0, bytes.position(), StandardCharsets.UTF_8);
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    /** Java has no other way to use a descriptor that it did not open: the launcher opens its package for this. */
    private static void choose(FileDescriptor descriptor, int number) {
        try {
            Field field = FileDescriptor.class.getDeclaredField("fd");
            field.setAccessible(true);
            field.setInt(descriptor, number);
        } catch (ReflectiveOperationException | RuntimeException e) {
            throw new IllegalStateException("this Java VM does not let the console choose where it prints: " + e, e);
        }
    }
}
