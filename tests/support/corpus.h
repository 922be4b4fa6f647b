#pragma once

#include <string>
#include <vector>

namespace support {

/// Paths of the real meshes (*.obj), sorted: the folder that TRIMORA_CORPUS names, else ../shared/meshes beside the checkout; empty,
/// with one line on standard error the first time, when there is none.
std::vector<std::string> const& corpus();

/// The corpus file of that name, or an empty string when it is absent.
std::string corpusFile(std::string const& name);

}  // namespace support
