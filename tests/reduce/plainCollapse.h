#pragma once

#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koLinear/matrices.h"

#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <vector>

/// Reduction by edge collapse, written down plainly: an ordered multimap, full matrices, the mesh's own operations. What is
/// shipped must agree with it in every bit.
namespace plain {

using namespace koGeom;

inline TopoMeshVertex endOf(TopoMeshEdge e) {
    return e.next().origin();
}

inline ProjMatrix outerProduct(Vector const& n, double d) {
    double const row[4] = {n.x, n.y, n.z, d};
    ProjMatrix product(0.0);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            product.m[4 * i + j] = row[i] * row[j];
    return product;
}

inline double valueAt(Point const& p, ProjMatrix const& q) {
    Tuple4 const row = Tuple4(p.x, p.y, p.z, 1.0) * q;
    return row.x * p.x + row.y * p.y + row.z * p.z + row.w;
}

/// All half-edges that leave a vertex: its own fan as the iterator goes, then others by the chain.
inline std::vector<TopoMeshEdge> leaving(TopoMeshVertex v) {
    std::vector<TopoMeshEdge> edges;
    std::set<void const*> found;
    for (TopoMeshEdgeVertexIterator i = {v, v.edge(), 1}; i.edge; i.next()) {
        edges.push_back(i.edge);
        found.insert(i.edge.record());
    }
    for (auto* e = v.record()->firstLeaving; e != nullptr; e = e->nextLeaving)
        if (found.insert(e).second)
            edges.push_back(TopoMeshEdge(e));
    return edges;
}

class Collapse {
public:
    static constexpr double refused = std::numeric_limits<double>::max();

    explicit Collapse(TopoMesh& mesh) : mesh_(mesh) {
        for (TopoMeshVertex v = mesh.firstVertex(); v; v = v.nextInList())
            findError(v);
        for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInList())
            e.blind(1) = BlindData(false);
        for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInList()) {
            if (e.blind(1).asBool())
                continue;
            onBoth(e, 1, BlindData(true));
            put(e, costOf(e));
        }
    }

    /// Until one edge has collapsed; false when none can.
    bool step() {
        while (!entries_.empty() && entries_.begin()->first < refused) {
            TopoMeshEdge const e = entries_.begin()->second;
            if (mayCollapse(e)) {
                collapse(e);
                return true;
            }
            entries_.erase(entries_.begin());
            put(e, refused);
        }
        return false;
    }

    double costOf(TopoMeshEdge e) {
        if (!mayCollapse(e))
            return refused;
        double const cost = plainCost(e);
        return cost != cost ? refused : cost;
    }
    static double plainCost(TopoMeshEdge e) {
        ProjMatrix q = errorOf(e.origin());
        q += errorOf(endOf(e));
        return valueAt(placeOf(q, e), q);
    }

    bool mayCollapse(TopoMeshEdge e) {
        TopoMeshVertex const a = e.origin();
        TopoMeshVertex const b = endOf(e);
        TopoMeshVertex const o1 = e.prev().origin();
        TopoMeshVertex const o2 = e.twin() ? e.twin().prev().origin() : TopoMeshVertex();
        if (e.twin() && a.onBoundary() && b.onBoundary() && o1.valence() > 1 && o2.valence() > 1)
            return false;
        std::set<void const*> const nearA = neighbours(a, {b, o1, o2});
        std::set<void const*> const nearB = neighbours(b, {b, o1, o2});
        for (void const* v : nearA)
            if (nearB.count(v) != 0)
                return false;
        return o1 != o2 && !wouldDouble(e) && !wouldEndPiece(e) && !hasLoop(a) && !hasLoop(b) &&
               mesh_.canCollapseEdge(e);
    }

    std::multimap<double, TopoMeshEdge> const& entries() const { return entries_; }

private:
    static void onBoth(TopoMeshEdge e, int slot, BlindData const& value) {
        e.blind(slot) = value;
        if (e.twin())
            e.twin().blind(slot) = value;
    }
    void put(TopoMeshEdge e, double cost) {
        onBoth(e, 0, BlindData(cost));
        entries_.emplace(cost, e);
    }

    static void findError(TopoMeshVertex v) {
        ProjMatrix error(0.0);
        for (TopoMeshEdgeVertexIterator i = {v, v.edge(), 1}; i.edge; i.next()) {
            TopoMeshEdge const first = i.edge.face().edge();
            Point const p = first.origin().point();
            Vector const normal =
                Normal(cross(endOf(first).point() - p, first.prev().origin().point() - p))
                    .asVector();
            error += outerProduct(normal, -dot(normal, p.asVector()));
            for (TopoMeshEdge side : {i.edge, i.edge.prev()}) {
                if (side.twin())
                    continue;
                Point const start = side.origin().point();
                Vector const wall = cross(endOf(side).point() - start, normal);
                error += outerProduct(wall, -dot(wall, start.asVector()));
            }
        }
        store(v, error);
    }
    static void store(TopoMeshVertex v, ProjMatrix const& error) {
        for (int i = 0; i < 16; ++i)
            v.blind(i) = BlindData(error.m[i]);
    }
    static ProjMatrix errorOf(TopoMeshVertex v) {
        ProjMatrix error(0.0);
        for (int i = 0; i < 16; ++i)
            error.m[i] = v.blind(i).asDouble();
        return error;
    }
    static Point placeOf(ProjMatrix const& q, TopoMeshEdge e) {
        ProjMatrix changed = q;
        changed.m[3] = changed.m[7] = changed.m[11] = 0.0;
        changed.m[15] = 1.0;
        ProjMatrix inverse = changed;
        if (inverse.invertFast())
            return Point(inverse.m[12], inverse.m[13], inverse.m[14]);
        Point const a = e.origin().point();
        Point const b = endOf(e).point();
        Point const m((a.x + b.x) / 2, (a.y + b.y) / 2, (a.z + b.z) / 2);
        double const atA = valueAt(a, changed);
        double const atB = valueAt(b, changed);
        double const atM = valueAt(m, changed);
        if (atM <= atA && atM <= atB)
            return m;
        return atA <= atB && atA <= atM ? a : b;
    }

    static std::set<void const*> neighbours(TopoMeshVertex v, std::vector<TopoMeshVertex> without) {
        std::set<void const*> found;
        for (TopoMeshEdgeVertexIterator i = {v, v.edge(), 1}; i.edge; i.next())
            for (TopoMeshVertex n : {endOf(i.edge), i.edge.prev().origin()})
                found.insert(n.record());
        for (TopoMeshVertex n : without)
            found.erase(n.record());
        return found;
    }
    /// Two faces on three vertices would be two faces on the same three vertices.
    static bool wouldDouble(TopoMeshEdge e) {
        std::set<std::set<void const*>> atA;
        for (bool second : {false, true}) {
            TopoMeshVertex const v = second ? endOf(e) : e.origin();
            for (TopoMeshEdge h : leaving(v)) {
                if (h.face() == e.face() || h.face() == e.twin().face())
                    continue;
                std::set<void const*> const others = {endOf(h).record(),
                                                      h.prev().origin().record()};
                if (second && atA.count(others) != 0)
                    return true;
                if (!second && others.size() == 2)
                    atA.insert(others);
            }
        }
        return false;
    }
    static bool wouldEndPiece(TopoMeshEdge e) {
        for (TopoMeshEdge h : {e, e.twin()})
            if (h.next().twin() || h.prev().twin())
                return false;
        return true;
    }
    static bool hasLoop(TopoMeshVertex v) {
        for (TopoMeshEdge h : leaving(v))
            if (endOf(h) == v)
                return true;
        return false;
    }

    void takeOut(TopoMeshEdge x, TopoMeshEdge e) {
        TopoMeshEdge const t = e.twin();
        if (x == e || x == t)
            return;
        auto const [begin, end] = entries_.equal_range(x.blind(0).asDouble());
        for (auto i = begin; i != end; ++i) {
            TopoMeshEdge half = i->second;
            if (half != x && (!x.twin() || half != x.twin()))
                continue;
            entries_.erase(i);
            if (half.face() == e.face() || (t && half.face() == t.face()))
                half = half.twin();
            if (!half || (half == e.next().twin() && e.prev().twin()) ||
                (t && half == t.next().twin() && t.prev().twin()))
                return;
            again_.push_back(half);
            return;
        }
    }
    void takeOutAround(TopoMeshVertex v, TopoMeshEdge e) {
        std::vector<TopoMeshEdge> const edges = leaving(v);
        for (TopoMeshEdge x : edges)
            takeOut(x, e);
        for (TopoMeshEdge x : edges)
            if (!x.prev().twin() || x.prev().twin().origin() != v)
                takeOut(x.prev(), e);
    }
    void collapse(TopoMeshEdge e) {
        again_.clear();
        entries_.erase(entries_.begin());
        takeOutAround(e.origin(), e);
        takeOutAround(endOf(e), e);
        ProjMatrix q = errorOf(e.origin());
        q += errorOf(endOf(e));
        Point const p = placeOf(q, e);
        TopoMeshVertex const v = mesh_.collapseEdge(e);
        store(v, q);
        mesh_.setPoint(v, p);
        for (TopoMeshEdge x : again_)
            put(x, costOf(x));
    }

    TopoMesh& mesh_;
    std::multimap<double, TopoMeshEdge> entries_;
    std::vector<TopoMeshEdge> again_;
};

}  // namespace plain
