#pragma once

#include "toolkit/FileOutcome.h"
#include "toolkit/detail/FaceList.h"
#include "toolkit/detail/PlyHeader.h"
#include "toolkit/detail/recentring.h"

#include "trimora/contract/koGeom/CompactMesh.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace trimora {

/// Where one scalar property of the vertices goes.
struct PlyColumn {
    enum class Kind { Coordinate, Attribute, Set };

    std::size_t property = 0;  ///< of the element
    Kind kind = Kind::Set;
    PlyType type = PlyType::Float32;
    float full = 1.0f;            ///< the value that stands for 1
    double shift = 0.0;           ///< taken off coordinates
    float* target = nullptr;      ///< of the first vertex
    std::size_t stride = 0;       ///< floats from one vertex to the next
    std::int64_t numRounded = 0;  ///< values that no float holds
};

/// Finds out what the properties of the vertices mean, and gives them their places in a mesh.
class PlyColumns {
public:
    /// What is wrong with the element, or nothing.
    std::string plan(PlyElement const& vertices);

    /// Gives the mesh its vertices and sets; the columns point into them from then on.
    void allocate(koGeom::CompactMesh& mesh, int numVertices, Shift const& shift,
                  ReadReport& report);
    /// Leaves the leading vertices alone.
    void shrink(koGeom::CompactMesh& mesh, int numVertices, ReadReport& report);
    /// What was rounded, once all is read.
    void reportRounded(PlyElement const& vertices, ReadReport& report) const;

    std::vector<PlyColumn>& columns() { return columns_; }
    bool haveTextureCoordinates() const { return has(Textures); }
    std::size_t floatsPerVertex() const;
    /// Whether a coordinate may have more digits than a float.
    bool coordinatesExceedFloats() const;

private:
    struct Set {
        std::string name;
        int dimension = 1;
    };
    enum Group { Positions, Normals, Textures, Colours, FirstSet };

    bool assign(PlyElement const& vertices, std::vector<std::string_view> const& names, int group);
    void add(PlyElement const& vertices, std::size_t property, int group, int component);
    void addSets(PlyElement const& vertices);
    std::string freeName(std::string const& wanted) const;
    bool has(int group) const;

    std::vector<PlyColumn> columns_;
    std::vector<int> groupOf_;      // of each column: one of Group, or FirstSet + the set's number
    std::vector<int> componentOf_;  // of each column
    std::vector<Set> sets_;
    std::vector<std::string> ignored_;
    bool hasAlpha_ = false;
};

/// What the reading of a body works on.
struct PlyReading {
    InputFile const& file;
    PlyHeader const& header;
    ReadOptions const& options;
    Shift const& shift;
    koGeom::CompactMesh& mesh;
    ReadReport& report;
    bool& exceedsFloat;

    PlyColumns columns;
    std::vector<FaceList> faces;
    bool hasTriangles = false;  ///< the mesh has its triangles; `faces` is empty then

    FacePlaces places() const {
        return header.encoding == PlyHeader::Encoding::Text ? FacePlaces::Lines : FacePlaces::Bytes;
    }
};

/// Read the body into the vertices and the faces: what is whole of it.
FileOutcome readPlyText(PlyReading& reading);
FileOutcome readPlyBinary(PlyReading& reading);

enum class PlyRole { Vertices, Faces, Strips, Other };
PlyRole roleOf(PlyElement const& element);

/// The list of an element that names vertices; PlyElement::none without one.
std::size_t findIndexList(PlyElement const& element);

/// The list of a face's texture coordinates, two a corner, where vertices have none of their own; PlyElement::none without one.
std::size_t findTextureList(PlyReading const& reading, PlyElement const& element);

/// Gives the mesh room for so many vertices, which the file has bytes for; a failure where they are too many.
FileOutcome allocateVertices(PlyReading& reading, std::int64_t count);

/// Counts elements that are no part of the mesh. Those without properties take no bytes, so that a head may declare any number: the
/// sum stays within its type. A second list of one name is not counted but doubted: it may be of the surface.
void addOtherElements(PlyReading& reading, PlyElement const& element, std::int64_t count);

/// Tells that only `whole` items of an element are there, since the file ends.
void reportCutOff(PlyReading& reading, PlyElement const& element, std::int64_t whole,
                  std::int64_t place);
/// The same, since the count of a list is none, at a byte of the file.
void reportBadCount(PlyReading& reading, PlyElement const& element, std::int64_t whole,
                    std::int64_t byte);

/// Turns a strip, in which an index below 0 begins anew, into faces; corners that repeat make joins, and no faces.
void addStrip(std::vector<int> const& strip, std::int64_t place, FaceList& faces);

/// Puts the texture coordinates of the face whose corners begin at firstCorner beside these, if they are whole and as many.
void addTextures(FaceList& faces, std::size_t firstCorner, bool areWhole,
                 std::vector<float> const& values);

/// An index as a corner; what cannot be one is FaceList::outOfRange.
inline int asCorner(std::int64_t index) {
    return index >= 0 && index < FaceList::outOfRange ? static_cast<int>(index)
                                                      : FaceList::outOfRange;
}

}  // namespace trimora
