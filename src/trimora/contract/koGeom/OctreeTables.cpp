#include "trimora/contract/koGeom/OctreeTables.h"

namespace koGeom {

OctreeTris::~OctreeTris() = default;

OctreeLines::~OctreeLines() = default;

}  // namespace koGeom
