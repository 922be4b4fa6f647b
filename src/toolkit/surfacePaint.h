#pragma once

#include "toolkit/colorMaps.h"
#include "toolkit/meshCheck.h"

#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace trimora {

/// What a picture shows on a surface besides its shape, and how its key tells it.
struct SurfacePaint {
    /// A color with a meaning.
    struct Swatch {
        LinearColor color;
        std::string label;
        bool isLine = false;
    };
    /// An edge to be drawn as a line, from vertex to vertex.
    struct MarkedEdge {
        int from;
        int to;
        int swatch;
    };
    /// A line of the key that no triangle and no edge refers to.
    struct Aside {
        std::optional<LinearColor> color;  ///< none: words alone
        std::string label;
    };
    static constexpr std::uint8_t unpainted = 255;

    std::string title;          ///< of the key; empty: none
    std::vector<float> values;  ///< one a vertex, or empty; NaN where there is none
    double low = 0.0;  ///< the values at the ends of the map; those beyond take the ends' colors
    double high = 1.0;
    bool isSigned = false;  ///< the diverging map, 0 in its middle; else the sequential one
    bool isZero = false;    ///< there are values, all of them 0: the map's ends mean nothing
    std::vector<Swatch> swatches;
    std::vector<std::uint8_t> kinds;  ///< of each triangle its swatch, or `unpainted`; or empty
    std::vector<MarkedEdge> edges;
    std::vector<Aside> asides;

    bool isPlain() const { return values.empty() && kinds.empty() && swatches.empty(); }
};

/// What surfaces are made of where they are seen from behind and nothing is painted on them.
inline constexpr LinearColor backColor = {0.30f, 0.37f, 0.52f};

/// One scale for the numbers of several surfaces: that of the one with the largest.
TRIMORA_API void shareScale(std::vector<SurfacePaint>& paints);

/// Mean curvature; the map ends at the 95th percentile of its size. Values that are not finite are left out.
TRIMORA_API SurfacePaint paintCurvature(koGeom::CompactMesh const& mesh);

/// Values of any kind on two sides of 0, one a vertex; the map ends at the 99th percentile of their sizes.
TRIMORA_API SurfacePaint paintDeviation(std::vector<float> values);

/// The same without their signs, from 0 on.
TRIMORA_API SurfacePaint paintDistance(std::vector<float> values);

/// The parts that hang together; the key names the eight of most triangles, the largest first.
TRIMORA_API SurfacePaint paintComponents(koGeom::CompactMesh const& mesh);

/// Some triangles; the key tells how many.
TRIMORA_API SurfacePaint paintSelection(koGeom::CompactMesh const& mesh,
                                        koGeom::BitVector const& selection);

/// What a check found, as far as it can be seen: edges of one triangle and of more than two as lines; triangles that cut others,
/// and those on edges that open too little. A triangle that does both is painted as cutting. The key tells the rest in words.
///
/// found   of this mesh, with CheckOptions::mostOffences without limit
TRIMORA_API SurfacePaint paintDefects(koGeom::CompactMesh const& mesh, CheckResult const& found);

}  // namespace trimora
