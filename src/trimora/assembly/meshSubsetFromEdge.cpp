#include "trimora/assembly/meshSubsetFromEdge.h"

#include "trimora/contract/koGeom/TopoMeshIterators.h"

namespace koGeom {

namespace {

// Keeps a walk over a large or twisted mesh short.
constexpr std::size_t maxEdges = 200;

// A missing face is shared with nothing.
bool isFaceOf(TopoMeshFace face, TopoMeshEdge edge) {
    return face && (face == edge.face() || face == edge.twin().face());
}

// The edge that goes straight on at the end of `current`, running the same way; null at a vertex
// that is not regular.
TopoMeshEdge straightOn(TopoMeshEdge current, bool forward) {
    TopoMeshVertex const end = forward ? current.next().origin() : current.origin();
    if (end.valence() != 4)
        return {};
    TopoMeshEdgeVertexIterator around{};
    for (around.reset(end); around.edge; around.next()) {
        bool const sharesFace =
            isFaceOf(around.edge.face(), current) || isFaceOf(around.edge.twin().face(), current);
        if (!sharesFace)
            return forward ? around.edge : around.edge.twin();
    }
    return {};
}

}  // namespace

void meshSubsetFromEdge(TopoMesh const&, TopoMeshEdge edge, ko::vector<TopoMeshEdge>& out,
                        bool& open) {
    open = true;
    if (!edge)
        return;
    out.push_back(edge);

    bool forward = true;
    TopoMeshEdge current = edge;
    while (out.size() < maxEdges) {
        TopoMeshEdge const next = straightOn(current, forward);
        if (!next && !forward)
            return;
        if (!next) {
            forward = false;
            current = edge;
            continue;
        }
        if (next == edge || next == edge.twin()) {
            open = false;
            return;
        }
        out.insert(forward ? out.end() : out.begin(), next);
        current = next;
    }
}

}  // namespace koGeom
