#include "support/TopoModificationCounter.h"
#include "support/builders.h"
#include "support/checks.h"
#include "support/topoBuilders.h"

#include "trimora/contract/koLinear/lines.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/topology/MeshEdgeSwapper.h"
#include "trimora/topology/meshTwin.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <map>
#include <numbers>
#include <set>
#include <vector>

using namespace koGeom;
using support::faultOf;
using support::listOf;

namespace {

using Criterion = void (*)(TopoMeshEdge, bool&);
using Callback = koRTB::Function2ArgsGlobal<TopoMeshEdge, bool&>;

/// The two triangles (a, b, c) and (b, a, d) on the edge from a to b.
struct Quad {
    TopoMesh mesh;
    TopoMeshVertex a, b, c, d;
    TopoMeshEdge edge;

    Quad(Point const& pa, Point const& pb, Point const& pc, Point const& pd)
        : a(mesh.allocVertex(pa)),
          b(mesh.allocVertex(pb)),
          c(mesh.allocVertex(pc)),
          d(mesh.allocVertex(pd)),
          edge(mesh.allocTriangle(a, b, c).edge()) {
        mesh.allocTriangle(b, a, d);
    }
    bool isVetoed(Criterion criterion) const {
        bool veto = false;
        criterion(edge, veto);
        return veto;
    }
};

void allowAll(TopoMeshEdge, bool&) {}

/// The criteria as plain formulas.
Normal toward(Point const& from, Point const& to) {
    return Normal(to - from);
}

bool plainAngleVeto(Quad const& q) {
    Point const a = q.a.point(), b = q.b.point(), c = q.c.point(), d = q.d.point();
    double const atC = angle(toward(c, a), toward(c, b));
    double const atD = angle(toward(d, a), toward(d, b));
    double const atB = angle(toward(b, c), toward(b, d));
    double const atA = angle(toward(a, c), toward(a, d));
    return !(atB + atA < atC + atD);
}

bool plainFoldoverVeto(Quad const& q) {
    Point const a = q.a.point(), b = q.b.point(), c = q.c.point(), d = q.d.point();
    Normal const first(cross(b - d, c - d));
    Normal const second(cross(c - d, a - d));
    return !first.valid || !second.valid || angle(first, second) > 1.5707963267948966;
}

bool plainFeatureVeto(Quad const& q) {
    auto const crease = [](Point const& p, Point const& q2, Point const& r, Point const& s,
                           double& fold) {
        Normal const n(cross(r - q2, p - q2));
        Normal const m(cross(s - p, q2 - p));
        fold = isAbove(s, Plane(p, n), epsilonTol) ? -angle(n, m) : angle(n, m);
        return n.valid && m.valid;
    };
    Point const a = q.a.point(), b = q.b.point(), c = q.c.point(), d = q.d.point();
    double present = 0.0, diagonal = 0.0;
    bool const hasPresent = crease(a, b, c, d, present);
    bool const hasDiagonal = crease(d, c, a, b, diagonal);
    return !(hasPresent && hasDiagonal && std::abs(present - diagonal) < 0.04363323129985824);
}

}  // namespace

//          c                    The quadrilateral of most cases here: a = (0, 0), b = (w, 0), c and d above and below the
//        /   \                  middle at height h. Its angles at c and d open as h gets small.
//       a --- b
//        \   /
//          d
namespace {

Quad kite(double w, double h, double fold = 0.0) {
    return Quad(Point(0, 0, 0), Point(w, 0, 0), Point(w / 2, h, 0), Point(w / 2, -h, fold));
}

}  // namespace

TEST_CASE("anEmptySwapperAgreesToNothing") {
    Quad q = kite(4, 1);
    support::TopoModificationCounter const notices(q.mesh);
    MeshEdgeSwapper swapper;
    CHECK_FALSE(swapper.shouldSwap(q.edge));
    CHECK(meshSwapEdgesOnce(q.mesh, swapper) == 0);
    swapper.getVetoSignal();
    CHECK_FALSE(swapper.shouldSwap(q.edge));
    CHECK(meshSwapEdgesRepeatedly(q.mesh, swapper) == 0);
    swapper.getVetoSignal().addCallback(new Callback(&allowAll));
    CHECK(swapper.shouldSwap(q.edge));
    swapper.clearVetoSignal();
    CHECK_FALSE(swapper.shouldSwap(q.edge));
    CHECK(notices.total() == 0);
    CHECK_FALSE(swapper.shouldSwap(TopoMeshEdge()));
}

namespace {

std::string asked;
void askA(TopoMeshEdge, bool& veto) {
    asked += veto ? 'A' : 'a';
    veto = true;
}
void askB(TopoMeshEdge, bool& veto) {
    asked += veto ? 'B' : 'b';
}

struct Bystander {
    int numAsked = 0;
    void ask(TopoMeshEdge, bool&) { ++numAsked; }
};

}  // namespace

TEST_CASE("allCallbacksAreAskedInOrderAlsoAfterAVeto") {
    Quad q = kite(4, 1);
    MeshEdgeSwapper swapper;
    Bystander bystander;
    swapper.getVetoSignal().addCallback(new Callback(&askB));
    koRTB::Connection* const forbidding = swapper.getVetoSignal().addCallback(new Callback(&askA));
    swapper.getVetoSignal().addCallback(new Callback(&askB));
    swapper.getVetoSignal().addCallback(
        new koRTB::Function2ArgsMember<TopoMeshEdge, bool&, Bystander>(&bystander,
                                                                       &Bystander::ask));
    asked.clear();
    CHECK_FALSE(swapper.shouldSwap(q.edge));
    CHECK(asked == "baB");
    CHECK(bystander.numAsked == 1);
    forbidding->setBlocked(true);
    CHECK(swapper.shouldSwap(q.edge));
    CHECK(asked == "baBbb");

    CHECK_FALSE(swapper.shouldSwap(q.edge.next()));  // on the boundary: nobody is asked
    CHECK(asked == "baBbb");
    CHECK(meshSwapEdgesOnce(q.mesh, swapper) == 1);
    CHECK(asked == "baBbbbb");
    CHECK(bystander.numAsked == 3);
}

TEST_CASE("aCriterionOnlyEverSetsTheFlag") {
    Quad q = kite(4, 1);
    for (Criterion criterion :
         {&MeshEdgeSwapper::minimizeOppositeAngleSum, &MeshEdgeSwapper::preserveBoundary,
          &MeshEdgeSwapper::preserveFeatures, &MeshEdgeSwapper::preventFoldover}) {
        bool veto = true;
        criterion(q.edge, veto);
        CHECK(veto);
        for (TopoMeshEdge const open : {q.edge.next(), TopoMeshEdge()}) {
            veto = false;
            criterion(open, veto);
            CHECK(veto);
        }
    }
}

TEST_CASE("anglesOppositeTheDiagonalMustGetSmaller") {
    CHECK_FALSE(kite(4, 1).isVetoed(&MeshEdgeSwapper::minimizeOppositeAngleSum));
    CHECK(kite(1, 4).isVetoed(&MeshEdgeSwapper::minimizeOppositeAngleSum));
    CHECK(kite(2, 1).isVetoed(&MeshEdgeSwapper::minimizeOppositeAngleSum));  // a tie
    double const nan = std::numeric_limits<double>::quiet_NaN();
    double const infinity = std::numeric_limits<double>::infinity();
    for (double const bad : {nan, infinity}) {
        CHECK(kite(4, bad).isVetoed(&MeshEdgeSwapper::minimizeOppositeAngleSum));
        CHECK(kite(bad, 1).isVetoed(&MeshEdgeSwapper::minimizeOppositeAngleSum));
        CHECK(kite(4, 1, bad).isVetoed(&MeshEdgeSwapper::preventFoldover));
        CHECK(kite(4, 1, bad).isVetoed(&MeshEdgeSwapper::preserveFeatures));
    }
}

//  All sizes, all degeneracies, and many quadrilaterals whose corners lie on one circle but for the last bits: there the
//  criteria must agree with their definition bit for bit.
TEST_CASE("criteriaAgreeWithTheirDefinition") {
    support::Random random(11);
    int numVetoes = 0;
    int const numQuads = 60000;
    for (int i = 0; i < numQuads; ++i) {
        double const size = std::pow(10.0, random.real(-3.0, 3.0) * (i % 16 == 0 ? 50.0 : 1.0));
        double const noise = std::pow(10.0, random.real(-18.0, 0.0));
        Point p[4];
        for (int k = 0; k < 4; ++k) {
            double const t = random.real(0.0, 1.6) + 1.57 * ((k % 2) * 2 + k / 2);
            switch (i % 4) {
            case 0:
                p[k] = Point(std::cos(t), std::sin(t), 0);
                break;
            case 1:
                p[k] = Point(random.index(3), random.index(3), random.index(2));
                break;
            case 2:
                p[k] = Point(k % 2, k / 2, 0);
                break;
            default:
                p[k] = Point(random.real(0, 1), random.real(0, 1), random.real(0, 1));
            }
            p[k] += Vector(random.real(-1, 1), random.real(-1, 1), random.real(-1, 1)) *
                    (i % 3 == 0 ? 0.0 : noise);
            p[k] = (p[k].asVector() * size).asPoint();
        }
        Quad const q(p[0], p[1], p[2], p[3]);
        bool const veto = q.isVetoed(&MeshEdgeSwapper::minimizeOppositeAngleSum);
        bool const same = veto == plainAngleVeto(q) &&
                          q.isVetoed(&MeshEdgeSwapper::preventFoldover) == plainFoldoverVeto(q) &&
                          q.isVetoed(&MeshEdgeSwapper::preserveFeatures) == plainFeatureVeto(q);
        if (!same)
            CHECK_MESSAGE(same, "quadrilateral ", i);
        numVetoes += veto;
    }
    CHECK(numVetoes > numQuads / 5);
    CHECK(numVetoes < 4 * numQuads / 5);
}

TEST_CASE("newTrianglesMayStandAtRightAnglesAndNoSteeper") {
    // The swap makes (c, d, b) and (a, d, c): with c and d on the x axis, b and a are turned about it.
    auto const folded = [](double ay, double az) {
        return Quad(Point(0.5, ay, az), Point(0.5, 1, 0), Point(1, 0, 0), Point(0, 0, 0));
    };
    CHECK_FALSE(folded(-1, 0).isVetoed(&MeshEdgeSwapper::preventFoldover));
    CHECK_FALSE(folded(-1, 1).isVetoed(&MeshEdgeSwapper::preventFoldover));
    CHECK_FALSE(folded(0, 1).isVetoed(&MeshEdgeSwapper::preventFoldover));  // exactly
    CHECK_FALSE(folded(0, -1).isVetoed(&MeshEdgeSwapper::preventFoldover));
    CHECK(folded(1e-9, 1).isVetoed(&MeshEdgeSwapper::preventFoldover));
    CHECK(folded(1, 1).isVetoed(&MeshEdgeSwapper::preventFoldover));
    CHECK(folded(0, 0).isVetoed(&MeshEdgeSwapper::preventFoldover));  // no triangle
}

TEST_CASE("creasesStayUnlessTheDiagonalHasTheSame") {
    double const degree = std::numbers::pi / 180.0;
    auto const vetoAt = [degree](double degrees) {  // d turned about the edge
        return Quad(Point(0, 0, 0), Point(1, 0, 0), Point(0.5, 1, 0),
                    Point(0.5, -std::cos(degrees * degree), std::sin(degrees * degree)))
            .isVetoed(&MeshEdgeSwapper::preserveFeatures);
    };
    CHECK_FALSE(vetoAt(0.0));
    CHECK(vetoAt(30.0));
    CHECK(vetoAt(-30.0));
    // The diagonal folds the other way, here by twice as much: 0.8 degrees are 2.4 together, 0.9 are 2.7.
    CHECK_FALSE(vetoAt(0.8));
    CHECK(vetoAt(0.9));
    // A regular tetrahedron without two faces folds alike at the edge and at the diagonal, but one way up and one way down.
    CHECK(Quad(Point(1, 1, 1), Point(-1, -1, 1), Point(1, -1, -1), Point(-1, 1, -1))
              .isVetoed(&MeshEdgeSwapper::preserveFeatures));
    CHECK(kite(4, 0).isVetoed(&MeshEdgeSwapper::preserveFeatures));
}

//   6---7---8      grid(2, 2): vertex 4 alone is inside. Its edges to the boundary would give way to edges between two
//   | / | / |      boundary vertices; 1-5 and 3-7 are such edges already.
//   3---4---5
//   | / | / |
//   0---1---2
TEST_CASE("edgesBetweenBoundaryVerticesAreNeitherMadeNorRemoved") {
    TopoMesh mesh;
    std::vector<TopoMeshVertex> const v = support::fill(mesh, support::grid(2, 2));
    auto const isVetoed = [&v](std::size_t from, std::size_t to) {
        bool veto = false;
        MeshEdgeSwapper::preserveBoundary(TopoMesh::findEdge(v[from], v[to]), veto);
        return veto;
    };
    CHECK(isVetoed(1, 5));  // boundary to boundary
    CHECK(isVetoed(5, 1));
    CHECK(isVetoed(0, 4));  // would join 1 and 3
    CHECK(isVetoed(4, 1));  // would join 0 and 5
    TopoMesh closed;
    std::vector<TopoMeshVertex> const w = support::fill(closed, support::octahedron());
    bool veto = false;
    MeshEdgeSwapper::preserveBoundary(closed.firstEdge(), veto);
    CHECK_FALSE(veto);
    TopoMesh larger;
    std::vector<TopoMeshVertex> const u = support::fill(larger, support::grid(4, 4));
    MeshEdgeSwapper::preserveBoundary(TopoMesh::findEdge(u[12], u[6]), veto);  // all four inside
    CHECK_FALSE(veto);
    MeshEdgeSwapper::preserveBoundary(TopoMesh::findEdge(u[6], u[0]), veto);
    CHECK(veto);
}

TEST_CASE("twoSwapsOfAnyEdgeRestoreTheConnectivity") {
    for (support::NamedMesh const& named : support::manifoldZoo()) {
        CAPTURE(named.name);
        TopoMesh mesh;
        support::fill(mesh, named.mesh);
        std::vector<void const*> const before = support::digestOf(mesh, false);
        int numSwaps = 0;
        for (TopoMeshEdge e : listOf(mesh.firstEdge())) {
            if (!mesh.swapEdge(e))
                continue;
            ++numSwaps;
            REQUIRE(mesh.swapEdge(e));
        }
        CHECK(support::digestOf(mesh, false) == before);
        CHECK(faultOf(mesh) == "");
        CHECK((numSwaps > 0 || mesh.numFaces() <= 4));
    }
}

namespace {

std::vector<TopoMeshEdge> askedEdges;
void noteEdge(TopoMeshEdge edge, bool& veto) {
    askedEdges.push_back(edge);
    veto = askedEdges.size() % 3 != 0;
}

}  // namespace

TEST_CASE("aPassAsksTheElderHalfOfEachEdgeInTheOrderOfTheList") {
    for (support::NamedMesh const& named : support::zoo()) {
        CAPTURE(named.name);
        TopoMesh mesh;
        support::fill(mesh, support::shuffled(named.mesh, 7));
        meshTwin(mesh);
        std::vector<TopoMeshEdge> elders;
        for (TopoMeshEdge e : listOf(mesh.firstEdge()))
            if (e.twin() && e.record()->number < e.twin().record()->number)
                elders.push_back(e);
        MeshEdgeSwapper swapper;
        swapper.getVetoSignal().addCallback(new Callback(&noteEdge));
        askedEdges.clear();
        meshSwapEdgesOnce(mesh, swapper);
        CHECK(askedEdges == elders);

        ko::vector<TopoMeshEdge> const given(elders.rbegin(), elders.rend());
        askedEdges.clear();
        meshSwapEdgesOnce(mesh, given, swapper);
        CHECK(askedEdges == given);
        ko::set<TopoMeshEdge, ko::less<TopoMeshEdge>> const sorted(given.begin(), given.end());
        askedEdges.clear();
        meshSwapEdgesOnce(mesh, sorted, swapper);
        CHECK(askedEdges == elders);
    }
}

TEST_CASE("aPassTreatsEachEdgeOnceAndGivenEdgesAsOftenAsTheyAreGiven") {
    for (int form = 0; form < 4; ++form) {
        CAPTURE(form);
        Quad q = kite(4, 1);
        support::TopoModificationCounter const notices(q.mesh);
        MeshEdgeSwapper swapper;
        swapper.getVetoSignal().addCallback(new Callback(&allowAll));
        std::vector<void const*> const before = support::digestOf(q.mesh, false);
        ko::vector<TopoMeshEdge> list = {q.edge, q.edge.next(), TopoMeshEdge(), q.edge.twin()};
        ko::set<TopoMeshEdge, ko::less<TopoMeshEdge>> set(list.begin(), list.end());
        int const numSwaps =
            form == 0   ? meshSwapEdgesOnce(q.mesh, swapper)
            : form == 1 ? meshSwapEdgesOnce(q.mesh, list, swapper)
            : form == 2 ? meshSwapEdgesOnce(q.mesh, set, swapper)
                        : meshSwapEdgesOnce(q.mesh, ko::vector<TopoMeshEdge>{q.edge}, swapper);
        CHECK(numSwaps == (form == 1 || form == 2 ? 2 : 1));
        CHECK(notices.total() == 1);
        CHECK((support::digestOf(q.mesh, false) == before) == (numSwaps == 2));
        CHECK(faultOf(q.mesh) == "");
    }
}

namespace {

/// Points of a plane, triangulated as a grid that has been shaken: most triangles are poor.
void fillShaken(TopoMesh& mesh, int size, std::uint64_t seed) {
    support::Random random(seed);
    CompactMesh grid = support::grid(size, size);
    for (int v = 0; v < grid.getNumVertices(); ++v) {
        grid.getVertices()[v].x += static_cast<float>(random.real(-0.24, 0.24));
        grid.getVertices()[v].y += static_cast<float>(random.real(-0.24, 0.24));
    }
    support::fill(mesh, grid);
}

int numNonDelaunay(TopoMesh const& mesh) {
    int count = 0;
    for (TopoMeshEdge e : listOf(mesh.firstEdge())) {
        if (!e.twin())
            continue;
        Point const a = e.origin().point(), b = e.next().origin().point();
        Point const c = e.prev().origin().point(), d = e.twin().prev().origin().point();
        count += angle(toward(c, a), toward(c, b)) + angle(toward(d, a), toward(d, b)) >
                 std::numbers::pi + 1e-9;
    }
    return count;
}

void wrappedAngleSum(TopoMeshEdge edge, bool& veto) {
    MeshEdgeSwapper::minimizeOppositeAngleSum(edge, veto);
}

}  // namespace

TEST_CASE("repeatedSwapsOfAPlaneEndInTheDelaunayTriangulation") {
    for (std::uint64_t seed = 0; seed < 5; ++seed) {
        TopoMesh mesh;
        fillShaken(mesh, 12, seed);
        support::TopoModificationCounter const notices(mesh);
        REQUIRE(numNonDelaunay(mesh) > 0);
        MeshEdgeSwapper swapper;
        swapper.getVetoSignal().addCallback(
            new Callback(&MeshEdgeSwapper::minimizeOppositeAngleSum));
        swapper.getVetoSignal().addCallback(new Callback(&MeshEdgeSwapper::preventFoldover));
        CHECK(meshSwapEdgesRepeatedly(mesh, swapper) > 0);
        CHECK(notices.types() == std::vector<int>{TopoMeshModification::Topology});
        CHECK(numNonDelaunay(mesh) == 0);
        CHECK(notices.total() == 1);
        CHECK(meshSwapEdgesRepeatedly(mesh, swapper) == 0);
        CHECK(notices.total() == 1);
        CHECK(faultOf(mesh) == "");
    }
}

namespace {

int numLeft = 0;
void allowSome(TopoMeshEdge, bool& veto) {
    veto = veto || --numLeft < 0;
}

struct Stubborn : MeshEdgeSwapper {
    bool shouldSwap(TopoMeshEdge edge) override {
        return MeshEdgeSwapper::shouldSwap(edge) && ++numAsked <= 1000;
    }
    int numAsked = 0;
};

}  // namespace

// On a flat square preserveFeatures allows the swap there and the swap back, for ever.
TEST_CASE("passesThatOnlyRepeatAreStoppedWhenNobodyElseHasASay") {
    for (int form = 0; form < 3; ++form) {
        CAPTURE(form);
        Quad q = kite(4, 1);
        support::TopoModificationCounter const notices(q.mesh);
        MeshEdgeSwapper swapper;
        swapper.getVetoSignal().addCallback(new Callback(&MeshEdgeSwapper::preserveFeatures));
        CHECK(swapper.decidesByMeshAlone());
        int const numSwaps =
            form == 0   ? meshSwapEdgesRepeatedly(q.mesh, swapper)
            : form == 1 ? meshSwapEdgesRepeatedly(q.mesh, ko::vector<TopoMeshEdge>{q.edge}, swapper)
                        : meshSwapEdgesRepeatedly(
                              q.mesh, ko::set<TopoMeshEdge, ko::less<TopoMeshEdge>>{q.edge.twin()},
                              swapper);
        CHECK(numSwaps == 66);  // 64, and the two that bring the 64th state back
        CHECK(notices.total() == 1);
    }
    // Polygons side by side, each with a cycle of its own length: the state of all of them returns after 10 passes or so.
    TopoMesh mesh;
    for (int const sides : {4, 5, 4, 5, 3}) {
        std::vector<TopoMeshVertex> const v = support::fillPolygon(mesh, sides);
        TopoMeshFace const f = v[0].edge().face();
        while (f.numVertices() > 3)
            mesh.subdivideFace(f, f.edge().origin(), f.edge().next().next().origin());
    }
    REQUIRE(mesh.numFaces() == 11);
    MeshEdgeSwapper swapper;
    swapper.getVetoSignal().addCallback(new Callback(&MeshEdgeSwapper::preserveFeatures));
    swapper.getVetoSignal().addCallback(new Callback(&MeshEdgeSwapper::preventFoldover));
    CHECK(meshSwapEdgesRepeatedly(mesh, swapper) > 4 * 64);
    CHECK(faultOf(mesh) == "");

    Quad q = kite(4, 1);
    swapper.getVetoSignal().addCallback(new Callback(&allowSome));
    CHECK_FALSE(swapper.decidesByMeshAlone());
    numLeft = 1001;
    CHECK(meshSwapEdgesRepeatedly(q.mesh, swapper) == 1001);

    Stubborn stubborn;
    stubborn.getVetoSignal().addCallback(new Callback(&MeshEdgeSwapper::preserveFeatures));
    CHECK_FALSE(stubborn.decidesByMeshAlone());
    CHECK(meshSwapEdgesRepeatedly(q.mesh, stubborn) == 1000);
}

namespace {

/// A few triangles with some vertices far off their places: as folds open, passes go through hundreds of states that never
/// come again, before they run in a circle.
void fillTangled(TopoMesh& mesh, std::uint64_t seed) {
    support::Random random(seed);
    int const numX = 2 + random.index(5);
    int const numY = 1 + random.index(3);
    CompactMesh grid = support::grid(numX, numY);
    int const numOff = 1 + random.index(4);
    auto const between = [&random](double low, double high) {
        return static_cast<float>(random.real(low, high));
    };
    for (int v = 0; v < grid.getNumVertices(); ++v) {
        grid.getVertices()[v].x += between(-0.3, 0.3);
        grid.getVertices()[v].y += between(-0.3, 0.3);
        if (random.index(3) == 0)
            grid.getVertices()[v].z += between(-0.6, 0.6);
    }
    for (int i = 0; i < numOff; ++i) {
        MeshVertex& v = grid.getVertices()[random.index(grid.getNumVertices())];
        v.x = between(-2.0, numX + 2.0);
        v.y = between(-2.0, numY + 2.0);
    }
    support::fill(mesh, grid);
}

void letFoldsOpen(MeshEdgeSwapper& swapper) {
    swapper.getVetoSignal().addCallback(new Callback(&MeshEdgeSwapper::preventFoldover));
}

}  // namespace

// The circle is seen at the second visit of the state after pass 64, 128, 256 and so on, whichever lies on it first.
TEST_CASE("aCircleThatIsReachedLateIsSeenToo") {
    for (std::uint64_t const seed : {86u, 96u}) {
        CAPTURE(seed);
        TopoMesh stepped;
        fillTangled(stepped, seed);
        MeshEdgeSwapper swapper;
        letFoldsOpen(swapper);
        std::map<std::vector<void const*>, int> passOf;
        std::vector<int> swaps = {0};  // by pass
        int start = 0;
        int length = 0;
        while (length == 0 && swaps.size() < 1500) {
            swaps.push_back(meshSwapEdgesOnce(stepped, swapper));
            int const pass = static_cast<int>(swaps.size()) - 1;
            auto const [known, isNew] = passOf.emplace(support::digestOf(stepped, false), pass);
            start = known->second;
            length = pass - start;
        }
        REQUIRE(length > 0);
        CHECK(start > 128);
        int kept = 64;
        while (kept < start || length > kept)
            kept *= 2;
        int numExpected = 0;
        for (int pass = 1; pass <= kept + length; ++pass)
            numExpected += swaps[static_cast<std::size_t>(
                pass <= start ? pass : start + 1 + (pass - start - 1) % length)];
        TopoMesh mesh;
        fillTangled(mesh, seed);
        CHECK(meshSwapEdgesRepeatedly(mesh, swapper) == numExpected);
    }
}

namespace {

/// All half-edges, the latest first.
ko::vector<TopoMeshEdge> lastFirst(TopoMesh const& mesh) {
    std::vector<TopoMeshEdge> const list = listOf(mesh.firstEdge());
    return {list.rbegin(), list.rend()};
}

}  // namespace

// A convex curve triangulated as a fan from one end, swapped one edge a pass: hundreds of passes, all of them needed.
TEST_CASE("aLongRunThatEndsIsNotCutShort") {
    int const numPoints = 160;
    auto const build = [](TopoMesh& mesh) {
        std::vector<TopoMeshVertex> v;
        for (int i = 0; i < numPoints; ++i)
            v.push_back(mesh.allocVertex(Point(i * 0.01, 0.0001 * i * i, 0.0)));
        for (std::size_t i = 1; i + 1 < v.size(); ++i)
            mesh.allocTriangle(v.back(), v[i - 1], v[i]);
    };
    TopoMesh watched;
    TopoMesh free;
    build(watched);
    build(free);
    MeshEdgeSwapper ready;
    ready.getVetoSignal().addCallback(new Callback(&MeshEdgeSwapper::minimizeOppositeAngleSum));
    MeshEdgeSwapper wrapped;
    wrapped.getVetoSignal().addCallback(new Callback(&wrappedAngleSum));
    CHECK(ready.decidesByMeshAlone());
    CHECK_FALSE(wrapped.decidesByMeshAlone());

    int numPasses = 0;
    int numSwaps = 0;
    ko::vector<TopoMeshEdge> const edges = lastFirst(free);
    for (int n = 1; n > 0; ++numPasses)
        numSwaps += n = meshSwapEdgesOnce(free, edges, wrapped);
    CHECK(numPasses > 130);
    CHECK(meshSwapEdgesRepeatedly(watched, lastFirst(watched), ready) == numSwaps);
    CHECK(support::facesOf(watched) == support::facesOf(free));
    CHECK(numNonDelaunay(watched) == 0);
}
