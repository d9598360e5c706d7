// Preloaded into a Java VM: tells on standard error who may do what with the folder of the library that Java loads.
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <libgen.h>
#include <sys/stat.h>

extern "C" [[gnu::visibility("default")]] void *dlopen(const char *file, int flags) noexcept {
    using Dlopen = void *(*)(const char *, int);
    static const auto next = reinterpret_cast<Dlopen>(dlsym(RTLD_NEXT, "dlopen"));
    if (file != nullptr && strstr(file, "/libcmnexecutor.so") != nullptr) {
        char path[PATH_MAX];
        snprintf(path, sizeof(path), "%s", file);
        const char *folder = dirname(path);
        struct stat status = {};
        if (stat(folder, &status) == 0)
            fprintf(stderr, "loaded from a folder of mode %o below %s\n", status.st_mode & 07777U, dirname(path));
    }
    return next(file, flags);
}
