#pragma once

namespace koLinear {}

/// Meshes, spatial containers and all algorithms. The names of linear algebra are used bare in
/// here.
namespace koGeom {
using namespace koLinear;
}  // namespace koGeom
