// A name is one of the directory's own, so it has no "/" and does not begin with ".". What
// is there under it is written over only if that is asked for, and a link or a device never.

#include "saved_files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "../device/new_file.h"

namespace {

int directory = -1;

struct SavedFile {
    std::string name;
    bool is_forced;
    device::NewFile file;
};

bool is_name(const std::string &name)
{
    const auto is_control = [](unsigned char c) { return c < ' ' || c == 0x7f; };
    return !name.empty() && name[0] != '.' && name.find('/') == name.npos &&
           std::none_of(name.begin(), name.end(), is_control);
}

// Returns: why it cannot be; NULL: nothing is against it.
const char *why_not(const std::string &name, bool is_forced)
{
    struct stat there = {};
    if (!is_name(name))
        return "a name without \"/\", which does not begin with \".\"";
    if (fstatat(directory, name.c_str(), &there, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT ? nullptr : std::strerror(errno);
    if (!S_ISREG(there.st_mode))
        return "what has this name is no file";
    return is_forced ? nullptr : "there is one; \"force\" writes over it";
}

void *begin(cli_shell_s *, void *, const char *name, int32_t is_forced, const char **why)
{
    auto saved = std::make_unique<SavedFile>();
    saved->name = name;
    saved->is_forced = is_forced != 0;
    *why = why_not(saved->name, saved->is_forced);
    if (*why)
        return nullptr;
    if (const int error = saved->file.begin(directory)) {
        *why = error == ENOENT ? "the directory for files is gone" : std::strerror(error);
        return nullptr;
    }
    return saved.release();
}

int32_t result_of(int error, const char **why)
{
    if (error == 0)
        return 0;
    *why = std::strerror(error);
    return -1;
}

int32_t write_rows(void *file, const char *bytes, size_t count, const char **why)
{
    return result_of(static_cast<SavedFile *>(file)->file.add(bytes, count), why);
}

int32_t end(void *file, int32_t is_whole, const char **why)
{
    const std::unique_ptr<SavedFile> saved(static_cast<SavedFile *>(file));
    return is_whole ? result_of(saved->file.keep(saved->name, saved->is_forced), why) : 0;
}

constexpr cli_save_s save = {nullptr, begin, write_rows, end};

} // namespace

bool saved_files_open(const std::string &path)
{
    device::remove_left_files(path);
    directory = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    return directory >= 0;
}

const cli_save_s *saved_files()
{
    return directory >= 0 ? &save : nullptr;
}
