#pragma once

#include "toolkit/meshCutting.h"
#include "toolkit/meshExtrusion.h"
#include "toolkit/meshHoles.h"
#include "toolkit/meshStrips.h"
#include "toolkit/meshSubdivision.h"
#include "toolkit/meshVerification.h"
#include "toolkit/planeSection.h"

#include <doctest/doctest.h>
#include <utility>

/// Operations with a progress that nobody watches; where the tests are about what comes out, that comes out.
namespace unwatched {

using koGeom::CompactMesh;

inline std::vector<trimora::MeshHole> findHoles(CompactMesh const& mesh) {
    koUtil::Progress progress;
    trimora::HolesOutcome outcome = trimora::findHoles(mesh, progress);
    CHECK_MESSAGE(outcome.refusal.empty(), outcome.refusal);
    CHECK(!outcome.cancelled);
    return std::move(outcome.holes);
}

inline trimora::SurfaceCurves planeSection(CompactMesh const& mesh,
                                           trimora::SectionPlane const& plane, double tolerance) {
    koUtil::Progress progress;
    trimora::SectionOutcome outcome = trimora::planeSection(mesh, plane, tolerance, progress);
    CHECK_MESSAGE(outcome.refusal.empty(), outcome.refusal);
    CHECK(!outcome.cancelled);
    return std::move(outcome.curves);
}

inline CompactMesh subdivideMesh(CompactMesh const& mesh, std::vector<int> const& trianglePolygon,
                                 int levels) {
    koUtil::Progress progress;
    trimora::SubdivideOutcome outcome =
        trimora::subdivideMesh(mesh, trianglePolygon, levels, progress);
    CHECK_MESSAGE(outcome.refusal.empty(), outcome.refusal);
    CHECK(!outcome.cancelled);
    return std::move(outcome.mesh);
}

inline trimora::VerifyOutcome verifyMesh(CompactMesh const& mesh,
                                         std::vector<int> const& trianglePolygon) {
    koUtil::Progress progress;
    return trimora::verifyMesh(mesh, trianglePolygon, progress);
}

inline trimora::CutOutcome cutMesh(CompactMesh& mesh, trimora::SurfaceCurves const& curves,
                                   double tolerance) {
    koUtil::Progress progress;
    return trimora::cutMesh(mesh, curves, tolerance, progress);
}

inline trimora::ExtrudeOutcome extrudeMesh(CompactMesh& mesh, koGeom::BitVector const& selection,
                                           trimora::ExtrudeOptions const& options) {
    koUtil::Progress progress;
    return trimora::extrudeMesh(mesh, selection, options, progress);
}

inline trimora::StripOutcome makeStrips(CompactMesh const& mesh,
                                        trimora::StripOptions const& options, CompactMesh& result) {
    koUtil::Progress progress;
    return trimora::makeStrips(mesh, options, result, progress);
}

}  // namespace unwatched
