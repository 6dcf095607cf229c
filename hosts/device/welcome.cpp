// The message that every session begins with, from a file. It may be read again while sessions
// come and go.

#include "device.h"

#include <algorithm>
#include <fstream>
#include <mutex>

namespace device {
namespace {

constexpr size_t most_bytes = 8192; // everybody who connects gets them

std::mutex mutex;
std::string message;

} // namespace

bool read_welcome(const std::string &path, std::string &out_problem)
{
    std::ifstream file(path);
    std::string text(most_bytes + 1, '\0');
    file.read(text.data(), most_bytes + 1);
    if (!file.eof()) {
        out_problem = path + " cannot be read, or has more than 8192 bytes";
        return false;
    }
    text.resize(static_cast<size_t>(file.gcount()));
    std::replace(text.begin(), text.end(), '\0', '?'); // where the text would end
    if (!text.empty() && text.back() != '\n')
        text += '\n';
    const std::lock_guard lock(mutex);
    message = text;
    return true;
}

void show_welcome(tsession_s *s)
{
    const std::lock_guard lock(mutex);
    tsession_write_clean(s, message.c_str());
}

} // namespace device
