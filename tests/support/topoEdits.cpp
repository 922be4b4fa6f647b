#include "support/topoEdits.h"

#include "support/builders.h"
#include "support/checks.h"
#include "support/topoBuilders.h"

#include <map>
#include <set>

namespace topoEdits {

using namespace koGeom;
using support::digestOf;
using support::fill;
using support::listOf;
using support::ringOf;

char const* const kindNames[NumKinds] = {"FaceAtPoint",
                                         "FaceAcross",
                                         "FaceChain",
                                         "EdgeAtPoint",
                                         "SplitEdge",
                                         "SplitVertexAlong",
                                         "SplitVertexBetween",
                                         "Swap",
                                         "Collapse",
                                         "Contract",
                                         "Merge",
                                         "DeleteVertex",
                                         "DeleteEdge",
                                         "DeleteFace",
                                         "AllocTriangle",
                                         "SetTwins"};

namespace {

struct Counts {
    int vertices, edges, faces;
    bool operator==(Counts const&) const = default;
};

Counts countsOf(TopoMesh const& mesh) {
    return {mesh.numVertices(), mesh.numEdges(), mesh.numFaces()};
}

template <typename T>
T pick(std::vector<T> const& from, unsigned drawn) {
    return from.empty() ? T() : from[drawn % from.size()];
}

std::vector<TopoMeshEdge> leavingOf(TopoMesh const& mesh, TopoMeshVertex v) {
    std::vector<TopoMeshEdge> leaving;
    for (TopoMeshEdge e : listOf(mesh.firstEdge()))
        if (e.origin() == v)
            leaving.push_back(e);
    return leaving;
}

std::vector<TopoMeshEdge> boundaryOf(TopoMesh const& mesh) {
    std::vector<TopoMeshEdge> boundary;
    for (TopoMeshEdge e : listOf(mesh.firstEdge()))
        if (!e.twin())
            boundary.push_back(e);
    return boundary;
}

/// Number of fans that meet at the vertex, from the links alone.
int numFans(std::vector<TopoMeshEdge> const& leaving) {
    std::set<void const*> seen;
    int fans = 0;
    for (TopoMeshEdge start : leaving) {
        if (seen.count(start.record()) != 0)
            continue;
        ++fans;
        for (TopoMeshEdge e = start;
             e && e.origin() == start.origin() && seen.insert(e.record()).second;)
            e = e.prev().twin();
        for (TopoMeshEdge e = start.twin().next();
             e && e.origin() == start.origin() && seen.insert(e.record()).second;)
            e = e.twin().next();
    }
    return fans;
}

/// What the queries say, against what is counted over the lists. `singleFans`: no vertex joins two fans.
std::string queryFault(TopoMesh const& mesh, bool& singleFans) {
    std::map<void const*, std::vector<TopoMeshEdge>> leaving;
    std::set<void const*> onBoundary;
    for (TopoMeshEdge e : listOf(mesh.firstEdge())) {
        leaving[e.origin().record()].push_back(e);
        if (!e.twin())
            onBoundary.insert({e.origin().record(), e.next().origin().record()});
        TopoMeshEdge const found = TopoMesh::findEdge(e.origin(), e.next().origin());
        if (!found || found.origin() != e.origin() || found.next().origin() != e.next().origin())
            return "findEdge misses an edge";
    }
    singleFans = true;
    for (TopoMeshVertex v : listOf(mesh.firstVertex())) {
        std::vector<TopoMeshEdge> const& around = leaving[v.record()];
        if (v.valence() != static_cast<int>(around.size()))
            return "valence is wrong";
        if (v.onBoundary() != (onBoundary.count(v.record()) != 0))
            return "onBoundary is wrong";
        int const fans = numFans(around);
        singleFans = singleFans && fans <= 1;
        std::set<void const*> visited;
        for (TopoMeshEdgeVertexIterator i = {v, v.edge(), 1}; i.edge; i.next()) {
            if (i.edge.origin() != v)
                return "the iterator leaves its vertex";
            if (!visited.insert(i.edge.record()).second)
                return "the iterator visits an edge twice";
        }
        if (fans == 1 && visited.size() != around.size())
            return "the iterator misses an edge";
    }
    return {};
}

/// Runs one step. Empty, or what is wrong.
class Stepper {
public:
    explicit Stepper(TopoMesh& mesh) : mesh_(mesh) {}

    std::string run(Step const& step) {
        before_ = countsOf(mesh_);
        digest_ = digestOf(mesh_);
        bool wasSingle = true;
        std::string fault = queryFault(mesh_, wasSingle);
        if (fault.empty())
            fault = perform(step);
        if (fault.empty())
            fault = support::faultOf(mesh_);
        bool isSingle = true;
        if (fault.empty())
            fault = queryFault(mesh_, isSingle);
        bool const mayTouch = step.kind == DeleteFace || step.kind == AllocTriangle ||
                              step.kind == SetTwins || step.kind == DeleteVertex;
        if (fault.empty() && wasSingle && !isSingle && !mayTouch)
            fault = "two parts of the surface came to touch at a vertex";
        return fault;
    }

    int numDone(Kind kind) const { return done_[kind]; }

private:
    /// Counts must change by these numbers if the step was allowed, and nothing at all otherwise.
    std::string judge(Kind kind, bool allowed, bool done, int vertices, int edges, int faces) {
        if (allowed != done)
            return allowed ? "an allowed edit was refused" : "a forbidden edit reports success";
        done_[kind] += done;
        if (!done)
            return digestOf(mesh_) == digest_ ? "" : "a refused edit changed the mesh";
        Counts const expected = {before_.vertices + vertices, before_.edges + edges,
                                 before_.faces + faces};
        return countsOf(mesh_) == expected ? "" : "the counts are wrong";
    }

    std::string perform(Step const& s) {
        switch (s.kind) {
        case FaceAtPoint:
        case FaceAcross:
        case FaceChain:
        case EdgeAtPoint:
            return subdivide(s);
        case SplitEdge:
        case SplitVertexAlong:
        case SplitVertexBetween:
            return open(s);
        case Swap:
            return swap(s);
        case Collapse:
        case Contract:
        case Merge:
            return join(s);
        case DeleteVertex:
        case DeleteEdge:
        case DeleteFace:
            return remove(s);
        default:
            return build(s);
        }
    }

    std::string subdivide(Step const& s) {
        Point const p(0.1 * (s.a % 97), 0.1 * (s.b % 89), 0.1 * (s.c % 83));
        if (s.kind == EdgeAtPoint) {
            TopoMeshEdge const e = pick(listOf(mesh_.firstEdge()), s.a);
            bool const allowed = mesh_.canSubdivideEdge(e);
            int const sides = e.twin() ? 2 : 1;
            TopoMeshVertex const v = mesh_.subdivideEdge(e, p);
            if (v && (e.next().origin() != v || v.point() != p || v.valence() != sides))
                return "subdivideEdge: the new vertex is not where it should be";
            return judge(s.kind, allowed, static_cast<bool>(v), 1, sides, 0);
        }
        TopoMeshFace const f = pick(listOf(mesh_.firstFace()), s.a);
        if (s.kind == FaceAtPoint) {
            int const n = f.numVertices();
            TopoMeshEdge const first = f.edge();
            TopoMeshVertex const v = mesh_.subdivideFace(f, p);
            if (v && (v.valence() != n || f.edge() != first || f.numVertices() != 3))
                return "subdivideFace: wrong valence or first edge";
            return judge(s.kind, static_cast<bool>(f), static_cast<bool>(v), 1, 2 * n, n - 1);
        }
        std::vector<TopoMeshEdge> const ring = ringOf(f);
        TopoMeshVertex const a = pick(ring, s.b).origin();
        TopoMeshVertex const b = pick(ring, s.c).origin();
        if (s.kind == FaceAcross) {
            bool const allowed = mesh_.canSubdivideFace(f, a, b);
            TopoMeshEdge const e = mesh_.subdivideFace(f, a, b);
            if (e && (e.origin() != a || e.next().origin() != b || e.face() != f))
                return "subdivideFace: the new edge runs elsewhere";
            return judge(s.kind, allowed, static_cast<bool>(e), 0, 2, 1);
        }
        ko::vector<Point> points;
        for (unsigned i = 0; i < s.a % 4; ++i)
            points.push_back(Point(p.x + 0.3 * i, p.y - 0.2 * i * i, p.z));
        int const n = static_cast<int>(points.size());
        bool const allowed = mesh_.canSubdivideFace(f, a, b, n);
        TopoMeshFace const result = mesh_.subdivideFace(f, a, b, points);
        if (result) {
            std::set<void const*> chain;
            for (TopoMeshEdge e : ringOf(f))
                if (e.twin() && e.twin().face() != f)
                    chain.insert(e.record());
            if (result != f || static_cast<int>(chain.size()) < n + 1)
                return "subdivideFace: no chain in the face";
        }
        return judge(s.kind, allowed, static_cast<bool>(result), n, 2 * n + 2, 1);
    }

    std::string open(Step const& s) {
        TopoMeshEdge const e = pick(listOf(mesh_.firstEdge()), s.a);
        TopoMeshEdge const twin = e.twin();
        if (s.kind == SplitEdge) {
            bool const allowed = mesh_.canSplitEdge(e);
            mesh_.splitEdge(e);
            bool const done = countsOf(mesh_) != before_;
            if (done && (e.twin() || twin.twin() || e.origin() == twin.next().origin() ||
                         e.next().origin() == twin.origin()))
                return "splitEdge: the two sides are not apart";
            return judge(s.kind, allowed, done, 2, 0, 0);
        }
        if (s.kind == SplitVertexAlong) {
            TopoMeshVertex const v = e.origin();
            bool const allowed = mesh_.canSplitVertex(v, e);
            TopoMeshVertex const copy = mesh_.splitVertex(v, e);
            if (copy && (e.origin() != v || twin.next().origin() != copy ||
                         e.next().origin() != twin.origin() || e.twin()))
                return "splitVertex: the sides are not apart at the vertex";
            return judge(s.kind, allowed, static_cast<bool>(copy), 1, 0, 0);
        }
        TopoMeshEdge const next = pick(leavingOf(mesh_, e.next().origin()), s.b);
        bool const allowed = mesh_.canSplitVertex(e, next);
        TopoMeshVertex const middle = next.origin();
        TopoMeshEdge const nextTwin = next.twin();
        mesh_.splitVertex(e, next);
        bool const done = countsOf(mesh_) != before_;
        if (done &&
            (next.origin() != middle || e.next().origin() != middle || twin.origin() == middle ||
             nextTwin.next().origin() != twin.origin() || e.twin() || next.twin()))
            return "splitVertex: the sides are not apart";
        return judge(s.kind, allowed, done, 1, 0, 0);
    }

    std::string swap(Step const& s) {
        TopoMeshEdge const e = pick(listOf(mesh_.firstEdge()), s.a);
        bool const allowed = mesh_.canSwapEdge(e);
        std::vector<void const*> const links = digestOf(mesh_, false);
        TopoMeshEdgeVertexIterator expected = {e.origin(), e, 1};
        bool const isOwn = e.origin().edge() == e;
        TopoMeshVertex const a = e.origin();
        expected.next();
        TopoMeshVertex const b = e.next().origin();
        TopoMeshVertex const c = e.prev().origin();
        bool const done = mesh_.swapEdge(e);
        if (done) {
            if (e.origin() != c && e.next().origin() != c)
                return "swapEdge: the edge does not join the opposite vertices";
            if (isOwn && a.edge() != expected.edge)
                return "swapEdge: the own edge is not the one that the iterator reaches next";
            // There is a way back unless the ends were joined twice.
            bool const joinedStill = TopoMesh::findEdge(a, b) || TopoMesh::findEdge(b, a);
            if (mesh_.swapEdge(e) == joinedStill)
                return "swapEdge: the second swap is refused, or joins what is joined";
            if (!joinedStill && digestOf(mesh_, false) != links)
                return "swapEdge: the second swap does not restore the mesh";
            if (!joinedStill)
                mesh_.swapEdge(e);
        }
        return judge(s.kind, allowed, done, 0, 0, 0);
    }

    std::string join(Step const& s) {
        if (s.kind == Merge) {
            std::vector<TopoMeshEdge> const boundary = boundaryOf(mesh_);
            TopoMeshEdge const a = pick(boundary, s.a);
            // Half of the time a neighbour along the boundary: those are the ones that can be sewn.
            TopoMeshBoundaryIterator walk;
            walk.reset(a.next().origin(), true);
            TopoMeshEdge const b = s.b % 2 == 0 ? pick(boundary, s.c) : walk.nextEdge();
            int const apart = (a.origin() != b.next().origin()) + (a.next().origin() != b.origin());
            bool const allowed = mesh_.canMergeVertices(a, b);
            mesh_.mergeVertices(a, b);
            return judge(s.kind, allowed, a && a.twin() == b && b, -apart, 0, 0);
        }
        TopoMeshEdge const e =
            pick(s.kind == Contract ? boundaryOf(mesh_) : listOf(mesh_.firstEdge()), s.a);
        bool const allowed =
            s.kind == Contract ? mesh_.canContractEdge(e) : mesh_.canCollapseEdge(e);
        int vertices = -1;
        int faces = 0;
        int edges = 0;
        ko::map<TopoMeshVertex, int> facesAtTips;
        for (TopoMeshEdge h : {e, e.twin()}) {
            bool const triangle = h && h.face().numVertices() == 3;
            faces -= triangle;
            edges -= triangle ? 3 : h ? 1 : 0;
            if (triangle)
                ++facesAtTips[h.prev().origin()];
        }
        for (auto const& [tip, count] : facesAtTips)
            vertices -= tip.valence() == count;
        TopoMeshVertex const origin = e.origin();
        TopoMeshVertex const v = s.kind == Contract ? mesh_.contractEdge(e) : mesh_.collapseEdge(e);
        if (v && v != origin)
            return "collapseEdge: another vertex survives";
        return judge(s.kind, allowed, static_cast<bool>(v), vertices, edges, faces);
    }

    std::string remove(Step const& s) {
        if (s.kind == DeleteFace) {
            TopoMeshFace const f = pick(listOf(mesh_.firstFace()), s.a);
            int const n = f.numVertices();
            mesh_.deleteFace(f);
            return judge(s.kind, static_cast<bool>(f), countsOf(mesh_) != before_, 0, -n, -1);
        }
        if (s.kind == DeleteEdge) {
            TopoMeshEdge const e = pick(listOf(mesh_.firstEdge()), s.a);
            TopoMeshFace const f = e.face();
            int const sides = f.numVertices() + e.twin().face().numVertices() - 2;
            bool const allowed = mesh_.canDeleteEdge(e);
            bool const done = mesh_.deleteEdge(e);
            if (done && f.numVertices() != sides)
                return "deleteEdge: the faces did not become one";
            return judge(s.kind, allowed, done, 0, -2, -1);
        }
        TopoMeshVertex const v = pick(listOf(mesh_.firstVertex()), s.a);
        int const valence = v.valence();
        bool const boundary = v.onBoundary();
        bool const takesFace = boundary && valence == 1;
        int const sides = v.edge().face().numVertices();
        bool const allowed = mesh_.canDeleteVertex(v);
        TopoMeshFace const f = mesh_.deleteVertex(v);
        bool const done = countsOf(mesh_) != before_;
        if (done && static_cast<bool>(f) == (takesFace || valence == 0))
            return "deleteVertex: a face where none is left, or none where one is";
        int const edges = takesFace ? -sides : -2 * valence + (boundary ? 1 : 0);
        return judge(s.kind, allowed, done, -1, edges,
                     takesFace      ? -1
                     : valence == 0 ? 0
                                    : 1 - valence);
    }

    std::string build(Step const& s) {
        std::vector<TopoMeshVertex> const vertices = listOf(mesh_.firstVertex());
        if (s.kind == SetTwins) {
            std::vector<TopoMeshEdge> const boundary = boundaryOf(mesh_);
            TopoMeshEdge const a = pick(boundary, s.a);
            TopoMeshEdge const b = TopoMesh::findEdge(a.next().origin(), a.origin());
            bool const allowed = mesh_.canSetTwins(a, b);
            mesh_.setTwins(a, b);
            return judge(s.kind, allowed, a && a.twin() == b && b, 0, 0, 0);
        }
        TopoMeshEdge const open = pick(boundaryOf(mesh_), s.a);
        TopoMeshFace const f =
            mesh_.allocTriangle(open.next().origin(), open.origin(), pick(vertices, s.b));
        if (f && !f.edge().twin())
            return "allocTriangle: an open edge found no twin";
        return judge(s.kind, static_cast<bool>(open), static_cast<bool>(f), 0, 3, 1);
    }

    TopoMesh& mesh_;
    Counts before_ = {};
    std::vector<void const*> digest_;
    int done_[NumKinds] = {};
};

/// Every other inner edge goes where that leaves simple faces: quads, pentagons and more, among triangles.
void fillMixed(TopoMesh& mesh, CompactMesh const& source) {
    fill(mesh, source);
    support::Random random(7);
    for (TopoMeshEdge e = mesh.firstEdge(); e;) {
        TopoMeshEdge const following = e.nextInList();
        bool const simple = e.twin() && e.origin().valence() > 3 && e.twin().origin().valence() > 3;
        if (simple && random.index(5) == 0 && mesh.deleteEdge(e))
            e = mesh.firstEdge();
        else
            e = following;
        if (mesh.numFaces() * 2 < source.getNumTriangles())
            break;
    }
}

}  // namespace

std::vector<Start> starts() {
    auto const plain = [](CompactMesh const& m) { return [m](TopoMesh& mesh) { fill(mesh, m); }; };
    auto const mixed = [](CompactMesh const& m) {
        return [m](TopoMesh& mesh) { fillMixed(mesh, m); };
    };
    return {{"tetrahedron", plain(support::tetrahedron())},
            {"sphere", plain(support::sphere(1))},
            {"torus", plain(support::torus(6, 4))},
            {"grid", plain(support::grid(5, 4))},
            {"holed torus", plain(support::holed(support::torus(8, 5), 0.8, 3))},
            {"cube of polygons", mixed(support::cube())},
            {"mixed torus", mixed(support::torus(6, 5))},
            {"mixed grid", mixed(support::grid(6, 5))},
            {"bow-tie", plain(support::bowTie())},
            {"three on an edge", plain(support::threeOnAnEdge())},
            {"lattice soup", plain(support::latticeSoup(20, 40, 5))}};
}

std::string runSteps(std::function<void(TopoMesh&)> const& filler, std::vector<Step> const& steps,
                     std::vector<int>* done) {
    TopoMesh mesh;
    filler(mesh);
    Stepper stepper(mesh);
    std::string fault = support::faultOf(mesh);
    for (std::size_t i = 0; i < steps.size() && fault.empty(); ++i) {
        // Kept small, so that parts of the surface meet often and a check is cheap.
        bool const grows = steps[i].kind <= EdgeAtPoint || steps[i].kind == AllocTriangle;
        if (grows && mesh.numFaces() > 150)
            continue;
        fault = stepper.run(steps[i]);
        if (!fault.empty())
            fault = "step " + std::to_string(i) + ", " + kindNames[steps[i].kind] + ": " + fault;
    }
    for (int kind = 0; done != nullptr && kind < NumKinds; ++kind)
        (*done)[static_cast<std::size_t>(kind)] += stepper.numDone(static_cast<Kind>(kind));
    return fault;
}

}  // namespace topoEdits
