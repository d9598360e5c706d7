#include "executor/children/children.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <pthread.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace rk {

namespace {

constexpr char kSystemFolders[] = "/usr/sbin:/usr/local/sbin:/sbin:/usr/bin:/bin";

// Leashes that this process holds. One that it forks off and that runs no other program has a copy of each, and would
// keep the children after this process's end. Never destroyed: a fork may come during the exit handlers.
struct Leashes {
    std::mutex mutex;
    std::vector<OwnDescriptor> held;
};
Leashes &leashes = *new Leashes;

void lockLeashes() {
    leashes.mutex.lock();
}

void unlockLeashes() {
    leashes.mutex.unlock();
}

// In a process that was forked off, where nothing may be allocated or freed.
void letGoOfLeashes() {
    for (OwnDescriptor &leash : leashes.held)
        closeOwn(leash);
    unlockLeashes();
}

} // namespace

void holdLeash(const OwnDescriptor &leash) {
    static const int error = pthread_atfork(lockLeashes, unlockLeashes, letGoOfLeashes);
    (void)error; // without memory for it, forks keep their copies
    const std::lock_guard lock(leashes.mutex);
    leashes.held.push_back(leash);
}

void dropLeash(OwnDescriptor &leash) {
    {
        const std::lock_guard lock(leashes.mutex);
        std::erase_if(leashes.held, [&leash](const OwnDescriptor &held) { return held.number == leash.number; });
    }
    closeOwn(leash);
}

bool openPipe(Pipe &opened) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return false;
    opened = {ownDescriptor(ends[0]), ownDescriptor(ends[1])};
    return true;
}

void closePipe(Pipe &opened) {
    closeOwn(opened.reading);
    closeOwn(opened.writing);
}

void appendErrno(LogText &words, const char *what, const std::string &name) {
    append(words, "%s %s: %s", what, name.c_str(), strerrordesc_np(errno));
}

std::string findProgram(const char *variable, const char *name) {
    const char *named = getenv(variable);
    if (named != nullptr)
        return access(named, X_OK) == 0 ? named : "";
    const char *path = getenv("PATH");
    std::string folders = std::string(path == nullptr ? "" : path) + ":" + kSystemFolders + ":";
    for (std::size_t begin = 0, end = 0; (end = folders.find(':', begin)) != std::string::npos; begin = end + 1) {
        std::string file = folders.substr(begin, end - begin) + "/" + name;
        if (file.front() == '/' && end > begin && access(file.c_str(), X_OK) == 0)
            return file;
    }
    return "";
}

pid_t spawnShell(const char *script, const std::string &first, const std::string &second, int input, int output) {
    const char *const arguments[] = {"sh", "-c", script, "sh", first.c_str(), second.c_str(), nullptr};
    const std::string path = std::string("PATH=") + kSystemFolders;
    const char *const environment[] = {path.c_str(), nullptr};
    sigset_t none;
    sigemptyset(&none);
    sigset_t all;
    sigfillset(&all);

    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    if (output >= 0) // first: its number may be 0
        posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
    if (input >= 0)
        posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
    else
        posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (output < 0)
        posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);

    pid_t process = 0;
    const int error = posix_spawn(&process, "/bin/sh", &files, &attributes, const_cast<char *const *>(arguments),
                                  const_cast<char *const *>(environment));
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    errno = error;
    return error == 0 ? process : 0;
}

void reap(pid_t process) {
    while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
    }
}

bool runShell(const char *script, const std::string &first, const std::string &second, std::string &printed) {
    Pipe output;
    if (!openPipe(output))
        return false;
    const pid_t shell = spawnShell(script, first, second, -1, output.writing.number);
    closeOwn(output.writing);
    if (shell != 0)
        printed = readAll(output.reading);
    closePipe(output);
    if (shell != 0)
        reap(shell);
    return shell != 0;
}

std::string readAll(const OwnDescriptor &descriptor) {
    std::string text;
    char part[4096];
    for (ssize_t count = 1; count != 0;) {
        count = read(descriptor.number, part, sizeof part);
        if (count > 0)
            text.append(part, static_cast<std::size_t>(count));
        else if (count < 0 && errno != EINTR)
            break;
    }
    return text;
}

std::string readFile(const std::string &file) {
    OwnDescriptor opened = ownDescriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    std::string text = opened.number < 0 ? "" : readAll(opened);
    closeOwn(opened);
    return text;
}

bool writeFile(const std::string &file, const std::string &text, LogText &words) {
    const std::string fresh = file + ".new";
    OwnDescriptor opened = ownDescriptor(open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    bool isWritten = opened.number >= 0;
    for (std::size_t written = 0; isWritten && written < text.size();) {
        const ssize_t count = write(opened.number, text.data() + written, text.size() - written);
        isWritten = count > 0 || errno == EINTR;
        written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    closeOwn(opened);
    if (!isWritten || rename(fresh.c_str(), file.c_str()) != 0) {
        appendErrno(words, "cannot write", file);
        return false;
    }
    return true;
}

} // namespace rk
