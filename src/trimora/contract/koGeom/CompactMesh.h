#pragma once

#include "trimora/contract/koGeom/Array.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/MeshSequence.h"
#include "trimora/contract/koGeom/PointMesh.h"
#include "trimora/export.h"

namespace koGeom {

/// The array-based triangle mesh: vertices with their sets, triangles, and what may go with them.
///
/// Faces are held as triangles or as polygons (`polys`; getTriangles() is then null until they are
/// triangulated). Strips and fans are further index lists over the same vertices that show the same
/// surface. Getters are null for what is absent. New entries of all arrays are zero. Asking for
/// changeable points or lengths of a sequence drops its derived parts.
class TRIMORA_API CompactMesh : public PointMesh {
public:
    MeshSequence polys;  // vertex loops
    MeshSequence lineStrips;
    MeshSequence triStrips;
    MeshSequence triFans;

    CompactMesh();
    /// A vertex cloud without triangles. A null array leaves the positions zero, the others absent;
    /// colours become the set "colours".
    CompactMesh(int numVertices, MeshVertex const* vertices, MeshNormal const* normals,
                MeshUV const* uvs, MeshColour const* colours);
    /// A deep copy in ordinary heap storage; connections stay with the source.
    CompactMesh(CompactMesh const& other);
    /// Takes the contents over and leaves the source empty.
    CompactMesh(CompactMesh&& other);
    /// A deep copy; this mesh's own allocator and connections stay. Sends nothing.
    CompactMesh& operator=(CompactMesh const& other);
    CompactMesh& operator=(CompactMesh&& other);
    ~CompactMesh() override;

    void setArrayAllocator(ko::Reference<ArrayAllocator> allocator) override;

    /// As PointMesh::modified, and further: Topology drops triangle normals, strips and fans,
    /// polygons, lines and line strips unless marked; Geometry drops triangle normals unless
    /// marked. Triangles and the selection are never touched.
    void modified(MeshModification& modification) override;

    std::size_t getSizeInBytes() const override;

    int getNumTriangles() const { return triangles_.size(); }
    MeshTriangle* getTriangles() { return triangles_.data(); }
    MeshTriangle const* getTriangles() const { return triangles_.data(); }
    int* getTrianglesRaw() { return reinterpret_cast<int*>(triangles_.data()); }
    int const* getTrianglesRaw() const { return reinterpret_cast<int const*>(triangles_.data()); }
    /// Keeps the leading triangles; triangle normals, where there are any, keep in step.
    void resizeTriangleArray(int numTriangles);
    /// Replaces the triangles by count x 3 indices; the source may lie in this mesh.
    void copyTriangles(int numTriangles, int const* indices);

    /// One normal a triangle, or null.
    MeshNormal* getTriangleNormals() { return triangleNormals_.data(); }
    MeshNormal const* getTriangleNormals() const { return triangleNormals_.data(); }
    float* getTriangleNormalsRaw() { return reinterpret_cast<float*>(triangleNormals_.data()); }
    float const* getTriangleNormalsRaw() const {
        return reinterpret_cast<float const*>(triangleNormals_.data());
    }
    void allocTriangleNormalArray();
    void deleteTriangleNormals();

    int getNumLines() const { return lines_.size(); }
    MeshLine* getLines() { return lines_.data(); }
    MeshLine const* getLines() const { return lines_.data(); }
    void resizeLineArray(int numLines);

    int getNumLineStrips() const { return lineStrips.getNumRuns(); }
    int getNumLineStripPoints() const { return lineStrips.getNumPoints(); }
    int* getLineStripPoints() { return changeablePoints(lineStrips); }
    int const* getLineStripPoints() const { return lineStrips.points.data(); }
    int* getLineStripLengths() { return changeableLengths(lineStrips); }
    int const* getLineStripLengths() const { return lineStrips.lengths.data(); }
    /// One pointer a strip into the points; filled on the first request, see MeshSequenceBase.
    int const* const* getLineStripStarts() const { return lineStrips.getStarts(); }
    void resizeLineStripArrays(int numPoints, int numStrips);

    int getNumTriStrips() const { return triStrips.getNumRuns(); }
    int getNumTriStripPoints() const { return triStrips.getNumPoints(); }
    int* getTriStripPoints() { return changeablePoints(triStrips); }
    int const* getTriStripPoints() const { return triStrips.points.data(); }
    int* getTriStripLengths() { return changeableLengths(triStrips); }
    int const* getTriStripLengths() const { return triStrips.lengths.data(); }
    void resizeTriStripArrays(int numPoints, int numStrips);

    int getNumTriFans() const { return triFans.getNumRuns(); }
    int getNumTriFanPoints() const { return triFans.getNumPoints(); }
    int* getTriFanPoints() { return changeablePoints(triFans); }
    int const* getTriFanPoints() const { return triFans.points.data(); }
    int* getTriFanLengths() { return changeableLengths(triFans); }
    int const* getTriFanLengths() const { return triFans.lengths.data(); }
    void resizeTriFanArrays(int numPoints, int numFans);

    int getNumPolys() const { return polys.getNumRuns(); }

    BitVector& getSelectedTriangles() { return selectedTriangles_; }
    BitVector const& getSelectedTriangles() const { return selectedTriangles_; }
    /// Clears both selections; their sizes stay.
    void clearSelection();

    /// Exchanges all data, not the connections. Sends nothing.
    void swap(CompactMesh& other);

protected:
    /// The part of `modified` that drops stale arrays over the faces; sends nothing.
    void dropStaleFaces(MeshModification const& modification);

private:
    static int* changeablePoints(MeshSequence& sequence) {
        sequence.dropLazyParts();
        return sequence.points.data();
    }
    static int* changeableLengths(MeshSequence& sequence) {
        sequence.dropLazyParts();
        return sequence.lengths.data();
    }

    Array<MeshTriangle> triangles_;
    Array<MeshNormal> triangleNormals_;  // empty or one a triangle
    Array<MeshLine> lines_;
    BitVector selectedTriangles_;
};

}  // namespace koGeom
