#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/MeshElements.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

#include <cstdint>

namespace koGeom {

class CompactMesh;
class PointMesh;
struct ClipPolygon;

/// What shows in a view: points, segments and triangles against the volume of the points with -w <= x, y, z <= w after a projection.
///
/// The projection is x' = m[0] x + m[4] y + m[8] z + m[12] and so on, in single precision. Faces belong to the volume. Comparisons
/// are taken as they fall: what is not a number is beyond no face, and where w is below 0, so that a point is beyond both faces of
/// an axis, the lower one is noted.
namespace Clip {

/// A point in clip space. Bit 2 k of the outcode: beyond the lower face of axis k, bit 2 k + 1: beyond the upper one; never both.
struct Vertex {
    float x, y, z, w;
    std::uint32_t outcode;
};

/// How points lie to the volume as a whole.
enum Result {
    Outside = 0,   ///< all beyond one face, or no points
    Crossing = 1,  ///< none inside, and no face that all are beyond
    Inside = 2,    ///< at least one inside
};

/// xyz       3 floats a point
/// count     of points; below 1 is none
/// cost      one pass over the points, up to the first inside
TRIMORA_API Result clipVertices(float const* xyz, int count, ProjMatrixFlt const& m);
TRIMORA_API Result clipVertices(PointMesh const& mesh, ProjMatrixFlt const& m);

/// As above, and keeps the projected points.
///
/// out         one entry a point, whatever the result
/// stopEarly   true: where a point is inside, `out` is empty
TRIMORA_API Result projectVertices(float const* xyz, int count, ProjMatrixFlt const& m,
                                   ko::vector<Vertex>& out, bool stopEarly);
TRIMORA_API Result projectVertices(PointMesh const& mesh, ProjMatrixFlt const& m,
                                   ko::vector<Vertex>& out, bool stopEarly);

/// Whether one point, 3 floats, is inside.
TRIMORA_API bool evaluatePoint(float const* xyz, ProjMatrixFlt const& m);

/// Whether segments show, and which.
///
/// Without a function the answer is all that counts: the search ends at the first point inside and at the first segment that shows.
/// With one it is called for every segment that shows; the segments are given whole, not cut.
///
/// exact     up to rounding, for w above 0, but for three cases. An end beyond one face in x and one in z is tried against
///           the faces of x and y. Of a segment with both ends inside, or with the first inside and the second beyond a face on
///           each axis, the line is tried against the upper faces alone. So segments can be missed that show, and the other way round
/// threads   an object holds the points of the last call: one thread at a time. The function runs on the caller's thread and must
///           not change what is being walked
class TRIMORA_API LineAlgorithm {
public:
    /// userData and the ends of a segment; the result is not looked at
    using LineFunc = bool (*)(void*, HPoint const&, HPoint const&);

    LineAlgorithm();
    LineAlgorithm(LineAlgorithm const&);
    LineAlgorithm& operator=(LineAlgorithm const&);
    ~LineAlgorithm();

    /// Null: no function. Sets the segment number to -1.
    void setLineFunc(LineFunc callback, void* userData);
    /// The segment of the last evaluateStrip() that was looked at.
    int getLineSegmentNum() const { return segment_; }

    /// Segments from each point to the next.
    ///
    /// returns   whether a point is inside (without a function) or a segment shows
    bool evaluateStrip(float const* xyz, int count, ProjMatrixFlt const& m);
    /// Segments of two points each, 0 to 1, 2 to 3, ...; a last single point has none. The segment number stays.
    bool evaluateSegments(float const* xyz, int count, ProjMatrixFlt const& m);
    /// The edges of the triangles, of each triangle up to the first that shows.
    bool evaluateMesh(CompactMesh const& mesh, ProjMatrixFlt const& m);
    /// A segment of two points of the last call that kept them, which is one that did not end early; false for others.
    bool evaluateSegment(int a, int b);

    // Where the line through two points meets faces: whether there within those of the other two axes, to a millionth of w. Not
    // limited to the segment. `axes` has both outcode bits of each axis that a is beyond a face of.

    /// The plane x = sign w, y = sign w or z = sign w, for axis 0, 1 and 2. False where the line is parallel to it.
    bool intersects(Vertex const& a, Vertex const& b, int axis, float sign) const;
    /// The face of one axis (3: x, 12: y, else z) that a is beyond, the upper one where it is beyond none.
    bool intersectsFace(Vertex const& a, Vertex const& b, int axes) const;
    /// Either of two faces: those of y and z for 60, those of x and y for all else, 51 among them.
    bool intersectsEdge(Vertex const& a, Vertex const& b, int axes) const;
    /// Any of three faces.
    bool intersectsCorner(Vertex const& a, Vertex const& b) const;

private:
    bool shows(Vertex const& a, Vertex const& b) const;

    ko::vector<Vertex> vertices_;
    LineFunc callback_ = nullptr;
    void* userData_ = nullptr;
    int segment_ = -1;
};

/// Whether triangles show, and the pieces of them that do.
///
/// Without a function the answer is all that counts, and the search ends at the first point inside and at the first triangle that
/// shows. With one it gets what is left of each triangle within the volume, as a fan of triangles in homogeneous coordinates.
///
/// Nothing is culled by itself: the function may ask cullFace(), and what that says is what evaluateTriangle() returns the
/// inverse of, from then on.
///
/// threads   an object holds the points of the last call: one thread at a time. The function runs on the caller's thread and must
///           not change the mesh
class TRIMORA_API TriangleAlgorithm {
public:
    /// userData and three corners, wound as the mesh's triangle; false ends evaluateMesh()
    using TriangleFunc = bool (*)(void*, HPoint const&, HPoint const&, HPoint const&);

    TriangleAlgorithm();
    TriangleAlgorithm(TriangleAlgorithm const&);
    TriangleAlgorithm& operator=(TriangleAlgorithm const&);
    ~TriangleAlgorithm();

    /// Null: no function.
    void setTriangleFunc(TriangleFunc callback, void* userData);
    /// True: only triangles that are selected in the mesh. All points of the mesh count all the same.
    void setSelectedTrianglesOnly(bool selectedOnly) { selectedOnly_ = selectedOnly; }
    void setCullFaces(bool cullFront, bool cullBack);
    void setClockwiseFront(bool clockwiseFront) { clockwiseFront_ = clockwiseFront; }

    /// The mesh's triangle that is being looked at; after evaluateMesh() the one it ended at, the count of triangles when it saw all.
    int getTriangleNum() const { return triangle_; }
    /// What cullFace() found last.
    bool isFrontFacing() const { return frontFacing_; }
    /// Texture coordinates of the corners that the function has been given last; 0 for meshes without.
    void getUVs(MeshUV& a, MeshUV& b, MeshUV& c) const;
    /// Which way three corners are wound, by x and y alone, and whether such triangles are to be culled. No area is counter-clockwise.
    bool cullFace(PointFlt const& p0, PointFlt const& p1, PointFlt const& p2);

    /// returns   without a function whether a point is inside or a triangle shows, with one whether a triangle shows. False for
    ///           meshes of fewer than 3 vertices
    bool evaluateMesh(CompactMesh const& mesh, ProjMatrixFlt const& m);
    /// A triangle of three points of the last evaluateMesh() that kept them, which is one that did not end early, of a mesh that is
    /// still there; false for others. After a function said false it is not called again before the next evaluateMesh().
    bool evaluateTriangle(int i, int j, int k);

private:
    void deliver(ClipPolygon const& polygon);

    ko::vector<Vertex> vertices_;
    TriangleFunc callback_ = nullptr;
    void* userData_ = nullptr;
    std::uint32_t mask_ = 15;  // of the present mesh's polygons
    MeshUV const* uvs_ = nullptr;
    MeshUV cornerUVs_[3] = {};
    int triangle_ = 0;
    bool selectedOnly_ = false;
    bool clockwiseFront_ = false;
    bool cullFront_ = false;
    bool cullBack_ = false;
    bool frontFacing_ = false;
    bool culled_ = false;
    bool keepGoing_ = true;
};

}  // namespace Clip

}  // namespace koGeom
