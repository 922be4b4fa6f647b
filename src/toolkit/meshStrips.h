#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

#include <array>
#include <optional>
#include <string>

namespace trimora {

struct StripOptions {
    int maxLength = 0;      ///< points of a strip, before strips are joined; 3 or more
    bool isSingle = false;  ///< one strip of all, joined by repeated points
    std::optional<int>
        cacheSize;  ///< vertices are copied for a cache of so many, first in, first out; 0 or more
};

struct StripOutcome {
    std::string refusal;  ///< not empty: no strips were made; what is wrong, and what to do
    std::optional<std::array<double, 3>> problemPoint;
    int strips = 0;            ///< 1 when they were joined
    int joinedStrips = 0;      ///< that went into it; 0 when they were not
    int points = 0;            ///< of all strips, joins included
    int longest = 0;           ///< points of the longest strip, before they were joined
    double compactness = 0.0;  ///< 2 vertices / points: 1 at best on a large closed surface
    int unusedVertices = 0;    ///< that no triangle used: left out
    int vertices = 0;          ///< in use, before any were copied
    std::optional<double> vertexIncrease;  ///< vertices after they were copied, over those before
    double seconds = 0.0;
    bool cancelled = false;  ///< the result is left as it was; the other fields mean nothing
};

/// Covers a mesh with triangle strips (koGeom::MeshTriStrip) and puts it into the order in which they draw it.
///
/// result      replaced by the same surface: each triangle once, as the strips draw them, with its winding; where a triangle begins
///             may change. Vertices by first use, or with a cache those of koGeom::meshRemapStripsAndFans: a vertex that comes
///             again after it has left the cache is a copy, so that a triangle finds its corners among the last ones. Joins give no
///             triangles. The strips go with it
/// carried     all vertex sets; with a cache positions, normals and texture coordinates
/// refuses     no triangles, a length below 3, a cache below 0, more points than ints can count. The result is left as it was
/// progress    polled between the steps
/// sends       nothing
/// cost        linear for bounded vertex degrees, on the calling thread but for tables; twice the search for joined strips
TRIMORA_API StripOutcome makeStrips(koGeom::CompactMesh const& mesh, StripOptions const& options,
                                    koGeom::CompactMesh& result, koUtil::Progress& progress);

}  // namespace trimora
