#pragma once

// What the headers of all formats need to declare their rows of the table in MeshFormat.cpp.

#include "toolkit/FileOutcome.h"

#include "trimora/contract/koGeom/CompactMesh.h"

#include <cstdint>
#include <string_view>

namespace trimora {

class InputFile;
class OutputFile;
struct ReadOptions;
struct ReadReport;
struct WriteOptions;

}  // namespace trimora
