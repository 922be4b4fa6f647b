#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace trimora {

class InputFile;

/// All meshes of a glTF scene, each where the nodes place it, in one.
struct GltfScene {
    std::string error;                      ///< why there is none; in the importer's words
    std::string refusal;                    ///< the same, in our own
    std::string tooLarge;                   ///< the same, where a limit is why
    std::string name;                       ///< of the first mesh
    std::vector<double> positions;          ///< 3 a vertex
    std::vector<float> normals;             ///< 3 a vertex; empty unless every mesh has them
    std::vector<float> textureCoordinates;  ///< 2 a vertex, v from below; likewise
    std::vector<float> colours;             ///< 4 a vertex; likewise
    std::vector<std::int32_t> triangles;    ///< 3 indices each, not yet tested
    std::int64_t withoutNormals = 0;        ///< vertices, where others have them; and so on
    std::int64_t withoutTextureCoordinates = 0;
    std::int64_t withoutColours = 0;
    std::int64_t otherElements = 0;           ///< points and lines
    std::int64_t absentTriangles = 0;         ///< that the importer left out, for their corners
    std::int64_t partsWithOddCorners = 0;     ///< that end in one or two which make no triangle
    bool hasWholeTextureCoordinates = false;  ///< told as whole numbers, and left out
};

/// Reads a glTF or GLB file, and the files beside it that it names, with Assimp. May do anything with files that are made to
/// harm: to be called in a process of its own. What would take more than maxMemory bytes is not begun; 0 is no limit.
GltfScene importGltf(InputFile const& file, bool isBinary, std::uint64_t maxMemory);

}  // namespace trimora
