// Goes into a program that speaks with the kernel: ends it as it sends the message, or the commands for the packet
// filter, whose number the file that DOOM names has. The count begins when the file is there; it is gone at the end.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <unistd.h>

struct nl_sock;
struct nl_msg;
struct nft_ctx;

namespace {

void comeCloser() {
    static int left = 0;
    const char *path = std::getenv("DOOM");
    if (path == nullptr)
        return;
    std::FILE *file = std::fopen(path, "r");
    if (file == nullptr) {
        left = 0;
        return;
    }
    if (left == 0 && std::fscanf(file, "%d", &left) != 1)
        left = 0;
    std::fclose(file);
    if (left == 0 || --left > 0)
        return;
    unlink(path);
    raise(SIGKILL);
}

template <typename Procedure> Procedure *next(const char *name) {
    return reinterpret_cast<Procedure *>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {
int nl_send_auto(nl_sock *socket, nl_msg *message) {
    comeCloser();
    return next<int(nl_sock *, nl_msg *)>("nl_send_auto")(socket, message);
}

int nft_run_cmd_from_buffer(nft_ctx *context, const char *commands) {
    comeCloser();
    return next<int(nft_ctx *, const char *)>("nft_run_cmd_from_buffer")(context, commands);
}
}
