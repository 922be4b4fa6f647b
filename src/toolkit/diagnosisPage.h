#pragma once

#include "toolkit/meshDiagnosis.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <string>

namespace trimora {

/// What the page shows: a mesh and its findings, and on request the repaired mesh with its own.
struct DiagnosisPage {
    std::string title;                          ///< say the file's name
    koGeom::CompactMesh const* mesh = nullptr;  ///< not owned
    Diagnosis const* diagnosis = nullptr;       ///< not owned
    std::string repairedTitle;
    koGeom::CompactMesh const* repaired = nullptr;  ///< not owned; null: there is none
    Diagnosis const* repairedDiagnosis = nullptr;   ///< not owned; null like `repaired`
};

/// One self-contained page of HTML: the findings beside the surface in 3D that can be turned, zoomed and picked, each finding
/// lit in its colour where it is, before and after. Asks nothing of any network, and runs from a file.
///
/// returns   the page; texts are escaped, so that no name in a file can become code
/// cost      linear; some 24 bytes a triangle. Meshes above `mostPageTriangles` are thinned for display, and the page says so
TRIMORA_API std::string writeDiagnosisPage(DiagnosisPage const& page);

inline constexpr int mostPageTriangles = 1000000;

}  // namespace trimora
