#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace trimora {

/// The measures of a surface and of the solid inside it (density 1), in mesh units.
struct MeshMeasures {
    int vertices = 0;  ///< that triangles use
    int triangles = 0;
    std::array<double, 3> low = {};  ///< the box round these vertices
    std::array<double, 3> high = {};

    std::int64_t edges = 0;  ///< each once
    double longestEdge = 0.0;
    double meanEdge = 0.0;

    double area = 0.0;
    std::optional<std::array<double, 3>> surfaceCentroid;  ///< by area; none without area

    /// Above 0 where triangles run counter-clockwise seen from outside. This and what follows is that of the solid when
    /// `enclosesVolume`; otherwise it means nothing definite.
    double volume = 0.0;
    std::optional<std::array<double, 3>> centreOfMass;    ///< none without volume
    std::array<double, 3> firstMoments = {};              ///< integrals of x, y and z
    std::array<double, 3> secondMoments = {};             ///< integrals of x^2, y^2 and z^2
    std::optional<std::array<double, 3>> centralMoments;  ///< the same about the centre of mass

    std::int64_t openEdges = 0;         ///< of one triangle
    std::int64_t turnedEdges = 0;       ///< of two that are wound against one another
    std::int64_t nonManifoldEdges = 0;  ///< of more than two

    /// Every edge parts two triangles that are wound alike.
    bool enclosesVolume() const {
        return triangles > 0 && openEdges == 0 && turnedEdges == 0 && nonManifoldEdges == 0;
    }
};

struct MeasureOutcome {
    std::string refusal;  ///< not empty: nothing was measured; what is wrong, and what to do
    std::optional<std::array<double, 3>> problemPoint;
    bool isNonfinite = false;  ///< refused for a NaN or infinite coordinate
    MeshMeasures whole;
    /// By their lowest triangle, when asked for; triangles that share a vertex hang together.
    std::vector<MeshMeasures> components;
    bool cancelled = false;  ///< the other fields mean nothing then
};

/// Measures a mesh, and each of its components if asked for.
///
/// The core sums coordinates in floats, which costs digits away from the origin. So a copy is measured whose box has its middle
/// in the origin (and a handy size, see unitScale), and what was found is moved back in doubles: about 1e-6 of the volume
/// and of the moments about the centre of mass, wherever the mesh is. Moments about a far origin have the accuracy of its distance.
///
/// vertices    equal positions under different numbers are different vertices: weld first where a surface is to hang together
/// refuses     triangles with NaN or infinite corners
/// progress    polled between the components
/// cost        linear; some 70 bytes a triangle of scratch. On the calling thread but for the area, whose last digit (of a
///             float) may depend on the number of threads
TRIMORA_API MeasureOutcome measureMesh(koGeom::CompactMesh const& mesh, bool eachComponent,
                                       koUtil::Progress& progress);

}  // namespace trimora
