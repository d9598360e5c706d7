// What the process has from malloc and has not given back. The soak asks for it, as the resident size tells of pages
// only.
#include <jni.h>
#include <malloc.h>

extern "C" JNIEXPORT jlong JNICALL Java_rk_soak_Heap_bytesInUse(JNIEnv *, jclass) {
    const struct mallinfo2 all = mallinfo2();
    return static_cast<jlong>(all.uordblks + all.hblkhd);
}
