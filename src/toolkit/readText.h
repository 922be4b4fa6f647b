#pragma once

#include "toolkit/FileOutcome.h"

#include "trimora/export.h"

#include <cstdint>
#include <string>

namespace trimora {

/// Reads a file whole.
///
/// path      '-' is standard input
/// text      out: its bytes
/// maxBytes  a larger file is refused; 0 is no limit
TRIMORA_API FileOutcome readText(std::string const& path, std::uint64_t maxBytes,
                                 std::string& text);

}  // namespace trimora
