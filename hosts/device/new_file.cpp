// Links are never followed: neither name is opened for writing unless it is made here. Whoever
// writes a file has a lock on it, by which a file is told from one that a crash has left.

#include "new_file.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace device {

namespace {

// As begin makes them.
bool is_temporary(const std::string &name)
{
    int end = 0;
    std::sscanf(name.c_str(), ".varno-%*[0-9]-%*[0-9]%n", &end);
    return end > 0 && static_cast<size_t>(end) == name.size();
}

} // namespace

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
    flock(fd, LOCK_EX | LOCK_NB); // where there are no locks nothing is removed either
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

// Not every file system has the flag, nor every one links: one of the two will do.
int NewFile::keep(const std::string &name, bool is_over)
{
    if (const int error = finish())
        return error;
    const char *const old_name = temporary_.c_str();
    const unsigned flags = is_over ? 0 : RENAME_NOREPLACE;
    if (renameat2(directory_, old_name, directory_, name.c_str(), flags) == 0)
        temporary_.clear();
    else if (is_over || (errno != EINVAL && errno != ENOSYS) ||
             linkat(directory_, old_name, directory_, name.c_str(), 0) != 0)
        return errno;
    return fsync(directory_) == 0 ? 0 : errno;
}

void remove_left_files(const std::string &folder)
{
    std::error_code problem; // ends the walk: what is left then stays
    for (std::filesystem::directory_iterator at(folder, problem), end; !problem && at != end;
         at.increment(problem)) {
        const std::filesystem::path path = at->path();
        if (!is_temporary(path.filename()))
            continue;
        const int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0)
            continue;
        if (flock(fd, LOCK_EX | LOCK_NB) == 0)
            unlink(path.c_str());
        close(fd);
    }
}

} // namespace device
