#pragma once

#include "trimora/export.h"

#include <string>
#include <string_view>

namespace trimora {

/// What the JSON of a glTF file says of its size and of what the importer takes rightly.
struct GltfOutline {
    std::string refusal;                      ///< why it is not to be imported; empty: it may be
    bool hasWholeTextureCoordinates = false;  ///< of whole numbers: the importer takes them wrongly
    double nodes = 0.0;     ///< that the importer makes, each as often as its parents name it
    double vertices = 0.0;  ///< of the primitives, those that share an array included
    double indices = 0.0;
    double placedVertices = 0.0;  ///< as often as nodes place them
    double placedIndices = 0.0;

    /// Memory that importing and joining takes at its peak, about.
    TRIMORA_API double bytes() const;
};

/// Looks through the JSON of a glTF file, which may be anything. Linear.
TRIMORA_API GltfOutline outlineOfGltf(std::string_view json);

}  // namespace trimora
