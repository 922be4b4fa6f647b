#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

namespace trimora {

/// Whether numbers of a file have their bytes in another order than this machine's.
constexpr bool swapsBytes(bool isFileBigEndian) {
    return isFileBigEndian != (std::endian::native == std::endian::big);
}

template <class T, bool Swaps>
T loadNumber(char const* bytes) {
    char turned[sizeof(T)];
    if constexpr (Swaps) {
        for (std::size_t i = 0; i < sizeof(T); ++i)
            turned[i] = bytes[sizeof(T) - 1 - i];
        bytes = turned;
    }
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

/// Returns where the next number goes.
template <class T>
char* storeNumber(char* p, T value, bool swaps) {
    std::memcpy(p, &value, sizeof value);
    if (swaps)
        std::reverse(p, p + sizeof value);
    return p + sizeof value;
}

}  // namespace trimora
