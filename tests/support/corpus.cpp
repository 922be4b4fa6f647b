#include "support/corpus.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace support {

namespace {

std::vector<std::string> findCorpus() {
    namespace fs = std::filesystem;
    char const* const named = std::getenv("TRIMORA_CORPUS");
    fs::path const folder =
        named != nullptr ? fs::path(named) : fs::path(TRIMORA_SOURCE_DIR) / "../shared/meshes";
    std::vector<std::string> paths;
    std::error_code error;
    for (auto const& entry : fs::directory_iterator(folder, error)) {
        if (entry.path().extension() == ".obj")
            paths.push_back(entry.path().string());
    }
    std::sort(paths.begin(), paths.end());
    if (paths.empty())
        std::fprintf(stderr, "real meshes are absent: tests on them were left out\n");
    return paths;
}

}  // namespace

std::vector<std::string> const& corpus() {
    static std::vector<std::string> const paths = findCorpus();
    return paths;
}

std::string corpusFile(std::string const& name) {
    for (std::string const& path : corpus()) {
        if (std::filesystem::path(path).filename() == name)
            return path;
    }
    return {};
}

}  // namespace support
