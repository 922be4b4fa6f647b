#include "support/TopoModificationCounter.h"
#include "support/corpus.h"
#include "surfaceCuts.h"

#include "trimora/assembly/meshReadObj.h"
#include "trimora/contract/koLinear/ranges.h"

#include <array>
#include <doctest/doctest.h>
#include <filesystem>
#include <limits>
#include <numeric>

using namespace koGeom;
using namespace curves;

//   .---.---.       the curve runs from the left to the right border, half way up
//   | / | / |
//   x-x-x-x-x
//   | / | / |
//   .---.---.
TEST_CASE("aCurveFromBorderToBorderPartsTheMesh") {
    for (Conditioning const conditioning : {Conditioning::Off, Conditioning::On}) {
        Surface surface(support::grid(4, 3));
        Shape const before(surface.mesh);
        Cut cut(surface, {surface.straight({0.0, 1.4}, {4.0, 1.3})}, conditioning);
        CHECK(cut.result);
        CHECK(faultAfterCut(surface.mesh) == "");
        Shape const after(surface.mesh);
        CHECK(after.components == 2);
        CHECK(after.boundaries == 2);
        CHECK(after.euler == before.euler + 1);
        CHECK(after.area == doctest::Approx(12.0).epsilon(1e-6));
        for (auto const& point : cut.all.front())
            CHECK(point->kind == TopoMeshPoint::OnVertex);
    }
}

TEST_CASE("aCurveAlongEdgesOnlyOpensThem") {
    Surface surface(support::grid(4, 4));
    Cut cut(surface, {surface.polyline({{2, 0}, {2, 1}, {3, 2}, {3, 3}, {3, 4}})});
    CHECK(cut.result);
    CHECK(faultAfterCut(surface.mesh) == "");
    CHECK(surface.mesh.numFaces() == 32);
    CHECK(surface.mesh.numVertices() == 25 + 5);
    CHECK(Shape(surface.mesh).components == 2);

    SUBCASE("up to where it ends inside") {
        Surface slit(support::grid(4, 4));
        Cut cutOfSlit(slit, {slit.polyline({{2, 0}, {2, 1}, {2, 2}})}, Conditioning::Off, false);
        CHECK(cutOfSlit.result);
        CHECK(faultAfterCut(slit.mesh) == "");
        CHECK(slit.mesh.numVertices() == 25 + 2);
        CHECK(Shape(slit.mesh).boundaries == 1);
    }
    SUBCASE("and a slit inside, given by two curves towards its middle") {
        Surface slit(support::grid(4, 4));
        Cut cutOfSlit(slit, {slit.polyline({{1, 2}, {2, 2}}), slit.polyline({{3, 2}, {2, 2}})},
                      Conditioning::Off, false);
        CHECK(cutOfSlit.result);
        CHECK(faultAfterCut(slit.mesh) == "");
        CHECK(slit.mesh.numVertices() == 25 + 1);
        CHECK(Shape(slit.mesh).boundaries == 2);
    }
}

TEST_CASE("aClosedCurveInsideMakesAHoleAndAPatch") {
    for (Conditioning const conditioning : {Conditioning::Off, Conditioning::On}) {
        Surface surface(support::grid(5, 5));
        Polyline ring = surface.straight({1.3, 1.2}, {3.6, 1.4});
        for (Polyline const& side :
             {surface.straight({3.6, 1.4}, {2.4, 3.7}), surface.straight({2.4, 3.7}, {1.3, 1.2})})
            ring.insert(ring.end(), side.begin() + 1, side.end());
        Cut cut(surface, {ring}, conditioning);
        CHECK(cut.result);
        CHECK(faultAfterCut(surface.mesh) == "");
        Shape const after(surface.mesh);
        CHECK(after.components == 2);
        CHECK(after.boundaries == 3);
        CHECK(after.euler == 1);
        CHECK(after.area == doctest::Approx(25.0).epsilon(1e-6));
    }
}

//        d             e's point is named from the lower face, then from the upper one: one new vertex, which both halves share
//      /   \           .
//    a --x-- b
//      \   /
//        c
TEST_CASE("bothHalvesOfAnEdgeShareItsNewVertex") {
    CompactMesh const mesh =
        support::meshOf({0, 0, 0, 2, 0, 0, 1, -1, 0, 1, 1, 0}, {0, 2, 1, 0, 1, 3});
    Surface surface(mesh);
    TopoMeshFace const lower = surface.faces[0];
    TopoMeshFace const upper = surface.faces[1];
    Cut cut(surface, {{at(lower, 0, 1, 0), at(lower, 0.25, 0, 0.75)},
                      {at(upper, 0.25, 0.75, 0), at(upper, 0, 0, 1)}});
    CHECK(cut.result);
    CHECK(faultAfterCut(surface.mesh) == "");
    // Two vertices at the crossed edge, and a copy at either end of the curve.
    CHECK(surface.mesh.numVertices() == 4 + 2 + 2);
    CHECK(surface.mesh.numFaces() == 4);
    CHECK(Shape(surface.mesh).components == 2);
}

TEST_CASE("cutsWhereThreeCurvesPassThroughOnePointOfAFace") {
    Surface surface(support::grid(1, 1));
    std::vector<Polyline> const three{surface.polyline({{0.5, 0.0}, {0.7, 0.2}, {1.0, 0.5}}),
                                      surface.polyline({{0.7, 0.0}, {0.7, 0.2}, {0.7, 0.7}}),
                                      surface.polyline({{1.0, 0.2}, {0.7, 0.2}, {0.2, 0.2}})};
    Cut cut(surface, three, Conditioning::Off, false);
    CHECK(cut.result);
    CHECK(faultAfterCut(surface.mesh) == "");
    CHECK(Shape(surface.mesh).area == doctest::Approx(1.0));
    CHECK(surface.mesh.numFaces() > 10);
}

//            1         two ways from corner to corner through one triangle: whichever comes first, however it runs, the lens
//           /|         between them comes loose from the corner piece below and from the rest above
//         / /|
//       / / /|
//      0 --- .
TEST_CASE("twoWaysThroughATrianglePartThreePieces") {
    Point2 const zero(0, 0), one(1, 1), upper(0.75, 0.5625), lower(0.75, 0.1875);
    using Corners = std::vector<Point2>;
    std::vector<std::vector<Corners>> const ways{
        {{zero, upper, one}, {zero, lower, one}}, {{zero, lower, one}, {zero, upper, one}},
        {{one, upper, zero}, {zero, lower, one}}, {{one, lower, zero}, {one, upper, zero}},
        {{upper, one, lower, zero, upper}},       {{zero, upper, one, lower, zero}},
        {{lower, one, upper, zero, lower}},       {{one, lower, zero, upper, one}},
        {{zero, lower, one, upper, zero}},
    };
    for (auto const& lines : ways) {
        CAPTURE(&lines - ways.data());
        for (Conditioning const conditioning : {Conditioning::Off, Conditioning::On}) {
            Surface surface(support::grid(2, 2));
            std::vector<Polyline> polylines;
            for (Corners const& line : lines)
                polylines.push_back(surface.polyline(line));
            Cut cut(surface, polylines, conditioning);
            REQUIRE(cut.result);
            CHECK(faultAfterCut(surface.mesh) == "");
            Shape const after(surface.mesh);
            // The corner piece still hangs at the side of the cell to its right.
            REQUIRE(after.partAreas.size() == 2);
            CHECK(after.partAreas[0] == doctest::Approx(0.1875));
            CHECK(after.partAreas[1] == doctest::Approx(4.0 - 0.1875));
        }
    }
    // On a single cell nothing holds the corner piece.
    Surface cell(support::grid(1, 1));
    Cut cut(cell, {cell.polyline({one, upper, zero}), cell.polyline({zero, lower, one})});
    CHECK(cut.result);
    std::vector<double> const areas = Shape(cell.mesh).partAreas;
    REQUIRE(areas.size() == 3);
    CHECK(areas[0] == doctest::Approx(0.1875));
    CHECK(areas[1] == doctest::Approx(0.21875));
    CHECK(areas[2] == doctest::Approx(0.59375));
}

TEST_CASE("curvesMayEndAtOnePointInsideAFace") {
    Surface surface(support::grid(1, 1));
    // The three lie in one triangle; two of its sides belong to the border.
    std::vector<Polyline> const three{
        surface.polyline({{0.5, 0.0}, {0.7, 0.1}, {0.7, 0.2}}),
        surface.polyline({{0.7, 0.2}, {0.8, 0.3}, {1.0, 0.2}}),
        surface.polyline({{1.0, 0.6}, {0.7, 0.2}}),
    };
    Cut cut(surface, three);
    CHECK(cut.result);
    CHECK(faultAfterCut(surface.mesh) == "");
    Shape const after(surface.mesh);
    CHECK(after.components == 3);
    CHECK(after.area == doctest::Approx(1.0));
}

TEST_CASE("aCurveMayCrossItselfAndLeaveThroughTheBorder") {
    Surface surface(support::grid(3, 3));
    Polyline eight = surface.straight({0.0, 0.4}, {2.6, 2.3});
    for (Polyline const& part :
         {surface.straight({2.6, 2.3}, {2.5, 0.6}), surface.straight({2.5, 0.6}, {0.0, 2.7})})
        eight.insert(eight.end(), part.begin() + 1, part.end());
    for (Conditioning const conditioning : {Conditioning::Off, Conditioning::On}) {
        Surface copy(support::grid(3, 3));
        Polyline moved;
        for (TopoMeshCoord coord : eight) {
            coord.face = copy.faces[coord.face.record()->number];
            moved.push_back(coord);
        }
        Cut cut(copy, {moved}, conditioning);
        CHECK(cut.result);
        CHECK(faultAfterCut(copy.mesh) == "");
        Shape const after(copy.mesh);
        // Outside left, outside right and the loop.
        CHECK(after.components == 3);
        CHECK(after.area == doctest::Approx(9.0).epsilon(1e-6));
    }
}

TEST_CASE("curvesThatShareAStretchOfAnEdgeFollowItTogether") {
    Surface surface(support::grid(2, 2));
    // Along the edge from (1, 0) to (1, 1): up to 0.6, and from 0.3 on.
    Cut cut(surface,
            {surface.polyline({{1.0, 0.0}, {1.0, 0.6}, {0.6, 0.6}, {0.0, 0.5}}),
             surface.polyline({{2.0, 0.5}, {1.5, 0.5}, {1.0, 0.3}, {1.0, 1.0}, {1.0, 2.0}})});
    CHECK(cut.result);
    CHECK(faultAfterCut(surface.mesh) == "");
    Shape const after(surface.mesh);
    CHECK(after.components == 4);
    CHECK(after.area == doctest::Approx(4.0));
}

TEST_CASE("refusesInWordsAndWithAPlaceAndChangesNothing") {
    Surface surface(support::grid(2, 2));
    auto const before = support::digestOf(surface.mesh);
    auto const refused = [&](std::vector<Polyline> const& lines, bool extend = true) {
        Curves all;
        for (Polyline const& line : lines)
            MeshCurveTopology::convert(all, line, tolerance);
        if (extend)
            MeshCurveTopology::extend(all, tolerance);
        MeshCurveTopology topology(surface.mesh, all, tolerance);
        TopoMeshCutResult const result = meshCut(surface.mesh, topology, nullptr);
        CHECK(support::digestOf(surface.mesh) == before);
        return result;
    };
    auto const isCentre = [&](TopoMeshCutResult const& result, std::size_t face) {
        return result.getProblemPoint().face == surface.faces[face] &&
               equivalent(result.getProblemPoint().evaluate(), surface.faces[face].centroid(),
                          1e-12);
    };

    SUBCASE("an end inside a face") {
        auto const result = refused({surface.polyline({{0.5, 0.0}, {0.6, 0.2}})}, false);
        CHECK(result.getStatus() == TopoMeshCutResult::CutEndInFace);
        CHECK(equivalent(result.getProblemPoint().evaluate(), Point(0.6, 0.2, 0.0), 1e-12));
        CHECK_FALSE(result);
    }
    SUBCASE("no curves, or a single point") {
        CHECK(refused({}).getStatus() == TopoMeshCutResult::CutNoCurves);
        Curves all;
        all.emplace_back();
        MeshCurveTopology topology(surface.mesh, all, tolerance);
        CHECK(meshCut(surface.mesh, topology, nullptr).getStatus() ==
              TopoMeshCutResult::CutNoCurves);
    }
    SUBCASE("a loop inside a triangle") {
        auto const result =
            refused({surface.polyline({{0.5, 0.1}, {0.8, 0.1}, {0.8, 0.3}, {0.5, 0.1}})});
        CHECK(result.getStatus() == TopoMeshCutResult::CutInsideFace);
        CHECK(isCentre(result, 0));
    }
    SUBCASE("a loop from a vertex to itself inside a triangle") {
        auto const result =
            refused({surface.polyline({{1.0, 1.0}, {0.8, 0.4}, {0.9, 0.4}, {1.0, 1.0}})});
        CHECK(result.getStatus() == TopoMeshCutResult::CutInsideFace);
        CHECK(isCentre(result, 0));
    }
    SUBCASE("a loop from an edge to itself, made of two curves") {
        auto const result = refused({surface.polyline({{0.5, 0.0}, {0.8, 0.1}, {0.8, 0.3}}),
                                     surface.polyline({{0.8, 0.3}, {0.6, 0.3}, {0.5, 0.0}})});
        CHECK(result.getStatus() == TopoMeshCutResult::CutInsideFace);
        CHECK(isCentre(result, 0));
    }
    SUBCASE("three curves that cross pairwise inside a triangle") {
        auto const result = refused({surface.polyline({{0.5, 0.0}, {1.0, 0.5}}),
                                     surface.polyline({{0.9, 0.0}, {0.5, 0.5}}),
                                     surface.polyline({{0.15, 0.15}, {1.0, 0.2}})});
        CHECK(result.getStatus() == TopoMeshCutResult::CutInsideFace);
        CHECK(isCentre(result, 0));
    }
    SUBCASE("neighbours without a common face") {
        Curves all(1);
        for (Point2 const p : {Point2(0.5, 0.0), Point2(1.5, 0.0)})
            all.front().push_back(new TopoMeshPoint(surface.locate(p.x, p.y), tolerance));
        MeshCurveTopology topology(surface.mesh, all, tolerance);
        auto const result = meshCut(surface.mesh, topology, nullptr);
        CHECK(result.getStatus() == TopoMeshCutResult::CutInsideFace);
        CHECK(isCentre(result, 0));
    }
}

TEST_CASE("aCrossingThatAnotherCurveHasLeftIsNoEnd") {
    Surface surface(support::grid(1, 1));
    // Two curves from the diagonal back to it cross the first one and are trimmed: two points of degree 1 stay in its middle,
    // with nothing but their triangle between them.
    Cut cut(surface, {surface.polyline({{0.5, 0.0}, {0.5, 0.2}, {0.4, 0.4}, {0.0, 0.6}}),
                      surface.polyline({{0.45, 0.25}, {0.55, 0.25}, {0.6, 0.4}}),
                      surface.polyline({{0.45, 0.1}, {0.55, 0.1}, {0.62, 0.3}})});
    CHECK(cut.result);
    CHECK(cut.all.size() == 1);
    CHECK(cut.all.front().size() == 6);
    CHECK(faultAfterCut(surface.mesh) == "");
    CHECK(Shape(surface.mesh).components == 2);
}

TEST_CASE("prefersTheSideOfTheFirstPointBesideAnExistingEdge") {
    Surface surface(support::grid(1, 1));
    // Out of a side and back into it; then along a diagonal that is an edge already, on its other side.
    Cut cut(surface, {surface.polyline({{1.0, 0.2}, {0.8, 0.3}, {1.0, 0.4}}),
                      surface.polyline({{0.0, 0.0}, {0.3, 0.5}, {1.0, 1.0}}),
                      surface.polyline({{0.0, 0.0}, {0.6, 0.4}, {1.0, 1.0}})});
    CHECK(cut.result);
    CHECK(faultAfterCut(surface.mesh) == "");
    Shape const after(surface.mesh);
    CHECK(after.area == doctest::Approx(1.0));
    CHECK(after.components == 4);
}

TEST_CASE("straightLinesFromBorderToBorderPartASquare") {
    // Two lines each: the pieces' areas are known from the lines alone. One pair that once left a closed corner, the rest at
    // random.
    for (std::uint64_t seed = 0; seed < 120; ++seed) {
        CAPTURE(seed);
        support::Random random(seed);
        double ends[4];
        for (double& y : ends)
            y = random.real(0.05, 2.95);
        if (seed == 0) {
            double const once[] = {2.9, 0.8402808376214175, 2.8560896807613925, 1.2856779902081599};
            std::copy(once, once + 4, ends);
        }
        auto const conditioning = seed % 2 == 0 ? Conditioning::On : Conditioning::Off;
        Surface surface(support::grid(3, 3));
        Cut cut(surface,
                {surface.straight({0.0, ends[0]}, {3.0, ends[1]}),
                 surface.straight({0.0, ends[2]}, {3.0, ends[3]})},
                conditioning);
        REQUIRE(cut.result);
        CHECK(faultAfterCut(surface.mesh) == "");
        // Below both, above both, and between them: one piece, or two where the lines cross.
        double const left = std::abs(ends[2] - ends[0]), right = std::abs(ends[3] - ends[1]);
        bool const cross = (ends[2] < ends[0]) != (ends[3] < ends[1]);
        std::vector<double> expected{1.5 * (left + right)};
        if (cross)
            expected = {1.5 * left * left / (left + right), 1.5 * right * right / (left + right)};
        double const between = std::accumulate(expected.begin(), expected.end(), 0.0);
        double const sum = 1.5 * std::accumulate(ends, ends + 4, 0.0);
        expected.push_back(0.5 * (sum - between));
        expected.push_back(9.0 - 0.5 * (sum + between));
        std::sort(expected.begin(), expected.end());
        std::vector<double> const areas = Shape(surface.mesh).partAreas;
        REQUIRE(areas.size() == expected.size());
        for (std::size_t i = 0; i < areas.size(); ++i)
            CHECK(areas[i] == doctest::Approx(expected[i]).epsilon(1e-5));
    }
    // From side to side as well as from top to bottom.
    Surface surface(support::grid(3, 3));
    Cut cut(surface,
            {surface.straight({0.05068435566000795, 3}, {3, 0.8402808376214175}),
             surface.straight({0, 2.8560896807613925}, {3, 1.2856779902081599})},
            Conditioning::On);
    CHECK(cut.result);
    CHECK(faultAfterCut(surface.mesh) == "");
    CHECK(Shape(surface.mesh).partAreas.size() == 4);
}

TEST_CASE("sectionsOfClosedSurfacesKeepTheEulerNumber") {
    struct Case {
        CompactMesh mesh;
        Vector normal;
        double d;
        int boundaries, components;
    };
    Case const cases[] = {
        {support::sphere(3), {0.31, 0.22, 1.0}, 0.123, 2, 2},
        {support::torus(24, 12), {0.11, 0.07, 1.0}, 0.0501, 4, 2},
        {support::torus(24, 12), {1.0, 0.07, 0.03}, 0.111, 4, 2},
        {support::torus(24, 12), {1.0, 0.07, 0.03}, 1.733, 2, 2},
    };
    for (Case const& each : cases) {
        for (Conditioning const conditioning : {Conditioning::Off, Conditioning::On}) {
            Surface surface(each.mesh);
            Shape const before(surface.mesh);
            Cut cut(surface, curves::traceSections(surface.mesh, each.normal, each.d),
                    conditioning);
            CHECK(cut.result);
            CHECK(faultAfterCut(surface.mesh) == "");
            Shape const after(surface.mesh);
            CHECK(after.euler == before.euler);
            CHECK(after.boundaries == each.boundaries);
            CHECK(after.components == each.components);
            double const allowed = conditioning == Conditioning::Off ? 1e-6 : 2e-3;
            CHECK(after.area == doctest::Approx(before.area).epsilon(allowed));
        }
    }
}

TEST_CASE("realMeshesArePartedByAPlane") {
    for (std::string const& path : support::corpus()) {
        if (std::filesystem::file_size(path) > 1500000)
            continue;
        CompactMesh mesh;
        meshReadObj(mesh,
                    koOS::Filename(koString::IString(path.c_str(), koString::Encoding::Native)));
        if (mesh.getNumTriangles() == 0)
            continue;
        Surface surface(mesh);
        // Manifold ones only: nothing is promised elsewhere.
        MeshVerify::Info manifold;
        manifold.checkCorners = false;
        if (!MeshVerify()(surface.mesh, manifold))
            continue;
        CAPTURE(path);
        Range3d box;
        for (TopoMeshVertex v : surface.vertices)
            box.include(v.point());
        Vector const normal(0.3, 0.2, 1.0);
        double const d = dot(normal, box.mid().asVector()) + 1e-4 * box.size().length();
        Shape const before(surface.mesh);
        auto const sections = curves::traceSections(surface.mesh, normal, d);
        int numOpen = 0;
        Curves all;
        double const reach = 1e-7 * box.size().length();
        for (Polyline const& section : sections)
            MeshCurveTopology::convert(all, section, reach);
        MeshCurveTopology topology(surface.mesh, all, reach);
        for (auto const& curve : all)
            numOpen += curve.front() != curve.back();
        TopoMeshCutResult const result =
            detail::cutTopoMesh(surface.mesh, topology, nullptr, Conditioning::Off);
        CHECK(result);
        CHECK(faultAfterCut(surface.mesh, false) == "");
        Shape const after(surface.mesh);
        CHECK(after.euler == before.euler + numOpen);
        CHECK(after.area == doctest::Approx(before.area).epsilon(1e-6));
    }
}

TEST_CASE("aLongCurveMayLieInsideOneTriangle") {
    for (Conditioning const conditioning : {Conditioning::Off, Conditioning::On}) {
        Surface surface(support::grid(1, 1));
        std::vector<Point2> wave;
        for (int i = 0; i <= 1000; ++i) {
            double const t = i / 1000.0;
            wave.emplace_back(0.3 + 0.7 * t, t * (0.3 + 0.15 * std::sin(60.0 * t)));
        }
        Cut cut(surface, {surface.polyline(wave)}, conditioning);
        CHECK(cut.result);
        // Where the wave runs straight, three points in a row leave corners that are as good as closed.
        CHECK(faultAfterCut(surface.mesh, false) == "");
        CHECK(Shape(surface.mesh).components == 2);
        CHECK(Shape(surface.mesh).area == doctest::Approx(1.0).epsilon(1e-5));
    }
}

TEST_CASE("trianglesAreMadeOfAllFacesOfAPolygonMesh") {
    TopoMesh mesh;
    std::vector<TopoMeshVertex> const v = support::fillQuadCube(mesh);
    TopoMeshFace const face = mesh.firstFace();
    Curves all(1);
    TopoMeshEdge const e = face.edge();
    all.front().push_back(new TopoMeshPoint(e, face, 0.5, 0.5));
    all.front().push_back(new TopoMeshPoint(e.next().next(), face, 0.5, 0.5));
    MeshCurveTopology topology(mesh, all, tolerance);
    CHECK(meshCut(mesh, topology, nullptr));
    CHECK(faultAfterCut(mesh) == "");
    CHECK(Shape(mesh).area == doctest::Approx(24.0));
}

TEST_CASE("sendsOneNoticeAtTheEndAndTwoMessages") {
    Surface surface(support::grid(3, 3));
    support::TopoModificationCounter listener(surface.mesh);
    support::DebugCapture debug;
    Cut cut(surface, {surface.straight({0.0, 1.4}, {3.0, 1.3})});
    CHECK(listener.total() == 1);
    CHECK(debug.text().find("meshCut:  curves(1) IPoints(2) faces(18)\n") != std::string::npos);
    CHECK(debug.text().find("  after: faces(") != std::string::npos);
    Cut refused(surface, {});
    CHECK(listener.total() == 1);
}

TEST_CASE("randomCurvesLeaveASoundMeshOrNoTrace") {
    int numCut = 0;
    for (std::uint64_t seed = 0; seed < 600; ++seed) {
        CAPTURE(seed);
        std::string faces[2];
        for (std::string& text : faces) {
            support::Random random(seed);
            CompactMesh const meshes[] = {support::grid(4, 4), support::sphere(2),
                                          support::torus(8, 6), support::cube(),
                                          support::tetrahedron()};
            Surface surface(meshes[seed % 5]);
            bool const onLattice = random.index(2) == 0;
            bool const isFlat = seed % 5 == 0;
            auto const conditioning = random.index(2) == 0 ? Conditioning::Off : Conditioning::On;
            std::vector<Polyline> walks;
            for (int i = 1 + random.index(4); i > 0; --i) {
                walks.push_back(
                    curves::randomWalk(surface, random, onLattice, 1 + random.index(12)));
                if (random.index(4) == 0)
                    walks.back().push_back(walks.back().front());
            }
            auto const before = support::digestOf(surface.mesh);
            double const area = Shape(surface.mesh).area;
            Cut cut(surface, walks, conditioning, random.index(4) != 0);
            text = support::facesOf(surface.mesh);
            if (!cut.result) {
                CHECK(support::digestOf(surface.mesh) == before);
                continue;
            }
            ++numCut;
            // Curves on a lattice may overlap: triangles without area between them are right then.
            CHECK(faultAfterCut(surface.mesh, !onLattice) == "");
            if (isFlat || conditioning == Conditioning::Off)
                CHECK(Shape(surface.mesh).area == doctest::Approx(area).epsilon(2e-5));
        }
        CHECK(faces[0] == faces[1]);
    }
    CHECK(numCut > 150);
}

TEST_CASE("hostileCurvesAndMeshesEnd") {
    double const bad[] = {std::numeric_limits<double>::quiet_NaN(),
                          std::numeric_limits<double>::infinity(),
                          1e300,
                          -1e300,
                          1e-320,
                          1e18,
                          -3.0};
    for (std::uint64_t seed = 0; seed < 300; ++seed) {
        CAPTURE(seed);
        support::Random random(seed);
        CompactMesh const meshes[] = {support::grid(3, 3), support::bowTie(), support::moebius(7),
                                      support::latticeSoup(30, 60, seed),
                                      support::holed(support::grid(6, 6), 0.7, seed)};
        Surface surface(meshes[seed % 5]);
        double const reach = std::array{0.0, 1e-6, 0.05, 1e300}[random.index(4) % 4];
        Curves all;
        for (int i = 0; i < 3; ++i) {
            Polyline walk = curves::randomWalk(surface, random, seed % 3 == 0, 10);
            if (random.index(2) == 0)
                walk[static_cast<std::size_t>(random.index(static_cast<int>(walk.size())))]
                    .weights[random.index(3)] = bad[random.index(7)];
            MeshCurveTopology::convert(all, walk, reach);
        }
        MeshCurveTopology::extend(all, reach);
        MeshCurveTopology topology(surface.mesh, all, reach);
        if (random.index(2) == 0)
            topology.trimInteriorEndPoints();
        static_cast<void>(meshCut(surface.mesh, topology, nullptr));
        CHECK(support::faultOf(surface.mesh) == "");
    }
}
