#include "trimora/stitch/detail/openEdges.h"

namespace koGeom::detail {

namespace {

/// Walks from a boundary edge to one that ends at the vertex; empty when it comes round before that.
std::vector<TopoMeshEdge> walkTo(TopoMeshVertex to, TopoMeshEdge start) {
    std::vector<TopoMeshEdge> chain;
    TopoMeshEdge e = start;
    do {
        chain.push_back(e);
        if (endOf(e) == to)
            return chain;
        e = openEdgeAfter(e);
    } while (e != start);
    return {};
}

TopoMeshEdge ownOpenEdge(TopoMeshVertex vertex) {
    TopoMeshEdge before;
    TopoMeshEdge after;
    TopoMeshBoundaryIterator::getPrevNextEdges(vertex, before, after);
    return after;
}

}  // namespace

std::vector<TopoMeshEdge> openLoop(TopoMeshVertex vertex) {
    std::vector<TopoMeshEdge> loop;
    TopoMeshEdge const start = ownOpenEdge(vertex);
    if (!start)
        return loop;
    TopoMeshEdge e = start;
    do {
        loop.push_back(e);
        e = openEdgeAfter(e);
    } while (e != start);
    return loop;
}

std::vector<TopoMeshEdge> openChain(TopoMeshVertex from, TopoMeshVertex to) {
    TopoMeshEdge const own = ownOpenEdge(from);
    if (!own || from == to)
        return {};
    std::vector<TopoMeshEdge> chain = walkTo(to, own);

    // Several loops pass through few vertices only; those are tried in the order of the vertex's chain.
    TopoMeshEdgeRecord* e = from.record()->firstLeaving;
    for (; chain.empty() && e != nullptr; e = e->nextLeaving)
        if (e->opposite() == nullptr && TopoMeshEdge(e) != own)
            chain = walkTo(to, TopoMeshEdge(e));
    return chain;
}

bool canSplitOpenEdge(TopoMesh const& mesh, TopoMeshEdge e) {
    if (!mesh.contains(e) || e.twin())
        return false;
    TopoMeshVertex const apex = e.prev().origin();
    return apex != e.origin() && apex != endOf(e) && e.origin() != endOf(e);
}

TopoMeshVertex splitOpenEdge(TopoMesh& mesh, TopoMeshEdge e, Point const& point) {
    TopoMeshVertex const apex = e.prev().origin();
    TopoMeshVertex const middle = mesh.subdivideEdge(e, point);
    mesh.subdivideFace(e.face(), middle, apex);
    return middle;
}

}  // namespace koGeom::detail
