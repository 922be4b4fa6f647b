#include "trimora/stitch/detail/SeamCursor.h"

#include "trimora/contract/koLinear/lines.h"
#include "trimora/stitch/detail/openEdges.h"

#include <cmath>

namespace koGeom::detail {

namespace {

constexpr double rightAngle = 1.5707963267948966;
constexpr double angleSlack = 0.08726646259971647;  // 5 degrees

Normal directionOf(TopoMeshVertex from, TopoMeshVertex to) {
    return Normal(to.point() - from.point());
}

double lengthOf(TopoMeshEdge e) {
    return distance(e.origin().point(), endOf(e).point());
}

}  // namespace

SeamCursor::SeamCursor(TopoMesh& mesh, SeamEnds& ends, SeamChains const& chains, double tolerance)
    : mesh_(mesh),
      ends_(ends),
      edgeA_(chains.a.front()),
      edgeB_(chains.b.back()),
      numSteps_(chains.a.size() + chains.b.size()),
      tolerance_(tolerance) {}

TopoMeshVertex SeamCursor::currentA() const {
    return endOf(edgeA_);
}

void SeamCursor::stepA() {
    edgeA_ = openEdgeAfter(edgeA_);
}

void SeamCursor::stepB() {
    edgeB_ = openEdgeBefore(edgeB_);
}

bool SeamCursor::run() {
    mesh_.setPoint(ends_.startB, ends_.startA.point());
    mesh_.setPoint(ends_.endB, ends_.endA.point());
    // The place of the first vertex ahead, not of the start: a first vertex of B that lies behind the start thus meets a
    // new vertex beside the first one of A.
    last_ = currentA().point();

    while (!(isAtEndA() && isAtEndB())) {
        if (numSteps_-- == 0 || !step())
            return false;
    }
    return true;
}

bool SeamCursor::step() {
    if (!mesh_.contains(edgeA_) || !mesh_.contains(edgeB_))
        return false;
    Point const a = currentA().point();
    Point const b = currentB().point();
    if (isAtEndA())
        return insertOnA(combine(last_, a));
    if (isAtEndB())
        return insertOnB(a);
    if (turnAway() && contractShorter())
        return true;

    ParamLine const line(edgeA_.origin().point(), a);
    double const u = projectParam(b, line);
    if (u < 0.0 || std::abs(u) < tolerance_)
        return insertOnA(combine(last_, a));
    if (std::abs(u - 1.0) < tolerance_) {
        stepBoth(a);
        return true;
    }
    if (u < 1.0)
        return insertOnA(line.eval(u));
    return insertOnB(a);
}

/// currentB gets a partner on A's edge.
bool SeamCursor::insertOnA(Point const& place) {
    if (!canSplitOpenEdge(mesh_, edgeA_))
        return false;
    splitOpenEdge(mesh_, edgeA_, place);
    stepA();
    mesh_.setPoint(currentB(), place);
    stepB();
    last_ = place;
    return true;
}

/// currentA gets a partner on B's edge, which keeps its origin.
bool SeamCursor::insertOnB(Point const& place) {
    if (!canSplitOpenEdge(mesh_, edgeB_))
        return false;
    splitOpenEdge(mesh_, edgeB_, place);
    stepA();
    last_ = place;
    return true;
}

void SeamCursor::stepBoth(Point const& place) {
    mesh_.setPoint(currentB(), place);
    stepA();
    stepB();
    last_ = place;
}

/// An edge without length turns away from everything.
bool SeamCursor::turnAway() const {
    Normal const alongA = directionOf(edgeA_.origin(), currentA());
    Normal const alongB = directionOf(endOf(edgeB_), currentB());
    return angle(alongA, alongB) + angleSlack > rightAngle;
}

bool SeamCursor::contractShorter() {
    return lengthOf(edgeB_) > lengthOf(edgeA_) ? contractA() : contractB();
}

/// A contraction must not take the last triangle of a surface, nor that of the other chain's edge.
bool SeamCursor::canContract(TopoMeshEdge e, TopoMeshEdge other) const {
    bool const isLoose = isInTriangle(e) && !e.next().twin() && !e.prev().twin();
    return !isLoose && e.face() != other.face() && mesh_.canContractEdge(e);
}

//                                          The matched end s of A's edge stays; the vertex ahead goes.
//    <- w <--- v <-e- s <-                 Where e and the edge after it are two sides of one triangle, its third side
//           \  f  /         ->  <- w <- s <-   comes to the boundary in their place.
bool SeamCursor::contractA() {
    TopoMeshEdge const e = edgeA_;
    if (e.origin() == ends_.startA || !canContract(e, edgeB_))
        return false;
    TopoMeshEdge const after = openEdgeAfter(e);
    bool const isEar = isInTriangle(e) && after == e.next();
    TopoMeshEdge const following = isEar ? e.prev().twin() : after;
    TopoMeshVertex const gone = endOf(e);

    ends_.replace(gone, mesh_.contractEdge(e));
    edgeA_ = following;
    return true;
}

/// The same on B, where e leaves the vertex ahead: that handle survives, in the place of the matched end.
bool SeamCursor::contractB() {
    TopoMeshEdge const e = edgeB_;
    if (!canContract(e, edgeA_))
        return false;
    TopoMeshEdge const before = openEdgeBefore(e);
    bool const isEar = isInTriangle(e) && before == e.prev();
    TopoMeshEdge const following = isEar ? e.next().twin() : before;
    TopoMeshVertex const gone = endOf(e);
    Point const place = gone.point();

    TopoMeshVertex const kept = mesh_.contractEdge(e);
    mesh_.setPoint(kept, place);
    ends_.replace(gone, kept);
    edgeB_ = following;
    return true;
}

}  // namespace koGeom::detail
