#pragma once

#include "toolkit/FileOutcome.h"

#include "trimora/export.h"

#include <string>
#include <string_view>

namespace trimora {

/// Writes a text file whole or not at all: beside its place first, then renamed. '-' is standard output.
TRIMORA_API FileOutcome writeText(std::string const& path, std::string_view text);

}  // namespace trimora
