#pragma once

#include "toolkit/FileOutcome.h"
#include "toolkit/Picture.h"

#include "trimora/export.h"

#include <string>

namespace trimora {

/// Whether a file of that name would be taken for a picture: ".png" in letters of either size, or '-' for standard output.
TRIMORA_API FileOutcome checkPicturePath(std::string const& path);

/// Writes a picture as PNG (8 bits RGB, sRGB), whole or not at all: beside its place first, then renamed.
///
/// path      as for checkPicturePath
/// picture   1 x 1 pixel at least
TRIMORA_API FileOutcome writePng(std::string const& path, Picture const& picture);

}  // namespace trimora
