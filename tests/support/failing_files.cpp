// Loaded before a program's calls on files. A thread's are counted from the first one that opens a
// directory on; that of the number VARNO_FAILING_CALL is met by what VARNO_FAILING_HOW says:
// "exit" ends the process there, "short" writes half and then no more, a number is the error
// that it fails with, and a path is a file that it waits for. Its name then goes to standard
// error.

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

thread_local int calls = 0; // 0: they are not counted yet
bool is_full = false;

const char *setting(const char *name, const char *otherwise)
{
    const char *value = std::getenv(name);
    return value ? value : otherwise;
}

bool is_chosen(const char *name)
{
    if (calls == 0 || calls++ != std::atoi(setting("VARNO_FAILING_CALL", "0")))
        return false;
    char told[64];
    const int len = std::snprintf(told, sizeof(told), "[%s]\n", name);
    syscall(SYS_write, STDERR_FILENO, told, static_cast<size_t>(len));
    if (std::strcmp(setting("VARNO_FAILING_HOW", ""), "exit") == 0)
        _exit(99);
    const char *how = setting("VARNO_FAILING_HOW", "5");
    while (*how == '/' && access(how, F_OK) != 0)
        usleep(10000);
    errno = std::atoi(how);
    return *how != '/';
}

template <typename Function>
Function *next(Function *, const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

int open(const char *path, int flags, ...)
{
    va_list values;
    va_start(values, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(values, mode_t) : 0;
    va_end(values);
    if (calls == 0 && (flags & O_DIRECTORY) == O_DIRECTORY)
        calls = 1;
    return is_chosen("open") ? -1 : next(open, "open")(path, flags, mode);
}

int openat(int directory, const char *path, int flags, ...)
{
    va_list values;
    va_start(values, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(values, mode_t) : 0;
    va_end(values);
    return is_chosen("openat") ? -1 : next(openat, "openat")(directory, path, flags, mode);
}

ssize_t write(int fd, const void *bytes, size_t count)
{
    const bool is_failing = is_full || is_chosen("write");
    if (is_failing && std::strcmp(setting("VARNO_FAILING_HOW", ""), "short") == 0) {
        errno = ENOSPC;
        if (is_full)
            return -1;
        is_full = true;
        count /= 2;
    } else if (is_failing) {
        return -1;
    }
    return next(write, "write")(fd, bytes, count);
}

int fsync(int fd)
{
    return is_chosen("fsync") ? -1 : next(fsync, "fsync")(fd);
}

int close(int fd)
{
    const bool is_failing = is_chosen("close");
    const int error = errno;
    const int result = next(close, "close")(fd);
    errno = is_failing ? error : errno;
    return is_failing ? -1 : result;
}

int renameat2(int from, const char *old_name, int to, const char *new_name, unsigned flags)
{
    return is_chosen("renameat2")
               ? -1
               : next(renameat2, "renameat2")(from, old_name, to, new_name, flags);
}

int linkat(int from, const char *old_name, int to, const char *new_name, int flags)
{
    return is_chosen("linkat") ? -1 : next(linkat, "linkat")(from, old_name, to, new_name, flags);
}

int unlinkat(int directory, const char *path, int flags)
{
    return is_chosen("unlinkat") ? -1 : next(unlinkat, "unlinkat")(directory, path, flags);
}

} // extern "C"
