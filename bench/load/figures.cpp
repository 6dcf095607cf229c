// Reading /proc. The scheduler's own count, in nanoseconds, is preferred to that in
// ticks, which a single session does not fill.

#include "figures.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <unistd.h>

namespace varno_load {
namespace {

std::string directory_of(pid_t process)
{
    return "/proc/" + std::to_string(process);
}

// The number after a label such as "Pss:"; 0 when there is none.
double labelled(const std::string &path, const std::string &label)
{
    std::ifstream file(path);
    double value = 0;
    for (std::string word; file >> word;) {
        if (word == label && file >> value)
            return value;
    }
    return 0;
}

double scheduled(const std::string &path)
{
    double nanoseconds = 0;
    std::error_code error;
    for (const auto &thread : std::filesystem::directory_iterator(path + "/task", error)) {
        std::ifstream file(thread.path() / "schedstat");
        double own = 0;
        if (file >> own)
            nanoseconds += own;
    }
    return nanoseconds / 1e9;
}

// Behind the name, which may hold anything, the 12th and 13th fields.
void read_ticks(const std::string &path, ProcessorTime &out_time)
{
    std::ifstream file(path + "/stat");
    std::string line;
    std::getline(file, line);
    std::istringstream fields(line.substr(line.rfind(')') + 1));
    std::string skipped;
    for (int i = 0; i < 11; i++)
        fields >> skipped;
    fields >> out_time.user >> out_time.kernel;
    const auto per_second = static_cast<double>(sysconf(_SC_CLK_TCK));
    out_time.user /= per_second;
    out_time.kernel /= per_second;
}

// The pages of buffers stand in /proc/net/sockstat as "TCP: ... mem PAGES".
double socket_buffers()
{
    std::ifstream file("/proc/net/sockstat");
    for (std::string line; std::getline(file, line);) {
        const size_t at = line.find(" mem ");
        if (line.starts_with("TCP:") && at != std::string::npos)
            return std::stod(line.substr(at + 5)) * static_cast<double>(sysconf(_SC_PAGESIZE)) /
                   1024;
    }
    return 0;
}

} // namespace

ProcessorTime processor_time(pid_t process)
{
    ProcessorTime time;
    read_ticks(directory_of(process), time);
    time.seconds = scheduled(directory_of(process));
    if (time.seconds == 0)
        time.seconds = time.user + time.kernel;
    return time;
}

MachineTime machine_time()
{
    MachineTime time;
    std::ifstream file("/proc/stat");
    std::string label;
    file >> label;
    double value = 0;
    for (int field = 0; field < 8 && file >> value; field++) {
        time.all += value;
        if (field == 3 || field == 4) // idle, and idle waiting for a disk
            time.idle += value;
    }
    return time;
}

Memory memory(pid_t process)
{
    return {labelled(directory_of(process) + "/smaps_rollup", "Pss:"),
            labelled("/proc/meminfo", "Slab:") + socket_buffers()};
}

} // namespace varno_load
