#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/MeshCoord.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/export.h"

#include <deque>

namespace koGeom {

class CompactMesh;
class MeshAdjTris;

/// Works on a pair of selections, of triangles and of vertices: by a polygon on the screen, from
/// one to the other, by flooding, around points on the mesh.
///
/// A value; lives no longer than the mesh, whose arrays keep their place meanwhile, the table and
/// the bit vectors. No call changes the mesh beyond its selections, none sends a modification. All
/// are serial and linear.
class TRIMORA_API MeshSelect {
public:
    /// Works on the mesh's own selections.
    MeshSelect(CompactMesh& mesh, MeshAdjTris const& adjTris);
    /// Works on the caller's bit vectors.
    MeshSelect(CompactMesh const& mesh, MeshAdjTris const& adjTris, BitVector& triangles,
               BitVector& vertices);

    /// The selection; resized, and so cleared, if its size is not the mesh's count.
    BitVector& getSelectedVertices();
    BitVector& getSelectedTriangles();

    /// Adds the vertices that the matrix (row vectors from the left) takes into a polygon of the
    /// screen.
    ///
    /// polygon   x and y count, z does not; closed by itself; fewer than 3 points add nothing. The
    ///           inside is that of pointPolygonIntersect2D, in floats
    void selectVertices(ProjMatrix const& matrix, ko::vector<Point> const& polygon);

    /// Selects the triangles with at least `numCorners` selected corners, and no others. 0 selects
    /// all.
    void selectTrianglesFromVertices(int numCorners);
    /// Selects the triangles with any selected corner, and no others.
    void selectAllTrianglesFromVertices();
    /// Selects the corners of selected triangles, and no other vertices.
    void selectVerticesFromTriangles();

    /// Adds what is joined to the selected triangles through shared vertices: all of it, or one
    /// ring only.
    void selectTrianglesRecursive(bool oneRing);
    void invertTriangleSelection();

    /// Sets the bits of the triangles around a vertex.
    void selectTrisAdjacentToVert(int vertex, BitVector& bits);

    /// Adds the triangles that a change at the given points touches: around the vertex if the point
    /// lies on one (within `tolerance`), else around both ends of the edge if it lies on one, else
    /// around all three corners. Invalid points are passed over.
    void selectAffectedTriangles(std::deque<MeshCoord> const& coords, double tolerance);

private:
    void selectByCorners(int numCorners);
    int cornersSelected(int triangle, BitVector const& vertices) const;

    CompactMesh const* mesh_;
    MeshAdjTris const* adjTris_;
    BitVector* selectedTriangles_;
    BitVector* selectedVertices_;
    int const* triangles_;
    float const* vertices_;
};

}  // namespace koGeom
