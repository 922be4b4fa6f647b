// Any bytes through the STL reader.

#include "readAs.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    return fuzz::readAs("stl", data, size);
}
