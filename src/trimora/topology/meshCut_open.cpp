#include "trimora/topology/detail/MeshCutImpl.h"
#include "trimora/topology/detail/edgesAround.h"

#include <iterator>

/// The edges under the curves are opened, from the boundary inward; a closed curve inside the surface opens along two of its
/// edges at once. In passes over the edges, oldest first: an edge that cannot be opened yet is asked again when something
/// around its ends has opened, which comes to the same as asking all of them in every pass.
namespace koGeom::detail {

namespace {

using EdgeSet = ko::set<TopoMeshEdge>;

class EdgeOpener {
public:
    EdgeOpener(TopoMesh& mesh, EdgeSet const& edges) : mesh_(mesh), closed_(edges) {}

    /// Returns the half-edges that have lost their twins.
    std::vector<TopoMeshEdge> run();

private:
    bool open(TopoMeshEdge edge);
    bool openWithPartner(TopoMeshEdge edge);
    TopoMeshEdge findPartner(TopoMeshEdge edge, bool anyHalf) const;
    bool isClosed(TopoMeshEdge edge, bool anyHalf) const;
    void askAround(TopoMeshEdge opened, TopoMeshEdge asked);

    TopoMesh& mesh_;
    EdgeSet closed_;  ///< the edges that are still to be opened
    EdgeSet thisPass_;
    EdgeSet nextPass_;
    std::vector<TopoMeshEdge> opened_;
};

std::vector<TopoMeshEdge> EdgeOpener::run() {
    thisPass_ = closed_;
    while (!thisPass_.empty()) {
        while (!thisPass_.empty()) {
            TopoMeshEdge const edge = *thisPass_.begin();
            thisPass_.erase(thisPass_.begin());
            if (edge.twin()) {
                std::size_t const before = opened_.size();
                if (!open(edge))
                    continue;
                for (std::size_t i = before; i < opened_.size(); ++i)
                    askAround(opened_[i], edge);
            }
            closed_.erase(edge);
        }
        thisPass_.swap(nextPass_);
    }
    return opened_;
}

bool EdgeOpener::open(TopoMeshEdge edge) {
    TopoMeshEdge const twin = edge.twin();
    bool const atStart = isFanOpen(edge);
    bool const atEnd = isFanOpen(twin);
    if (!atStart && !atEnd)
        return openWithPartner(edge);
    if (atStart && atEnd)
        mesh_.splitEdge(edge);
    else if (atStart)
        mesh_.splitVertex(edge.origin(), edge);
    else
        mesh_.splitVertex(twin.origin(), twin);
    if (edge.twin())
        return false;
    opened_.insert(opened_.end(), {edge, twin});
    return true;
}

//   x --edge--> v --partner--> y      all three inside: the surface opens at v
bool EdgeOpener::openWithPartner(TopoMeshEdge edge) {
    TopoMeshEdge partner = findPartner(edge, false);
    // Edges that lead to v from both sides name each other by their other halves.
    if (!partner)
        partner = findPartner(edge, true);
    if (!partner)
        return false;
    bool const follows = partner.origin() == edge.next().origin();
    TopoMeshEdge const first = follows ? edge : partner;
    TopoMeshEdge const second = follows ? partner : edge;
    TopoMeshEdge const halves[4] = {edge, edge.twin(), partner, partner.twin()};
    mesh_.splitVertex(first, second);
    if (edge.twin())
        return false;
    opened_.insert(opened_.end(), std::begin(halves), std::end(halves));
    return true;
}

bool EdgeOpener::isClosed(TopoMeshEdge edge, bool anyHalf) const {
    return closed_.count(edge) != 0 || (anyHalf && closed_.count(edge.twin()) != 0);
}

/// Around the edge's start, then around its end, the first other edge that can open along with it, running so that the two
/// follow each other.
TopoMeshEdge EdgeOpener::findPartner(TopoMeshEdge edge, bool anyHalf) const {
    TopoMeshEdge found;
    auto const search = [&](TopoMeshEdge own) {
        forEachEdgeAround(own, [&](TopoMeshEdge e) {
            if (found || e == own || !e.twin() || isFanOpen(e.twin()) || !isClosed(e, anyHalf))
                return;
            bool const opens =
                own == edge ? mesh_.canSplitVertex(e.twin(), edge) : mesh_.canSplitVertex(edge, e);
            if (opens)
                found = own == edge ? e.twin() : e;
        });
    };
    search(edge);
    if (!found)
        search(edge.twin());
    return found;
}

void EdgeOpener::askAround(TopoMeshEdge opened, TopoMeshEdge asked) {
    auto const ask = [&](TopoMeshEdge e) {
        if (e && e != asked && closed_.count(e) != 0)
            (ko::less<TopoMeshEdge>()(asked, e) ? thisPass_ : nextPass_).insert(e);
    };
    for (TopoMeshEdge const start : {opened, opened.next()}) {
        forEachEdgeAround(start, [&ask](TopoMeshEdge e) {
            ask(e);
            ask(e.twin());
        });
    }
}

}  // namespace

void MeshCut::openEdges() {
    EdgeSet edges;
    for (Curve& curve : curves_) {
        for (auto node = curve.begin(); std::next(node) != curve.end(); ++node) {
            TopoMeshVertex const a = (*node)->vertex;
            TopoMeshVertex const b = (*std::next(node))->vertex;
            TopoMeshEdge const there = TopoMesh::findEdge(a, b);
            TopoMeshEdge const edge = there ? there : TopoMesh::findEdge(b, a);
            if (edge)
                edges.insert(edge);
        }
    }
    opened_ = EdgeOpener(mesh_, edges).run();
}

}  // namespace koGeom::detail
