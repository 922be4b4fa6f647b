#include "trimora/topology/meshTwin.h"

#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/topology/detail/completeTwins.h"

#include <algorithm>
#include <vector>

/// The half-edges without a twin are sorted by their two vertices; those on the same two lie side by side then, in the
/// order in which the walk over the faces met them. Allocation finds most twins by itself, so that the table holds little
/// more than the boundary.
namespace koGeom {

namespace {

struct OpenEdge {
    TopoMeshVertex low;
    TopoMeshVertex high;
    TopoMeshEdge edge;

    bool sharesVertices(OpenEdge const& other) const {
        return low == other.low && high == other.high;
    }
};

bool comesBefore(OpenEdge const& a, OpenEdge const& b) {
    ko::less<TopoMeshVertex> const less;
    return a.low != b.low ? less(a.low, b.low) : less(a.high, b.high);
}

std::vector<TopoMeshEdge> collectOpenEdges(TopoMesh const& mesh) {
    std::vector<TopoMeshEdge> open;
    for (TopoMeshFace f = mesh.firstFace(); f; f = f.nextInList()) {
        TopoMeshEdge const first = f.edge();
        TopoMeshEdge e = first;
        do {
            if (!e.twin())
                open.push_back(e);
            e = e.next();
        } while (e != first);
    }
    return open;
}

std::vector<OpenEdge> sortedByVertices(std::vector<TopoMeshEdge> const& edges) {
    std::vector<OpenEdge> open;
    open.reserve(edges.size());
    for (TopoMeshEdge e : edges) {
        TopoMeshVertex const from = e.origin();
        TopoMeshVertex const to = e.next().origin();
        bool const ascends = ko::less<TopoMeshVertex>()(from, to);
        open.push_back({ascends ? from : to, ascends ? to : from, e});
    }
    std::stable_sort(open.begin(), open.end(), comesBefore);
    return open;
}

/// Pairs the half-edges on one pair of vertices.
class GroupLinker {
public:
    explicit GroupLinker(TopoMesh& mesh) : mesh_(mesh) {}

    void link(OpenEdge const* first, OpenEdge const* last) {
        upward_.clear();
        downward_.clear();
        for (OpenEdge const* record = first; record != last; ++record)
            (record->edge.origin() == record->low ? upward_ : downward_).push_back(record->edge);

        // Both lists are in the order of the walk: the k-th upward one meets the k-th downward one.
        std::size_t const numOpposed = std::min(upward_.size(), downward_.size());
        for (std::size_t i = 0; i < numOpposed; ++i)
            pair(upward_[i], downward_[i]);
        std::vector<TopoMeshEdge> const& rest = upward_.size() > numOpposed ? upward_ : downward_;
        for (std::size_t i = numOpposed; i + 1 < rest.size(); i += 2)
            pair(rest[i], rest[i + 1]);
    }

    bool hasLinked() const { return hasLinked_; }

private:
    void pair(TopoMeshEdge a, TopoMeshEdge b) {
        mesh_.setTwins(a, b);
        hasLinked_ = true;
    }

    TopoMesh& mesh_;
    std::vector<TopoMeshEdge> upward_;
    std::vector<TopoMeshEdge> downward_;
    bool hasLinked_ = false;
};

}  // namespace

void detail::twinOpenEdges(TopoMesh& mesh, std::vector<TopoMeshEdge> const& edges, bool hasChanged,
                           koOS::StopWatch& watch) {
    std::vector<OpenEdge> const open = sortedByVertices(edges);
    GroupLinker linker(mesh);
    OpenEdge const* const end = open.data() + open.size();
    for (OpenEdge const* first = open.data(); first != end;) {
        OpenEdge const* last = first + 1;
        while (last != end && last->sharesVertices(*first))
            ++last;
        linker.link(first, last);
        first = last;
    }

    if (hasChanged || linker.hasLinked()) {
        TopoMeshModification modification(&mesh, TopoMeshModification::Topology);
        mesh.modified(modification);
    }
    debugChannel().print("meshTwin: %d vertices: %f s\n", mesh.numVertices(), watch.clear());
}

void detail::completeTwins(TopoMesh& mesh, bool hasChanged) {
    koOS::StopWatch watch;
    watch.start();
    twinOpenEdges(mesh, collectOpenEdges(mesh), hasChanged, watch);
}

void meshTwin(TopoMesh& mesh) {
    detail::completeTwins(mesh, false);
}

namespace {

/// Whether another half-edge without a twin lies on the same two vertices, whichever way it runs.
bool hasOpenPartner(TopoMeshEdge edge) {
    TopoMeshEdgeRecord const* const e = edge.record();
    auto const isAmong = [e](TopoMeshEdgeRecord const* leaving, TopoMeshVertexRecord const* end) {
        for (; leaving != nullptr; leaving = leaving->nextLeaving)
            if (leaving != e && leaving->twin == nullptr && leaving->end() == end)
                return true;
        return false;
    };
    return isAmong(e->origin->firstLeaving, e->end()) || isAmong(e->end()->firstLeaving, e->origin);
}

}  // namespace

void meshTwin(TopoMesh& mesh, ko::vector<TopoMeshEdge> const& edges) {
    bool const anyPair = std::any_of(edges.begin(), edges.end(), [&mesh](TopoMeshEdge e) {
        return mesh.contains(e) && !e.twin() && hasOpenPartner(e);
    });
    if (anyPair) {
        meshTwin(mesh);
        return;
    }
    koOS::StopWatch watch;
    watch.start();
    detail::twinOpenEdges(mesh, {}, false, watch);
}

}  // namespace koGeom
