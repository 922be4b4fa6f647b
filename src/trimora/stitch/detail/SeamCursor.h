#pragma once

#include "trimora/contract/koGeom/TopoMesh.h"

#include <cstddef>
#include <vector>

namespace koGeom::detail {

/// The ends of two chains. A contraction that takes one of these vertices puts what is left in its place.
struct SeamEnds {
    TopoMeshVertex startA, endA;
    TopoMeshVertex startB, endB;

    void replace(TopoMeshVertex gone, TopoMeshVertex kept) {
        for (TopoMeshVertex* const v : {&startA, &endA, &startB, &endB})
            if (*v == gone)
                *v = kept;
    }
};

/// A runs forward from its start to its end; B backward, so that its edges are listed from its end to its start.
struct SeamChains {
    std::vector<TopoMeshEdge> a;
    std::vector<TopoMeshEdge> b;
};

/// Walks along both chains and gives them the same vertices.
///
///        endB <--- currentB --edgeB-> o <- - startB       vertices to the right of edgeA and edgeB lie on each
///                                                         other already; a step passes edgeA, edgeB or both
///        endA <--- currentA <-edgeA-- o <- - startA
class SeamCursor {
public:
    /// Both chains have an edge; canSplitOpenEdge holds for all of them, and none is in both.
    SeamCursor(TopoMesh& mesh, SeamEnds& ends, SeamChains const& chains, double tolerance);

    /// False when a step found no way: the mesh is sound then, and the chains differ.
    bool run();

private:
    TopoMeshVertex currentA() const;
    TopoMeshVertex currentB() const { return edgeB_.origin(); }
    bool isAtEndA() const { return currentA() == ends_.endA; }
    bool isAtEndB() const { return currentB() == ends_.endB; }
    void stepA();
    void stepB();

    bool step();
    bool insertOnA(Point const& place);
    bool insertOnB(Point const& place);
    void stepBoth(Point const& place);

    bool turnAway() const;
    bool contractShorter();
    bool contractA();
    bool contractB();
    bool canContract(TopoMeshEdge e, TopoMeshEdge other) const;

    TopoMesh& mesh_;
    SeamEnds& ends_;
    TopoMeshEdge edgeA_;  ///< ends at currentA
    TopoMeshEdge edgeB_;  ///< leaves currentB
    std::size_t numSteps_;
    double tolerance_;
    Point last_;
};

inline bool isInTriangle(TopoMeshEdge e) {
    return e.next().next() == e.prev();
}

}  // namespace koGeom::detail
