package rk.soak;

/** The native heap of this process. */
final class Heap {
    static {
        System.loadLibrary("rksoak");
    }

    private Heap() {
    }

    /** {@return what native code, of the VM's own too, has obtained and not given back} */
    static native long bytesInUse();
}
