#include "holeFillOracle.h"

#include "trimora/assembly/MeshSelect.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/parameterize/ConjugateGradient.h"
#include "trimora/planar/triangulatePolygon.h"
#include "trimora/topology/MeshEdgeSwapper.h"
#include "trimora/topology/MeshModifyRep.h"
#include "trimora/topology/meshTwin.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <tuple>

namespace support {

namespace {

using namespace koGeom;

struct Filler {
    CompactMesh& mesh;
    MeshAdjVertices const& adjVertices;
    MeshModifyRep& rep;
    TopoMesh& topo;
    HoleQuality quality;
    MeshEdgeSwapper swapper;

    ko::vector<int> ring;
    ko::set<TopoMeshEdge> edgesBefore;
    ko::list<TopoMeshFace> patchFaces;
    ko::set<TopoMeshEdge> swappable;
    ko::map<TopoMeshVertex, double> density;
    ko::vector<TopoMeshVertex> newVertices;
    double mostVertices = 0.0;

    bool fill(ko::vector<int> const& loop);

    TopoMeshVertex at(int place) { return rep.getTopoMeshVertex(ring[std::size_t(place)]); }
    bool removeFin(int place, bool& removed, ko::vector<int>& gone);
    bool prepareRing();
    bool splitOnce();
    void refine();
    void fair();
};

double coordinate(TopoMeshVertex v, int c) {
    double const xyz[] = {v.point().x, v.point().y, v.point().z};
    return xyz[c];
}

bool Filler::removeFin(int place, bool& removed, ko::vector<int>& gone) {
    TopoMeshVertex const tip = at(place);
    removed = tip.valence() == 1;
    if (!removed)
        return true;
    if (tip.edge().next().origin().valence() == 1 || tip.edge().prev().origin().valence() == 1)
        return false;
    rep.removeVertex(tip);
    topo.deleteVertex(tip);
    gone.push_back(place);
    return true;
}

bool Filler::prepareRing() {
    if (ring.size() < 3)
        return false;
    ko::vector<Point> points;
    for (int i = 0; i < int(ring.size()); ++i) {
        if (!at(i))
            return false;
        points.push_back(at(i).point());
    }
    ko::vector<int> order(ring.size());
    std::iota(order.begin(), order.end(), 0);
    auto const key = [&](int i) {
        Point const& p = points[std::size_t(i)];
        return std::make_tuple(p.x, p.y, p.z);
    };
    std::stable_sort(order.begin(), order.end(), [&](int i, int j) { return key(i) < key(j); });

    ko::vector<int> gone;
    int previous = order[0];
    for (std::size_t i = 1; i < order.size(); ++i) {
        int const current = order[i];
        if (!equivalent(points[std::size_t(previous)], points[std::size_t(current)], epsilonTol)) {
            previous = current;
            continue;
        }
        bool currentGone = false;
        bool previousGone = false;
        if (!removeFin(current, currentGone, gone) || !removeFin(previous, previousGone, gone))
            return false;
        if (currentGone && previousGone) {
            if (++i < order.size())
                previous = order[i];
        } else if (!currentGone) {
            previous = current;
        }
    }
    std::sort(gone.begin(), gone.end());
    for (auto place = gone.rbegin(); place != gone.rend(); ++place)
        ring.erase(ring.begin() + *place);
    return ring.size() >= 3;
}

bool Filler::fill(ko::vector<int> const& loop) {
    ring = loop;
    edgesBefore.clear();
    patchFaces.clear();
    swappable.clear();
    density.clear();
    newVertices.clear();
    if (!prepareRing())
        return false;
    for (TopoMeshEdge e = topo.firstEdge(); e; e = e.nextInList())
        edgesBefore.insert(e);

    int const n = int(ring.size());
    ko::vector<Point> polygon;
    for (int const v : ring)
        polygon.push_back(mesh.getVertices()[v].asPoint());
    BitVector forbidden(n * n);
    for (TopoMeshEdge const e : edgesBefore)
        for (int i = 0; i < n; ++i)
            for (int j = 0; e.twin() && e.origin() == at(i) && j < n; ++j)
                if (e.next().origin() == at(j) && at(j).onBoundary())
                    forbidden.setBit(n * i + j);

    ko::vector<int> triangles;
    triangulatePolygon(polygon, triangles, &forbidden, nullptr);
    for (std::size_t t = 0; t < triangles.size(); t += 3) {
        TopoMeshVertex const a = at(triangles[t]), b = at(triangles[t + 1]),
                             c = at(triangles[t + 2]);
        if (TopoMesh::findEdge(b, a) || TopoMesh::findEdge(a, c) || TopoMesh::findEdge(c, b))
            return false;
    }
    for (std::size_t t = 0; t < triangles.size(); t += 3)
        patchFaces.push_back(
            topo.allocTriangle(at(triangles[t + 1]), at(triangles[t]), at(triangles[t + 2])));
    meshTwin(topo);
    if (quality != HoleQualityFlat)
        refine();
    if (quality != HoleQualityFlat && quality != HoleQualityRefined)
        fair();
    return true;
}

void Filler::refine() {
    for (TopoMeshFace const face : patchFaces) {
        TopoMeshEdge e = face.edge();
        for (int k = 0; k < 3; ++k, e = e.next())
            if (e.twin() && !edgesBefore.count(e) && !edgesBefore.count(e.twin()) &&
                !swappable.count(e.twin()))
                swappable.insert(e);
    }
    for (int const v : ring) {
        double sum = 0.0;
        int const count = adjVertices.numNeighbours(v);
        for (int i = 0; i < count; ++i)
            sum += distance(mesh.getVertices()[v].asPoint(),
                            mesh.getVertices()[adjVertices.neighbours(v)[i]].asPoint());
        density[rep.getTopoMeshVertex(v)] = count > 0 ? sum / count : 0.0;
    }
    double room = 0.0;
    for (TopoMeshFace const face : patchFaces) {
        Point const& p = face.edge().origin().point();
        Point const& q = face.edge().next().origin().point();
        Point const& r = face.edge().prev().origin().point();
        double d[] = {density[face.edge().origin()], density[face.edge().next().origin()],
                      density[face.edge().prev().origin()]};
        std::sort(d, d + 3, [](double x, double y) { return x < y || (y != y && x == x); });
        double const inside = (1.0 + (d[0] > 0.0 ? std::log(d[1] / d[0]) : 0.0)) *
                              cross((q - p) / d[1], (r - p) / d[2]).length();
        room += std::isfinite(inside) ? 1.0 + inside : 1.0;
    }
    mostVertices = 4.0 * room;
    for (int pass = 0; pass < 64 && splitOnce(); ++pass)
        meshSwapEdgesRepeatedly(topo, swappable, swapper);
}

bool Filler::splitOnce() {
    bool anySplit = false;
    ko::list<TopoMeshFace> next;
    for (TopoMeshFace const face : patchFaces) {
        TopoMeshEdge const edges[] = {face.edge(), face.edge().next(), face.edge().prev()};
        Point const c = face.centroid();
        double d = 0.0;
        for (TopoMeshEdge const e : edges)
            d += density[e.origin()];
        d /= 3.0;
        bool keep = double(newVertices.size()) >= mostVertices;
        for (TopoMeshEdge const e : edges) {
            double const s = std::sqrt(2.0) * distance(c, e.origin().point());
            keep = keep || density[e.origin()] == 0.0 ||
                   e.origin().point() == e.next().origin().point() || !(density[e.origin()] < s) ||
                   !(d < s);
        }
        if (keep) {
            next.push_back(face);
            continue;
        }
        anySplit = true;
        TopoMeshVertex const v = topo.subdivideFace(face, c);
        density[v] = d;
        newVertices.push_back(v);
        for (TopoMeshEdgeVertexIterator it = {v, v.edge(), 1}; it.edge; it.next()) {
            swappable.insert(it.edge);
            next.push_back(it.edge.face());
        }
        for (TopoMeshEdge const e : edges) {
            bool veto = swappable.count(e) == 0;
            if (!veto)
                MeshEdgeSwapper::minimizeOppositeAngleSum(e, veto);
            if (!veto)
                topo.swapEdge(e);
        }
    }
    patchFaces = next;
    return anySplit;
}

void Filler::fair() {
    int const n = int(newVertices.size());
    ConjugateGradient solver(3 * n);
    NVector b(3 * n);
    NVector start(3 * n);
    auto const neighbours = [](TopoMeshVertex v) {
        ko::vector<TopoMeshVertex> inside;
        for (TopoMeshEdgeVertexIterator it = {v, v.edge(), 1}; it.edge; it.next())
            if (!it.edge.next().origin().onBoundary())
                inside.push_back(it.edge.next().origin());
        return inside;
    };
    auto const placeOf = [&](TopoMeshVertex v) {
        auto const found = std::find(newVertices.begin(), newVertices.end(), v);
        return found == newVertices.end() ? -1 : int(found - newVertices.begin());
    };
    auto const contribute = [&](int row, TopoMeshVertex u, double g) {
        ko::vector<TopoMeshVertex> const around = neighbours(u);
        double const m = double(around.size());
        for (TopoMeshVertex const y : around)
            for (int c = 0; c < 3; ++c)
                if (int const p = placeOf(y); p >= 0)
                    solver.A().addToElement(3 * row + c, 3 * p + c, g);
                else
                    b[3 * row + c] -= g * coordinate(y, c);
        for (int c = 0; c < 3; ++c)
            if (int const q = placeOf(u); q >= 0)
                solver.A().addToElement(3 * row + c, 3 * q + c, -m * g);
            else
                b[3 * row + c] += m * g * coordinate(u, c);
    };
    for (int i = 0; i < n; ++i) {
        TopoMeshVertex const v = newVertices[std::size_t(i)];
        ko::vector<TopoMeshVertex> const around = neighbours(v);
        contribute(i, v, -double(around.size()));
        for (TopoMeshVertex const w : around)
            contribute(i, w, 1.0);
        for (int c = 0; c < 3; ++c)
            start[3 * i + c] = coordinate(v, c);
    }
    solver.initDiagonalPreconditioner();
    solver.initialize(b, start);
    for (int iteration = 0; iteration < 3 * n; ++iteration)
        if (solver.iterate(epsilonTol, epsilonTol).isDone())
            break;
    for (int i = 0; i < n; ++i)
        topo.setPoint(newVertices[std::size_t(i)],
                      Point(solver.x()[3 * i], solver.x()[3 * i + 1], solver.x()[3 * i + 2]));
}

}  // namespace

int fillHolesSlowly(CompactMesh& mesh, std::vector<int> const& holes, HoleQuality quality) {
    MeshAdjTris adjTris;
    MeshAdjVertices adjVertices;
    MeshBoundaries boundaries;
    meshAdjTris(mesh, adjTris);
    meshAdjVertices(mesh, adjTris, adjVertices);
    meshComputeBoundary(mesh, adjTris, adjVertices, boundaries);

    BitVector vertices(mesh.getNumVertices());
    BitVector triangles(mesh.getNumTriangles());
    for (int const hole : holes)
        for (int const* v = boundaries.getStart(hole); v != boundaries.getEnd(hole); ++v)
            vertices.setBit(*v);
    MeshSelect select(mesh, adjTris, triangles, vertices);
    select.selectTrianglesFromVertices(2);
    select.selectTrianglesRecursive(true);
    select.selectTrianglesRecursive(true);
    select.selectVerticesFromTriangles();
    MeshModifyRep rep(mesh, triangles, vertices, adjTris);
    TopoMesh& topo = rep.extract();

    Filler filler{mesh, adjVertices, rep, topo, quality, {}, {}, {}, {}, {}, {}, {}, 0.0};
    filler.swapper.getVetoSignal().addCallback(new koRTB::Function2ArgsGlobal<TopoMeshEdge, bool&>(
        &MeshEdgeSwapper::minimizeOppositeAngleSum));
    int numFilled = 0;
    for (int const hole : holes)
        numFilled +=
            filler.fill(ko::vector<int>(boundaries.getStart(hole), boundaries.getEnd(hole)));
    if (numFilled > 0)
        rep.merge();
    return numFilled;
}

}  // namespace support
