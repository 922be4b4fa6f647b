#include "toolkit/detail/meshNames.h"

#include <algorithm>

namespace trimora {

namespace {

/// Where to cut so many bytes at most off, at the beginning of a character of UTF-8.
std::size_t cutAt(std::string_view text, std::size_t most) {
    constexpr std::size_t longest = 4;  // bytes of a character
    for (std::size_t size = most; size + longest > most; --size)
        if ((static_cast<unsigned char>(text[size]) & 0xC0u) != 0x80u)
            return size;
    return most;
}

}  // namespace

std::string meshNameOf(std::string_view told) {
    constexpr std::size_t most = 200;
    constexpr std::string_view mark = "...";
    if (told == ownMark)
        return {};
    std::string name(told.size() > most ? told.substr(0, cutAt(told, most - mark.size())) : told);
    if (name.size() < told.size())
        name += mark;
    std::replace_if(
        name.begin(), name.end(),
        [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }, ' ');
    return name;
}

}  // namespace trimora
