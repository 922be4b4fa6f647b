// Any bytes through the PLY reader.

#include "readAs.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    return fuzz::readAs("ply", data, size);
}
