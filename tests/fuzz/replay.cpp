// trimora_fuzz_replay TARGET FOLDER: runs a fuzz target over its stored inputs, FOLDER/seeds/TARGET and FOLDER/regressions/TARGET. A
// fault aborts, as it does under the fuzzer; the last file named is the one.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

struct FuzzTarget {
    std::string_view name;
    int (*run)(std::uint8_t const* data, std::size_t size);
};

#include "fuzzTargets.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> inputsOf(fs::path const& folder, std::string const& target) {
    std::vector<fs::path> inputs;
    for (char const* const kind : {"seeds", "regressions"}) {
        std::error_code absent;
        for (auto const& entry : fs::directory_iterator(folder / kind / target, absent))
            inputs.push_back(entry.path());
    }
    std::sort(inputs.begin(), inputs.end());
    return inputs;
}

void runFile(FuzzTarget const& target, fs::path const& path) {
    std::fprintf(stderr, "%s\n", path.c_str());
    std::ifstream file(path, std::ios::binary);
    std::vector<char> const read{std::istreambuf_iterator<char>(file), {}};
    std::vector<std::uint8_t> const bytes(read.begin(), read.end());
    target.run(bytes.data(), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        return 2;
    for (FuzzTarget const& target : fuzzTargets) {
        if (target.name != argv[1])
            continue;
        std::vector<fs::path> const inputs = inputsOf(argv[2], argv[1]);
        for (fs::path const& path : inputs)
            runFile(target, path);
        std::printf("%s: %zu inputs\n", argv[1], inputs.size());
        return inputs.empty() ? 1 : 0;
    }
    return 2;
}
