// Reversal of winding. Triangles exchange two corners; the work is in the strips, where the winding
// alternates: reversing the points of an odd strip turns it over, of an even one it does not.

#include "trimora/repair/meshReverseWinding.h"

#include "trimora/assembly/MeshSelect.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshModification.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/DebugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/detail/callerContract.h"

#include <algorithm>
#include <cassert>
#include <utility>
#include <vector>

namespace koGeom {

namespace {

void negate(MeshNormal& normal) {
    normal.x = -normal.x;
    normal.y = -normal.y;
    normal.z = -normal.z;
}

void negateAll(MeshNormal* normals, int count) {
    for (int i = 0; i < count; ++i)
        negate(normals[i]);
}

void reverseTriangles(CompactMesh& mesh) {
    MeshTriangle* const triangles = mesh.getTriangles();
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        std::swap(triangles[t][0], triangles[t][1]);
}

// Even, and with more than the two triangles that an exchange of the middle points turns over.
bool needsSplit(int length) {
    return length > 4 && length % 2 == 0;
}

void reverseStrip(int* points, int length) {
    if (length == 4)
        std::swap(points[1], points[2]);
    else
        std::reverse(points, points + std::max(length, 0));
}

//   p1 --- p3 --- p5    (p0 ... p5) begins with the triangle p0 p1 p2. The strip p1 ... p5 starts one
//   / \    / \    /     step later and so turns every other triangle over; the first one becomes a
//  p0 -- p2 -- p4        strip of its own, (p2, p1, p0).
void appendSplitStrip(int const* p, int length, std::vector<int>& points,
                      std::vector<int>& lengths) {
    points.insert(points.end(), {p[2], p[1], p[0]});
    lengths.push_back(3);
    points.insert(points.end(), p + 1, p + length);
    lengths.push_back(length - 1);
}

void rebuildStrips(CompactMesh& mesh, int numSplits) {
    int const numStrips = mesh.getNumTriStrips();
    int const numPoints = mesh.getNumTriStripPoints();
    std::vector<int> const oldLengths(mesh.getTriStripLengths(),
                                      mesh.getTriStripLengths() + numStrips);
    std::vector<int> oldPoints(mesh.getTriStripPoints(), mesh.getTriStripPoints() + numPoints);
    std::vector<int> points;
    std::vector<int> lengths;
    int* strip = oldPoints.data();
    for (int const length : oldLengths) {
        if (needsSplit(length)) {
            appendSplitStrip(strip, length, points, lengths);
        } else {
            reverseStrip(strip, length);
            points.insert(points.end(), strip, strip + length);
            lengths.push_back(length);
        }
        strip += length;
    }
    mesh.resizeTriStripArrays(numPoints + 2 * numSplits, numStrips + numSplits);
    std::copy(points.begin(), points.end(), mesh.getTriStripPoints());
    std::copy(lengths.begin(), lengths.end(), mesh.getTriStripLengths());
}

void reverseStrips(CompactMesh& mesh) {
    int const numStrips = mesh.getNumTriStrips();
    if (numStrips <= 0)
        return;
    int const* const lengths = mesh.getTriStripLengths();
    int const numSplits = static_cast<int>(std::count_if(lengths, lengths + numStrips, needsSplit));
    if (numSplits > 0) {
        rebuildStrips(mesh, numSplits);
        return;
    }
    int* strip = mesh.getTriStripPoints();
    for (int i = 0; i < numStrips; ++i) {
        reverseStrip(strip, lengths[i]);
        strip += lengths[i];
    }
}

// The hub stays first.
void reverseFans(CompactMesh& mesh) {
    int const numFans = mesh.getNumTriFans();
    if (numFans <= 0)
        return;
    int const* const lengths = mesh.getTriFanLengths();
    int* fan = mesh.getTriFanPoints();
    for (int i = 0; i < numFans; ++i) {
        if (lengths[i] > 1)
            std::reverse(fan + 1, fan + lengths[i]);
        fan += lengths[i];
    }
}

void reverseSelectedTriangles(CompactMesh& mesh, BitVector const& selected) {
    MeshTriangle* const triangles = mesh.getTriangles();
    MeshNormal* const normals = mesh.getNormals();
    MeshNormal* const triangleNormals = mesh.getTriangleNormals();
    BitVector negated(mesh.getNumVertices());
    int const numTriangles = std::min(mesh.getNumTriangles(), selected.size);
    for (int t = 0; t < numTriangles; ++t) {
        if (!selected.isBitSet(t))
            continue;
        std::swap(triangles[t][0], triangles[t][1]);
        if (triangleNormals != nullptr)
            negate(triangleNormals[t]);
        if (normals == nullptr)
            continue;
        for (int const corner : triangles[t].vertices) {
            if (negated.isBitSet(corner))
                continue;
            negate(normals[corner]);
            negated.setBit(corner);
        }
    }
    if (normals != nullptr)
        mesh.getAttributes(PointMesh::NormalsName)->invalidateRange();
}

}  // namespace

void meshReverseWinding(CompactMesh& mesh, bool flipVertexNormals) {
    debugChannel().print("meshReverseWinding: %d triangles\n", mesh.getNumTriangles());
    koOS::StopWatch watch;
    watch.start();

    reverseTriangles(mesh);
    reverseStrips(mesh);
    reverseFans(mesh);
    if (flipVertexNormals && mesh.getNormals() != nullptr) {
        negateAll(mesh.getNormals(), mesh.getNumVertices());
        mesh.getAttributes(PointMesh::NormalsName)->invalidateRange();
    }
    if (mesh.getTriangleNormals() != nullptr)
        negateAll(mesh.getTriangleNormals(), mesh.getNumTriangles());

    MeshModification modification(&mesh, MeshModification::Topology, nullptr);
    if (flipVertexNormals)
        modification.normalsModified();
    else
        modification.normalsValid();
    modification.triangleNormalsModified();
    modification.uvsValid();
    modification.stripsAndFansModified();
    mesh.modified(modification);
    debugChannel().print("  remapped triangle indices: %f s\n", watch.clear());
}

void meshReverseWinding(CompactMesh& mesh, MeshAdjTris const& adj, int triangle) {
    assert(detail::isTableOf(adj, mesh) && detail::isInRange(triangle, mesh.getNumTriangles()));
    BitVector& selected = mesh.getSelectedTriangles();
    selected.resize(mesh.getNumTriangles());
    selected.setBit(triangle);
    MeshSelect select(mesh, adj, selected, mesh.getSelectedVertices());
    select.selectTrianglesRecursive(false);
    meshReverseSelectedWinding(mesh);
}

void meshReverseSelectedWinding(CompactMesh& mesh) {
    assert(detail::hasTrianglesInRange(mesh));
    BitVector const& selected = mesh.getSelectedTriangles();
    debugChannel().print("meshReverseSelectedWinding: %d triangles\n", selected.size);
    koOS::StopWatch watch;
    watch.start();

    reverseSelectedTriangles(mesh, selected);

    MeshModification modification(&mesh, MeshModification::Topology, nullptr);
    modification.normalsModified();
    modification.triangleNormalsModified();
    modification.uvsValid();
    mesh.modified(modification);
    debugChannel().print("  mesh reverse selected winding: %f s\n", watch.clear());
}

}  // namespace koGeom
