#pragma once

#include "toolkit/ReadReport.h"
#include "toolkit/detail/ObjPiece.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

namespace trimora {

/// No vertex can have this number: counts are ints.
inline constexpr int outOfRange = std::numeric_limits<int>::max();

/// A piece with what the joining adds to it.
struct JoinedPiece {
    ObjPiece records;
    std::int64_t lineBase = 0;
    std::int64_t vertexBase = 0;
    std::int64_t faceBase = 0;  // of the faces kept
    std::int64_t triangleBase = 0;

    std::vector<char> isDropped;  // one a face; empty when all stay
    std::int64_t numKept = 0;
    std::int64_t numPolygons = 0;
    std::int64_t numTriangles = 0;
    ReadReport left;  // what the joining drops
};

/// Gives a mesh's vertices the texture coordinates or normals that its corners name.
class AttributeJoiner {
public:
    AttributeJoiner(std::vector<JoinedPiece>& pieces, std::vector<float> ObjPiece::*values,
                    ObjCorners ObjPiece::*corners, int dimension, int numVertices)
        : pieces_(pieces),
          values_(values),
          corners_(corners),
          dimension_(static_cast<std::size_t>(dimension)),
          numVertices_(static_cast<std::size_t>(numVertices)) {}

    /// True when each vertex of a face has exactly one; `report` tells either way.
    bool join(ReadReport::Attribute& report);
    /// `dimension` floats a vertex, 0 where a vertex of no face has none.
    void write(float* target) const;

private:
    void gather();
    bool isSimple() const;
    void assign(JoinedPiece const& piece, std::size_t elementBase, ReadReport::Attribute& report);
    void assign(std::size_t vertex, int element, ReadReport::Attribute& report);
    bool differ(int a, int b) const {
        return std::memcmp(&all_[static_cast<std::size_t>(a) * dimension_],
                           &all_[static_cast<std::size_t>(b) * dimension_],
                           dimension_ * sizeof(float)) != 0;
    }
    std::size_t numElements() const { return all_.size() / dimension_; }

    static constexpr int unused = -2;  // in no face
    static constexpr int none = -1;    // in faces, none named yet

    std::vector<JoinedPiece>& pieces_;
    std::vector<float> ObjPiece::*const values_;
    ObjCorners ObjPiece::*const corners_;
    std::size_t const dimension_;
    std::size_t const numVertices_;

    std::vector<float> all_;
    std::vector<int> elementOf_;  // one a vertex; empty: vertex i has element i
    std::vector<char> isSeam_;    // one a vertex
};

}  // namespace trimora
