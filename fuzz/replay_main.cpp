// Makes a program of a fuzz target that any compiler can build: it runs the target once for each
// file that is named, and for each file in each folder that is named.
//
//   build/asan/bin/fuzz_snapshot fuzz/corpus/snapshot fuzz/crashes/snapshot/crash-17ab
//
// Names are written before they are run: the last one is the one to blame.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace fs = std::filesystem;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<fs::path> filesOf(const fs::path& place) {
    std::vector<fs::path> files;
    if (!fs::is_directory(place)) {
        files.push_back(place);
        return files;
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(place)) {
        if (entry.is_regular_file()) files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool run(const fs::path& file) {
    std::fprintf(stderr, "%s\n", file.c_str());
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "cannot read it\n");
        return false;
    }
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                  std::istreambuf_iterator<char>());
    // A copy of exactly this size, so that a step over its end is seen.
    const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    (void)LLVMFuzzerTestOneInput(input.data(), input.size());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    std::size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        for (const fs::path& file : filesOf(argv[i])) {
            if (!run(file)) return 1;
            ++count;
        }
    }
    std::printf("%zu inputs\n", count);
    return count == 0 ? 2 : 0;  // a corpus that is not found tests nothing
}
