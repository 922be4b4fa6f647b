#include "support/checks.h"

#include <map>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

/// The checker of half-edge meshes. It believes nothing but the links: what it compares them with it counts itself.
namespace support {

using koGeom::TopoMesh;
using koGeom::TopoMeshEdge;
using koGeom::TopoMeshFace;
using koGeom::TopoMeshVertex;

namespace {

struct Elements {
    std::vector<TopoMeshVertex> vertices;
    std::vector<TopoMeshEdge> edges;
    std::vector<TopoMeshFace> faces;
    std::unordered_map<void const*, int> numberOf;

    template <typename Handle>
    bool has(Handle handle) const {
        return handle && numberOf.count(handle.record()) != 0;
    }
    template <typename Handle>
    std::string name(char const* kind, Handle handle) const {
        auto const found = numberOf.find(handle.record());
        return std::string(kind) + " " +
               (found == numberOf.end() ? "?" : std::to_string(found->second));
    }
};

/// Follows a list; a fault when it is not as long as it is said to be, or comes past an element twice or out of order.
template <typename Handle>
std::string listFault(char const* kind, Handle first, int count, std::vector<Handle>& out,
                      Elements& elements) {
    for (Handle h = first; h; h = h.nextInList()) {
        if (static_cast<int>(out.size()) == count)
            return std::string("the list of ") + kind + " is longer than the count";
        if (!elements.numberOf.emplace(h.record(), static_cast<int>(out.size())).second)
            return std::string("the list of ") + kind + " comes past an element twice";
        if (!out.empty() && !ko::less<Handle>()(out.back(), h))
            return std::string("the list of ") + kind + " is out of the order of creation";
        out.push_back(h);
    }
    return static_cast<int>(out.size()) == count
               ? std::string()
               : std::string("the list of ") + kind + " is shorter than the count";
}

std::string edgeFault(Elements const& all, TopoMeshEdge e) {
    std::string const name = all.name("edge", e);
    if (!all.has(e.origin()))
        return name + " has no living origin";
    if (!all.has(e.face()))
        return name + " has no living face";
    if (!all.has(e.next()) || !all.has(e.prev()))
        return name + " has no living next or previous";
    if (e.next().prev() != e || e.prev().next() != e)
        return name + ": next and previous do not agree";
    if (e.next().face() != e.face())
        return name + ": the next edge is in another face";
    TopoMeshEdge const twin = e.twin();
    if (!twin)
        return {};
    if (!all.has(twin))
        return name + " has a dead twin";
    if (twin == e || twin.twin() != e)
        return name + ": the twin has another twin";
    bool const against = twin.origin() == e.next().origin() && twin.next().origin() == e.origin();
    bool const alike = twin.origin() == e.origin() && twin.next().origin() == e.next().origin();
    return against || alike ? std::string() : name + ": the twin runs between other vertices";
}

/// Every face is a ring of at least three edges that name it, and every edge is in one ring.
std::string ringFault(Elements const& all) {
    std::set<void const*> seen;
    for (TopoMeshFace f : all.faces) {
        std::string const name = all.name("face", f);
        if (!all.has(f.edge()))
            return name + " has no living first edge";
        int sides = 0;
        TopoMeshEdge e = f.edge();
        do {
            if (e.face() != f)
                return name + ": its ring leads through another face";
            if (!seen.insert(e.record()).second)
                return name + ": its ring does not come back to its first edge";
            ++sides;
            e = e.next();
        } while (e != f.edge());
        if (sides < 3)
            return name + " has fewer than three sides";
    }
    return seen.size() == all.edges.size() ? std::string() : "an edge is in no face's ring";
}

/// Own edges, and the chain of each vertex against the edges that name it as their origin.
std::string vertexFault(Elements const& all) {
    std::map<void const*, int> numLeaving;
    for (TopoMeshEdge e : all.edges)
        ++numLeaving[e.origin().record()];
    for (TopoMeshVertex v : all.vertices) {
        std::string const name = all.name("vertex", v);
        int const expected = numLeaving[v.record()];
        if (expected == 0 && v.edge())
            return name + " has an edge of its own, but none leaves it";
        if (expected > 0 && (!all.has(v.edge()) || v.edge().origin() != v))
            return name + ": its own edge does not leave it";
        int count = 0;
        koGeom::TopoMeshEdgeRecord const* before = nullptr;
        for (auto const* e = v.record()->firstLeaving; e != nullptr;
             before = e, e = e->nextLeaving) {
            if (all.numberOf.count(e) == 0 || e->origin != v.record() || e->prevLeaving != before)
                return name + ": the chain of leaving edges is broken";
            if (++count > expected)
                return name + ": the chain of leaving edges is too long";
        }
        if (count != expected)
            return name + ": the chain of leaving edges misses some";
    }
    return {};
}

TopoMeshEdge followedTwin(TopoMeshEdge e) {
    TopoMeshEdge const twin = e.twin();
    return twin && twin.origin() == e.next().origin() && twin.next().origin() == e.origin()
               ? twin
               : TopoMeshEdge();
}

/// The boundary edges must fall into closed loops: from each, going round its end meets one other, and each is met once.
std::string boundaryFault(Elements const& all) {
    std::set<void const*> boundary;
    std::set<void const*> met;
    for (TopoMeshEdge e : all.edges)
        if (!followedTwin(e))
            boundary.insert(e.record());
    for (TopoMeshEdge e : all.edges) {
        if (boundary.count(e.record()) == 0)
            continue;
        TopoMeshEdge leaving = e.next();
        std::size_t steps = 0;
        while (TopoMeshEdge const twin = followedTwin(leaving)) {
            leaving = twin.next();
            if (++steps > all.edges.size())
                return all.name("edge", e) + ": the walk round its end does not meet the boundary";
        }
        if (leaving.origin() != e.next().origin())
            return all.name("edge", e) + ": the walk round its end leaves the vertex";
        if (!met.insert(leaving.record()).second)
            return all.name("edge", leaving) + " follows two edges of the boundary";
    }
    return met == boundary ? std::string() : "an edge of the boundary follows no other";
}

}  // namespace

std::string faultOf(TopoMesh const& mesh) {
    Elements all;
    std::string fault =
        listFault("vertices", mesh.firstVertex(), mesh.numVertices(), all.vertices, all);
    if (fault.empty())
        fault = listFault("edges", mesh.firstEdge(), mesh.numEdges(), all.edges, all);
    if (fault.empty())
        fault = listFault("faces", mesh.firstFace(), mesh.numFaces(), all.faces, all);
    for (TopoMeshEdge e : all.edges)
        if (fault.empty())
            fault = edgeFault(all, e);
    if (fault.empty())
        fault = ringFault(all);
    if (fault.empty())
        fault = vertexFault(all);
    if (fault.empty())
        fault = boundaryFault(all);
    return fault;
}

}  // namespace support
