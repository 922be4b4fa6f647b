#include "trimora/connectivity/MeshAdjTris.h"

#include "trimora/connectivity/detail/VertexBuckets.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/detail/callerContract.h"

#include <cassert>

// Vertex to triangles is a counting sort of all corners by vertex: count, running sum, place. It is stable, so each set
// comes out in ascending order by itself.

namespace koGeom {

namespace {

struct CornerKeys {
    int* items;

    static int vertex(MeshTriangle const& triangle, int corner) { return triangle[corner]; }
    void place(int position, MeshTriangle const& /*triangle*/, int index, int /*corner*/) {
        items[position] = index;
    }
};

}  // namespace

MeshAdjTris::MeshAdjTris() = default;
MeshAdjTris::MeshAdjTris(ArrayOfSets& sets) {
    sets_.swap(sets);
}
MeshAdjTris::MeshAdjTris(MeshAdjTris const&) = default;
MeshAdjTris& MeshAdjTris::operator=(MeshAdjTris const&) = default;
MeshAdjTris::~MeshAdjTris() = default;

void MeshAdjTris::swap(MeshAdjTris& other) {
    sets_.swap(other.sets_);
}

void MeshAdjTris::copyTriangles(int vertex, int* out, int const* triangles) const {
    int const count = numTris(vertex);
    int const* const indices = triIndices(vertex);
    for (int i = 0; i < count; ++i)
        out = std::copy_n(triangles + std::ptrdiff_t{3} * indices[i], 3, out);
}

void meshAdjTris(CompactMesh const& mesh, MeshAdjTris& adjTris) {
    assert(detail::hasTrianglesInRange(mesh));
    koOS::StopWatch watch;
    watch.start();

    int const numVertices = mesh.getNumVertices();
    int const numTriangles = mesh.getNumTriangles();
    ArrayOfSets sets;
    sets.starts.setSize(numVertices);
    sets.items.setSize(detail::tableSize(std::int64_t{3} * numTriangles));

    detail::VertexBuckets<CornerKeys> buckets(numVertices, mesh.getTriangles(), numTriangles,
                                              CornerKeys{sets.items.data()});
    buckets.run(sets.starts.data());

    MeshAdjTris computed(sets);
    adjTris.swap(computed);
    debugChannel().print("MeshAdjTris: %d vertices %d triangles %f\n", numVertices, numTriangles,
                         watch.stop());
}

}  // namespace koGeom
