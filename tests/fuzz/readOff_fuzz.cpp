// Any bytes through the OFF reader.

#include "readAs.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    return fuzz::readAs("off", data, size);
}
