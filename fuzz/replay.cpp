// Runs a fuzz target on files, and on all files of folders: what an ordinary build
// with any compiler does with a corpus. An input that is a finding ends the process;
// its name is the last one printed.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "finding.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> files_of(const fs::path &path)
{
    if (!fs::is_directory(path))
        return {path};
    std::vector<fs::path> files;
    for (const auto &entry : fs::directory_iterator(path))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

bool run(const fs::path &path)
{
    std::fprintf(stderr, "%s\n", path.c_str());
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
    if (!file)
        return false;
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    LLVMFuzzerInitialize(&argc, &argv);
    int runs = 0;
    for (int i = 1; i < argc; i++) {
        for (const fs::path &path : files_of(argv[i])) {
            if (!run(path))
                return 1;
            runs++;
        }
    }
    std::printf("%d inputs\n", runs);
    return runs > 0 ? 0 : 1;
}
