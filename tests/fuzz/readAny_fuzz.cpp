// Any bytes through the reader that they look like.

#include "readAs.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    return fuzz::readAs("", data, size);
}
