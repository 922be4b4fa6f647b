#include "trimora/topology/MeshConvertRep.h"

#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/topology/detail/MeshConvertRepImpl.h"
#include "trimora/topology/meshTwin.h"

#include <cstdint>
#include <limits>
#include <new>
#include <vector>

/// From arrays to half-edges and back. A region is gathered as numbers first and allocated in bulk, which is several times
/// faster than one allocation a triangle; then one walk over the new lists hands out the handles.
namespace koGeom {

namespace {

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

/// The selection with exactly one bit for each element: missing bits are clear, surplus ones are left out.
BitVector fitted(BitVector const& selection, int numElements) {
    BitVector bits(numElements);
    bits |= selection;
    return bits;
}

/// The region in numbers: positions by slot, three slots a face.
struct Region {
    std::vector<Point> points;
    std::vector<int> corners;
    std::vector<int> incomplete;  ///< slots of the triangles that have a vertex outside, ascending

    int numFaces() const { return static_cast<int>(corners.size() / 3); }
};

Region gather(MeshConvertRep::ConvertImpl const& rep) {
    Region region;
    MeshVertex const* const vertices = rep.mesh.getVertices();
    region.points.reserve(at(rep.selectedVertices.count));
    forEachSetBit(rep.selectedVertices,
                  [&](int v) { region.points.push_back(vertices[v].asPoint()); });

    MeshTriangle const* const triangles = rep.mesh.getTriangles();
    region.corners.reserve(3 * at(rep.selectedTriangles.count));
    int triangleSlot = 0;
    forEachSetBit(rep.selectedTriangles, [&](int t) {
        int const a = rep.vertexMap.slotOf(triangles[t][0]);
        int const b = rep.vertexMap.slotOf(triangles[t][1]);
        int const c = rep.vertexMap.slotOf(triangles[t][2]);
        if (a >= 0 && b >= 0 && c >= 0)
            region.corners.insert(region.corners.end(), {a, b, c});
        else
            region.incomplete.push_back(triangleSlot);
        ++triangleSlot;
    });
    return region;
}

/// Bulk allocation needs a face at least.
void allocate(TopoMesh& topo, Region const& region) {
    if (topo.allocFaces(static_cast<int>(region.points.size()), region.points.data(),
                        region.numFaces(), 3, region.corners.data()))
        return;
    if (region.numFaces() > 0)
        throw std::bad_alloc();  // more half-edges than can be numbered
    for (Point const& point : region.points)
        topo.allocVertex(point);
}

void handOutVertices(TopoMesh const& topo, SelectionMap<TopoMeshVertex>& map) {
    TopoMeshVertex vertex = topo.firstVertex();
    for (int slot = 0; slot < map.numSlots(); ++slot) {
        map[slot] = vertex;
        vertex = vertex.nextInList();
    }
}

void handOutFaces(TopoMesh const& topo, std::vector<int> const& incomplete,
                  SelectionMap<TopoMeshFace>& map) {
    TopoMeshFace face = topo.firstFace();
    std::size_t numSkipped = 0;
    for (int slot = 0; slot < map.numSlots(); ++slot) {
        if (numSkipped < incomplete.size() && incomplete[numSkipped] == slot) {
            ++numSkipped;
            continue;
        }
        map[slot] = face;
        face = face.nextInList();
    }
}

}  // namespace

MeshConvertRep::ConvertImpl::ConvertImpl(CompactMesh const& source, BitVector const& triangles,
                                         BitVector const& vertices, MeshAdjTris const& table)
    : mesh(source), selectedTriangles(triangles), selectedVertices(vertices), adj(table) {}

MeshConvertRep::ConvertImpl::~ConvertImpl() = default;

TopoMesh& MeshConvertRep::ConvertImpl::extract() {
    if (isExtracted)
        return topo;

    koOS::StopWatch watch;
    watch.start();

    selectedTriangles = fitted(selectedTriangles, mesh.getNumTriangles());
    selectedVertices = fitted(selectedVertices, mesh.getNumVertices());
    vertexMap.assign(selectedVertices);
    triangleMap.assign(selectedTriangles);

    Region const region = gather(*this);
    allocate(topo, region);
    handOutVertices(topo, vertexMap);
    handOutFaces(topo, region.incomplete, triangleMap);
    isExtracted = true;

    meshTwin(topo);
    debugChannel().print("MeshConvertRep::extract: %f s\n", watch.clear());
    return topo;
}

MeshConvertRep::MeshConvertRep(CompactMesh const& mesh, MeshAdjTris const& adj)
    : MeshConvertRep(mesh, mesh.getSelectedTriangles(), mesh.getSelectedTriangles(), adj) {}

MeshConvertRep::MeshConvertRep(CompactMesh const& mesh, BitVector const& triangles,
                               BitVector const& vertices, MeshAdjTris const& adj)
    : MeshConvertRep(new ConvertImpl(mesh, triangles, vertices, adj)) {}

MeshConvertRep::MeshConvertRep(ConvertImpl* impl) : impl_(impl) {}

MeshConvertRep::~MeshConvertRep() = default;

TopoMesh& MeshConvertRep::extract() {
    return impl_->extract();
}

TopoMeshVertex MeshConvertRep::getTopoMeshVertex(int vertex) {
    return impl_->vertexMap.find(vertex);
}

TopoMeshCoord MeshConvertRep::copy(MeshCoord const& coord) {
    TopoMeshCoord copied;
    copy(copied, coord);
    return copied;
}

void MeshConvertRep::copy(TopoMeshCoord& out, MeshCoord const& coord) const {
    TopoMeshFace const face = impl_->triangleMap.find(coord.triangle);
    out = TopoMeshCoord();
    if (!face)
        return;
    out.face = face;
    for (int corner = 0; corner < 3; ++corner)
        out.weights[corner] = coord.weights[corner];
}

namespace {

/// Sum over the faces of their sides less two.
int countFanTriangles(TopoMesh const& mesh) {
    std::int64_t count = 0;
    for (TopoMeshFace f = mesh.firstFace(); f; f = f.nextInList())
        count += f.numVertices() - 2;
    if (count > std::numeric_limits<int>::max())
        throw std::bad_alloc();
    return static_cast<int>(count);
}

}  // namespace

CompactMesh* meshConvertRep(TopoMesh& mesh) {
    auto result =
        std::make_unique<CompactMesh>(mesh.numVertices(), nullptr, nullptr, nullptr, nullptr);
    result->resizeTriangleArray(countFanTriangles(mesh));

    std::vector<int> numbers;  // by number of creation
    MeshVertex* vertex = result->getVertices();
    int numVertices = 0;
    for (TopoMeshVertex v = mesh.firstVertex(); v; v = v.nextInList()) {
        numbers.resize(std::size_t(v.record()->number) + 1);
        numbers.back() = numVertices++;
        Point const point = v.point();
        (vertex++)->set(&point.x);
    }

    auto const numberOf = [&numbers](TopoMeshEdge e) {
        return numbers[e.origin().record()->number];
    };
    MeshTriangle* triangle = result->getTriangles();
    for (TopoMeshFace f = mesh.firstFace(); f; f = f.nextInList()) {
        TopoMeshEdge const first = f.edge();
        for (TopoMeshEdge e = first.next(); e.next() != first; e = e.next())
            *triangle++ = {{numberOf(first), numberOf(e), numberOf(e.next())}};
    }
    return result.release();
}

}  // namespace koGeom
