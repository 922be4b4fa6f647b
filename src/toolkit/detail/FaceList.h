#pragma once

#include "toolkit/FileOutcome.h"
#include "toolkit/ReadReport.h"

#include "trimora/contract/koGeom/CompactMesh.h"

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace trimora {

struct ReadOptions;

/// What the problems of a file name: lines of text, or bytes.
enum class FacePlaces { Lines, Bytes };

/// Faces of any size as one piece of a file gives them.
struct FaceList {
    /// Stands for every index that no vertex can have: counts are ints.
    static constexpr int outOfRange = std::numeric_limits<int>::max();

    std::vector<int> corners;          ///< from 0; negative or too large where the file says so
    std::vector<std::uint32_t> sizes;  ///< corners of each face; empty while all are triangles
    std::vector<std::int64_t> places;  ///< line or byte of each face
    /// Of each corner, two each, where the file tells them so; NaN where it tells none. Empty: nowhere.
    std::vector<float> textureCoordinates;
    std::int64_t numDropped = 0;  ///< faces that did not get in here; `left` tells why
    ReadReport left;              ///< of them: counts by reason and the first problems

    /// Ends the face whose corners, at least three, were appended last.
    void endFace(std::int64_t place, std::size_t numCorners);
    /// Counts a face that does not get in, also as one of `count`, a member of `left`.
    void drop(FacePlaces kind, std::int64_t place, std::int64_t& count, char const* why);

    /// Takes the corners behind the first so many away again.
    void cutCorners(std::size_t numCorners);

    std::size_t numFaces() const { return places.size(); }
    /// That its arrays hold.
    std::uint64_t numBytes() const;
    std::uint32_t sizeOf(std::size_t face) const { return sizes.empty() ? 3 : sizes[face]; }
};

/// Puts the faces of all lists into a mesh that has its vertices: those at vertices that are not there are dropped, as are, on
/// request, those at vertices that are not finite; the others are cut into fans from their first corner. Counts them in the
/// report, and adds the lists' problems behind those that it has.
///
/// returns    done, or a failure of more triangles than can be numbered or the memory limit allows
/// cost       linear; one task a list on the shared pool
FileOutcome fillTriangles(std::vector<FaceList> const& lists, FacePlaces places,
                          std::string const& fileName, koGeom::CompactMesh& mesh,
                          ReadReport& report, ReadOptions const& options);

/// Appends one problem, if there is room for it, and counts it.
void addProblem(ReadReport& report, FacePlaces places, std::int64_t place, std::string text);

/// Puts the problems of a part among those of the report, both in the order of the file, and adds up how many there were.
void mergeProblems(ReadReport& report, ReadReport const& part);

}  // namespace trimora
