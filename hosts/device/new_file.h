#ifndef VARNO_DEVICE_NEW_FILE_H
#define VARNO_DEVICE_NEW_FILE_H

// A file that has its name only once it is whole and on the disk: until then, and after a
// crash at any moment, there is what was there before.

#include <cstddef>
#include <string>

namespace device {

class NewFile {
  public:
    NewFile() = default;
    ~NewFile(); // what was not kept is gone
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;

    // For its owner alone, in a directory that stays open as long as the file.
    // Returns: 0, or errno, as the others do.
    int begin(int directory);
    int add(const char *bytes, size_t count);
    // Gives it its name. is_over: in place of a file that has it, else that is EEXIST.
    int keep(const std::string &name, bool is_over);

  private:
    int finish();

    int directory_ = -1;
    int fd_ = -1;
    std::string temporary_; // its name until then
};

// Removes what processes have left in a folder that ended before a file of theirs was whole.
void remove_left_files(const std::string &folder);

} // namespace device

#endif
