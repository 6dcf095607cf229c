// Links are never followed: neither name is opened unless it is made here.

#include "new_file.h"

#include <atomic>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace device {

NewFile::~NewFile()
{
    if (fd_ >= 0)
        close(fd_);
    if (!temporary_.empty())
        unlinkat(directory_, temporary_.c_str(), 0);
}

// A name that is taken is that of another's file, or of one that a crash has left.
int NewFile::begin(int directory)
{
    static std::atomic<unsigned> files = 0;
    std::string name;
    int fd = -1;
    do {
        name = ".varno-" + std::to_string(getpid()) + "-" + std::to_string(files++);
        fd = openat(directory, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                    S_IRUSR | S_IWUSR);
    } while (fd < 0 && errno == EEXIST);
    if (fd < 0)
        return errno;
    directory_ = directory;
    fd_ = fd;
    temporary_ = name;
    return 0;
}

int NewFile::add(const char *bytes, size_t count)
{
    while (count > 0) {
        const ssize_t written = write(fd_, bytes, count);
        if (written < 0 && errno != EINTR)
            return errno;
        if (written > 0) {
            bytes += written;
            count -= static_cast<size_t>(written);
        }
    }
    return 0;
}

// Some file systems say only here that the disk is full.
int NewFile::finish()
{
    const int error = fsync(fd_) == 0 ? 0 : errno;
    return close(std::exchange(fd_, -1)) == 0 || error != 0 ? error : errno;
}

int NewFile::keep(const std::string &name, bool is_over)
{
    if (const int error = finish())
        return error;
    // A link is made only where nothing has the name, whoever makes it meanwhile.
    const bool is_named =
        is_over ? renameat(directory_, temporary_.c_str(), directory_, name.c_str()) == 0
                : linkat(directory_, temporary_.c_str(), directory_, name.c_str(), 0) == 0;
    if (!is_named)
        return errno;
    if (is_over)
        temporary_.clear();
    return fsync(directory_) == 0 ? 0 : errno;
}

} // namespace device
