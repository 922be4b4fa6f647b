#pragma once

#include "trimora/export.h"

namespace koGeom {

/// Version of the library that is loaded, as "major.minor.patch"; static storage.
TRIMORA_API char const* trimoraVersion();

}  // namespace koGeom
