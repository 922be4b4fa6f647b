#pragma once

#include "trimora/contract/koOS/Filename.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <stdlib.h>  // mkdtemp
#include <string>
#include <string_view>

namespace support {

/// A path as the core's readers and writers take it.
inline koOS::Filename nameOf(std::string const& path) {
    return koOS::Filename(koString::IString(path.c_str()));
}

/// A folder of its own that goes with the object.
class TemporaryFolder {
public:
    TemporaryFolder()
        : path_((std::filesystem::temp_directory_path() / "trimora-test-XXXXXX").string()) {
        if (mkdtemp(path_.data()) == nullptr)
            throw std::runtime_error("no temporary folder");
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(TemporaryFolder const&) = delete;
    TemporaryFolder& operator=(TemporaryFolder const&) = delete;

    std::string const& path() const { return path_; }
    std::string path(std::string const& name) const { return path_ + "/" + name; }

    /// Writes a file and returns its path.
    std::string write(std::string const& name, std::string_view bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
        return path(name);
    }
    std::string read(std::string const& name) const {
        std::ifstream file(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    bool has(std::string const& name) const { return std::filesystem::exists(path(name)); }
    /// Files and folders in it.
    int size() const {
        return static_cast<int>(std::distance(std::filesystem::directory_iterator(path_), {}));
    }

private:
    std::string path_;
};

}  // namespace support
