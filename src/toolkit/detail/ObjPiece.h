#pragma once

#include "toolkit/ReadReport.h"
#include "toolkit/detail/recentring.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace trimora {

class InputFile;
struct ReadOptions;

/// The indices of one kind (vertices, texture coordinates or normals) of all corners of a piece, from 0.
///
/// Most files give a kind nowhere, or the vertex's own number everywhere: neither is stored.
struct ObjCorners {
    enum class Form { Missing, SameAsVertex, Stored };
    static constexpr int missing = INT32_MIN;

    Form form = Form::Missing;
    std::vector<int> indices;  ///< empty unless Stored; `missing` where a corner has none
    std::vector<std::uint32_t>
        relative;  ///< corners whose index counts from the piece's first element
};

/// What one piece of an OBJ file holds. Pieces are parsed independently: an index counted backwards is kept relative to
/// the piece and lines count from 0 in it, until the pieces before are known.
struct ObjPiece {
    std::vector<float> positions;           ///< 3 a vertex
    std::vector<float> textureCoordinates;  ///< 2 each
    std::vector<float> normals;             ///< 3 each
    std::vector<std::uint32_t> faceLines;   ///< of the faces, which have at least 3 corners each
    std::vector<std::uint32_t> faceSizes;   ///< their corners; empty while all are triangles
    ObjCorners vertexOf;                    ///< always Stored
    ObjCorners textureOf;
    ObjCorners normalOf;

    std::int64_t numLines = 0;
    std::int64_t numContentLines = 0;  ///< neither empty nor comment
    std::int64_t numDroppedFaces = 0;
    bool exceedsFloat = false;  ///< see readCoordinate

    /// The counts of what was left out, and the first problems.
    ReadReport left;

    void addProblem(std::int64_t line, std::string text);
    void addFace(std::uint32_t line, std::uint32_t numCorners) {
        if (numCorners != 3 && faceSizes.empty())
            faceSizes.assign(faceLines.size(), 3);
        if (numCorners != 3 || !faceSizes.empty())
            faceSizes.push_back(numCorners);
        faceLines.push_back(line);
    }
    std::size_t numFaces() const { return faceLines.size(); }
    /// That its arrays hold.
    std::uint64_t numBytes() const;
    std::uint32_t faceSize(std::size_t face) const {
        return faceSizes.empty() ? 3 : faceSizes[face];
    }
    std::int64_t numVertices() const { return static_cast<std::int64_t>(positions.size() / 3); }
    std::int64_t numTextureCoordinates() const {
        return static_cast<std::int64_t>(textureCoordinates.size() / 2);
    }
    std::int64_t numNormals() const { return static_cast<std::int64_t>(normals.size() / 3); }
};

/// Parses whole lines, with the shift taken off the vertices. The text is followed by objTextPadding line feeds, which are not part of it.
void parseObjPiece(char const* begin, char const* end, Shift const& shift, ObjPiece& piece);
inline constexpr std::size_t objTextPadding = 8;

enum class ObjPiecesEnd {
    Done,
    Unreadable,  ///< the file cannot be read any more
    PastLimit    ///< the pieces hold more than is allowed
};

/// Cuts a file at line ends into pieces of about pieceSize bytes, and parses them on the shared pool. The cuts depend
/// on the bytes alone. Pieces not reached on a cancel stay empty.
ObjPiecesEnd parseObjPieces(InputFile const& file, std::size_t pieceSize, Shift const& shift,
                            ReadOptions const& options, std::vector<ObjPiece>& pieces);

}  // namespace trimora
