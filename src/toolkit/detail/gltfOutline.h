#pragma once

#include "trimora/export.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace trimora {

/// The nodes of a glTF file and the parts of its meshes, by their numbers in the file.
struct GltfTree {
    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    struct Part {
        std::int64_t triangles = -1;  ///< that it tells; -1: it is of points or lines
        bool hasOddCorners = false;   ///< one or two at its end that make no triangle
        bool hasAlpha = true;         ///< colours of four parts, if it has any
    };
    struct Node {
        std::size_t mesh = none;
        std::size_t firstChild = 0;  ///< in `children`
        std::size_t endOfChildren = 0;
    };

    std::vector<std::vector<Part>> meshes;
    std::vector<Node> nodes;
    std::vector<std::uint32_t> children;  ///< of all nodes, one after the other
    std::vector<std::size_t> roots;       ///< of the scene that is shown
};

/// What the JSON of a glTF file says of its size and of what the importer takes rightly.
struct GltfOutline {
    std::string refusal;                      ///< why it is not to be imported; empty: it may be
    bool hasWholeTextureCoordinates = false;  ///< of whole numbers: the importer takes them wrongly
    GltfTree tree;
    double nodes = 0.0;     ///< that the importer makes, each as often as its parents name it
    double vertices = 0.0;  ///< of the primitives, those that share an array included
    double indices = 0.0;
    double placedVertices = 0.0;  ///< as often as nodes place them
    double placedIndices = 0.0;
    double outlineBytes = 0.0;  ///< that making this outline took, or would have taken, about

    /// Memory that it takes at its peak, about: this outline, or importing and joining.
    TRIMORA_API double bytes() const;
};

/// Looks through the JSON of a glTF file, which may be anything. Refuses what is no JSON, and objects that tell a name twice, of which
/// the importer could take the other one. Linear; ends early where the outline itself would take more than maxMemory bytes, 0
/// being no limit.
TRIMORA_API GltfOutline outlineOfGltf(std::string_view json, std::uint64_t maxMemory = 0);

}  // namespace trimora
