// Flattening from the outside: maps that are known, seams, components side by side, refusals, and the picture.

#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "toolkit/detail/chartPacking.h"
#include "toolkit/flatPicture.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshFlattening.h"
#include "toolkit/meshParts.h"

#include <algorithm>
#include <cmath>
#include <doctest/doctest.h>
#include <functional>

using koGeom::CompactMesh;
using koGeom::MeshUV;
using support::meshOf;
using trimora::CornerUVs;
using trimora::FlattenOptions;
using trimora::FlattenOutcome;
using trimora::MapDistortion;
using trimora::SeamForm;

namespace {

using Point = koLinear::Point;

FlattenOutcome flattened(CompactMesh& mesh, FlattenOptions const& options = {}) {
    koUtil::Progress progress;
    return trimora::flattenMesh(mesh, options, progress);
}

CompactMesh moved(CompactMesh const& mesh, std::function<Point(Point)> const& to) {
    CompactMesh result = mesh;
    for (int v = 0; v < result.getNumVertices(); ++v) {
        Point const p = to(mesh.getVertices()[v].asPoint());
        result.getVertices()[v].set(static_cast<float>(p.x), static_cast<float>(p.y),
                                    static_cast<float>(p.z));
    }
    return result;
}

/// A strip of the plane rolled round an axis, `turns` of a whole turn.
CompactMesh rolled(int numU, int numV, double turns) {
    return moved(support::grid(numU, numV), [=](Point const& p) {
        double const angle = 2.0 * 3.14159265358979 * turns * p.x / numU;
        double const radius = numU / (2.0 * 3.14159265358979 * turns);
        return Point(radius * std::cos(angle), radius * std::sin(angle), p.y);
    });
}

CornerUVs cornersOf(CompactMesh const& mesh, std::function<MeshUV(Point)> const& map) {
    CornerUVs corners;
    for (int i = 0; i < 3 * mesh.getNumTriangles(); ++i)
        corners.push_back(map(mesh.getVertices()[mesh.getTrianglesRaw()[i]].asPoint()));
    return corners;
}

MeshUV uvOf(double u, double v) {
    return {static_cast<float>(u), static_cast<float>(v)};
}

std::vector<float> cornerPositions(CompactMesh const& mesh) {
    std::vector<float> positions;
    for (int i = 0; i < 3 * mesh.getNumTriangles(); ++i) {
        float const* const p =
            mesh.getVerticesRaw() + 3 * static_cast<std::ptrdiff_t>(mesh.getTrianglesRaw()[i]);
        positions.insert(positions.end(), p, p + 3);
    }
    return positions;
}

/// What holds of every flattened mesh: the triangles are where they were, their corners have what the outcome says (but beside kept
/// seams), all in the unit square, which one axis fills.
void checkFlat(CompactMesh const& mesh, CompactMesh const& before, FlattenOutcome const& outcome) {
    REQUIRE(outcome.refusal.empty());
    CHECK(support::faultOf(mesh).empty());
    CHECK(cornerPositions(mesh) == cornerPositions(before));
    REQUIRE(outcome.corners.size() == 3 * static_cast<std::size_t>(mesh.getNumTriangles()));
    float highest = 0.0f;
    bool isInside = true;
    int numDifferent = 0;
    for (std::size_t i = 0; i < outcome.corners.size(); ++i) {
        MeshUV const& uv = outcome.corners[i];
        isInside = isInside && uv.u >= 0.0f && uv.u <= 1.0f && uv.v >= 0.0f && uv.v <= 1.0f;
        highest = std::max({highest, uv.u, uv.v});
        MeshUV const& written = mesh.getUVs()[mesh.getTrianglesRaw()[i]];
        numDifferent += written.u != uv.u || written.v != uv.v;
    }
    CHECK(isInside);
    CHECK(highest > 0.9999f);
    CHECK((numDifferent > 0) == (outcome.seamTriangles > 0));
}

/// How areas are multiplied, over a run of triangles.
double areaScaleOf(CompactMesh const& mesh, FlattenOutcome const& outcome, int first, int end) {
    double area = 0.0;
    double uvArea = 0.0;
    for (int t = first; t < end; ++t) {
        auto const map = trimora::mapOfTriangle(mesh, outcome.corners, t);
        area += map.area;
        uvArea += map.uvArea;
    }
    return uvArea / area;
}

std::string refusalOf(CompactMesh mesh, FlattenOptions const& options = {}) {
    support::ModificationCounter const counter(mesh);
    std::string const refusal = flattened(mesh, options).refusal;
    CHECK(counter.total() == 0);
    CHECK(mesh.getUVs() == nullptr);
    return refusal;
}

bool holds(std::string const& text, std::string const& words) {
    return text.find(words) != std::string::npos;
}

}  // namespace

TEST_CASE("singularValuesOfKnownMaps") {
    CompactMesh const triangle = meshOf({0, 0, 0, 2, 0, 0, 0.5f, 1, 0}, {0, 1, 2});
    auto const mapBy = [&](double uu, double uv, double vu, double vv) {
        return trimora::mapOfTriangle(
            triangle,
            cornersOf(triangle,
                      [=](Point p) { return uvOf(uu * p.x + uv * p.y, vu * p.x + vv * p.y); }),
            0);
    };
    auto const scaled = mapBy(2.0, 0.0, 0.0, 1.0);
    CHECK(scaled.larger == doctest::Approx(2.0));
    CHECK(scaled.smaller == doctest::Approx(1.0));
    CHECK(scaled.area == doctest::Approx(1.0));
    CHECK(scaled.uvArea == doctest::Approx(2.0));
    auto const sheared = mapBy(1.0, 1.0, 0.0, 1.0);  // the golden ratio and its inverse
    CHECK(sheared.larger == doctest::Approx(0.5 * (1.0 + std::sqrt(5.0))));
    CHECK(sheared.ratio() == doctest::Approx(0.5 * (3.0 + std::sqrt(5.0))));
    auto const turned = mapBy(0.0, -3.0, 3.0, 0.0);
    CHECK(turned.ratio() == doctest::Approx(1.0));
    auto const mirrored = mapBy(-1.0, 0.0, 0.0, 1.0);
    CHECK(mirrored.uvArea == doctest::Approx(-1.0));
    CHECK(mirrored.ratio() == doctest::Approx(1.0));
    CHECK_FALSE(trimora::mapOfTriangle(meshOf({0, 0, 0, 1, 0, 0, 2, 0, 0}, {0, 1, 2}),
                                       CornerUVs(3, uvOf(0, 0)), 0)
                    .isMeasured);
}

TEST_CASE("distortionIsCountedByTriangles") {
    // 20 triangles of a strip: 18 mapped alike, one square stretched four times, one triangle turned over.
    CompactMesh const strip = support::grid(10, 1);
    CornerUVs corners = cornersOf(strip, [](Point p) { return uvOf(0.05 * p.x, 0.05 * p.y); });
    MapDistortion const even = trimora::measureMap(strip, corners).whole;
    CHECK(even.mean == doctest::Approx(1.0));
    CHECK(even.largest == doctest::Approx(1.0));
    CHECK(even.areaShare == doctest::Approx(10.0 * 0.05 * 0.05));
    for (std::size_t i = 0; i < 3; ++i)
        corners[i].u *= 4.0f;
    std::swap(corners[57], corners[58]);  // the ends of the longest side
    corners[3] = corners[4] = corners[5];
    MapDistortion const uneven = trimora::measureMap(strip, corners).whole;
    CHECK(uneven.largest == doctest::Approx(4.0));
    CHECK(uneven.mean == doctest::Approx((18.0 + 4.0) / 19.0));
    CHECK(uneven.percentile95 == doctest::Approx(4.0));  // the 19th of 19
    CHECK(uneven.flippedTriangles == 1);
    CHECK(uneven.flippedAreaShare == doctest::Approx(0.05));
    CHECK(uneven.collapsedTriangles == 1);
    CHECK(uneven.measuredTriangles == 19);
}

// The floats of a map of size 1 are 6e-8 apart at its far end: a triangle that is narrower than that has the shape, and the side,
// that rounding gives it.
TEST_CASE("trianglesWithinRoundingCountAsCollapsed") {
    CompactMesh const strip = support::grid(10, 1);
    CornerUVs const even = cornersOf(strip, [](Point p) { return uvOf(0.1 * p.x, 0.1 * p.y); });
    for (auto const& [height, isCollapsed] :
         {std::pair(1e-5, false), {3e-8, true}, {1e-17, true}, {-1e-17, true}}) {
        CAPTURE_BINDING(height);
        CornerUVs corners = even;
        corners[0] = uvOf(0.0, 0.0);
        corners[1] = uvOf(0.1, 0.0);
        corners[2] = uvOf(0.1, height);
        MapDistortion const distortion = trimora::measureMap(strip, corners).whole;
        CHECK(distortion.collapsedTriangles == isCollapsed);
        CHECK(distortion.flippedTriangles == 0);
        CHECK((distortion.largest > 1000.0) != isCollapsed);
    }
    // However small the map.
    CornerUVs const tiny = cornersOf(strip, [](Point p) { return uvOf(1e-9 * p.x, 1e-9 * p.y); });
    CHECK(trimora::measureMap(strip, tiny).whole.measuredTriangles == 20);

    CompactMesh const line = meshOf({0, 0, 0, 1, 0, 0, 2, 0, 0}, {0, 1, 2});
    MapDistortion const none = trimora::measureMap(line, CornerUVs(3, uvOf(0, 0))).whole;
    CHECK(none.measuredTriangles == 0);
    CHECK(none.degenerateTriangles == 1);
    CHECK(none.mean == 0.0);
}

TEST_CASE("distortionIsToldByGroups") {
    CompactMesh const strip = support::grid(10, 1);
    CornerUVs corners = cornersOf(strip, [](Point p) { return uvOf(0.1 * p.x, 0.1 * p.y); });
    std::vector<int> groups(20, 0);
    for (std::size_t t = 10; t < 20; ++t) {
        groups[t] = 2;
        for (std::size_t i = 3 * t; i < 3 * t + 3; ++i)
            corners[i].v *= -2.0f;
    }
    auto const parts = trimora::measureMaps(strip, corners, groups, 3).ofGroups;
    REQUIRE(parts.size() == 3);
    CHECK(parts[0].mean == doctest::Approx(1.0));
    CHECK(parts[1].measuredTriangles == 0);
    CHECK(parts[2].mean == doctest::Approx(2.0));
    CHECK(parts[2].flippedTriangles == 10);
    CHECK(parts[0].areaShare == doctest::Approx(0.05));
}

TEST_CASE("whatCanBeUnrolledComesOutIsometric") {
    CompactMesh const square = support::grid(12, 12);
    for (CompactMesh const& mesh :
         {square, rolled(40, 20, 0.25),
          moved(square, [](Point p) { return Point(1e-6 * p.x, 2e-6 * p.y, 3.0); }),
          moved(square, [](Point p) { return Point(1e9 * p.x, 1e9 + 1e9 * p.y, 0.0); }),
          // All round, and open along a line where vertices lie at equal positions.
          rolled(40, 20, 1.0)}) {
        CompactMesh work = mesh;
        FlattenOutcome const outcome = flattened(work);
        checkFlat(work, mesh, outcome);
        MapDistortion const distortion = trimora::measureMap(work, outcome.corners).whole;
        CHECK(distortion.largest < 1.002);
        CHECK(distortion.flippedTriangles == 0);
        double const scale = areaScaleOf(work, outcome, 0, work.getNumTriangles());
        CHECK(areaScaleOf(work, outcome, 0, 7) == doctest::Approx(scale).epsilon(0.01));
        REQUIRE(outcome.charts.size() == 1);
        CHECK(outcome.charts[0].genus == 0);
        CHECK(outcome.charts[0].boundaries == 1);
        CHECK_FALSE(outcome.charts[0].isCut);
        CHECK(outcome.charts[0].iterations > 0);
        CHECK(outcome.charts[0].solverCode > 0);
        CHECK(outcome.verticesAdded == 0);
        CHECK(work.getNumVertices() == mesh.getNumVertices());
    }
}

TEST_CASE("closedSurfacesAreCutAndTheSeamIsSplitOrKept") {
    for (auto const& [mesh, genus] :
         {std::pair(support::sphere(3), 0), std::pair(support::torus(24, 12), 1)}) {
        CompactMesh split = mesh;
        split.allocNormalArray();
        for (int v = 0; v < split.getNumVertices(); ++v)
            split.getNormals()[v] = koLinear::Normal(split.getVertices()[v].asPoint().asVector());
        support::ModificationCounter const counter(split);
        FlattenOutcome const outcome = flattened(split);
        checkFlat(split, mesh, outcome);
        CHECK(counter.total() == 1);
        CHECK(counter.type(0) == koGeom::MeshModification::Topology);
        CHECK(outcome.charts[0].isCut);
        CHECK(outcome.charts[0].genus == genus);
        CHECK(outcome.charts[0].boundaries == 0);
        CHECK(outcome.verticesAdded > 0);
        CHECK(split.getNumVertices() == mesh.getNumVertices() + outcome.verticesAdded);
        auto const counts = trimora::countMesh(split);
        CHECK(counts.boundaries == 1);
        CHECK(counts.components == 1);
        REQUIRE(split.getNormals() != nullptr);
        for (int v = 0; v < split.getNumVertices(); ++v) {
            Point const p = split.getVertices()[v].asPoint();
            CHECK(distance(split.getNormals()[v].asVector().asPoint(),
                           koLinear::Normal(p.asVector()).asPoint()) < 1e-6);
        }

        CompactMesh kept = mesh;
        FlattenOptions options;
        options.seams = SeamForm::Keep;
        FlattenOutcome const keptOutcome = flattened(kept, options);
        checkFlat(kept, mesh, keptOutcome);
        CHECK(keptOutcome.verticesAdded == 0);
        CHECK(keptOutcome.seamTriangles > 0);
        CHECK(support::trianglesOf(kept) == support::trianglesOf(mesh));
        for (std::size_t i = 0; i < outcome.corners.size(); ++i)
            CHECK(outcome.corners[i].u == keptOutcome.corners[i].u);
    }
}

TEST_CASE("holesInsideADiskAreFlattenedWithIt") {
    CompactMesh const grid = support::grid(9, 9);
    for (std::vector<int> const& squares : {std::vector{40}, std::vector{12, 13, 60}}) {
        std::vector<int> corners;
        for (int i = 0; i < 3 * grid.getNumTriangles(); ++i) {
            if (std::count(squares.begin(), squares.end(), i / 6) == 0)
                corners.push_back(grid.getTrianglesRaw()[i]);
        }
        CompactMesh const holed = meshOf(support::coordinatesOf(grid), corners);
        CompactMesh work = holed;
        FlattenOutcome const outcome = flattened(work);
        checkFlat(work, holed, outcome);
        CHECK(outcome.charts[0].boundaries == (squares.size() == 1 ? 2 : 3));
        CHECK_FALSE(outcome.charts[0].isCut);
        CHECK(trimora::measureMap(work, outcome.corners).whole.largest < 1.001);
    }
}

TEST_CASE("componentsLieSideBySide") {
    CompactMesh const three =
        support::joined(support::joined(support::grid(6, 6), support::grid(3, 12), 10.0f),
                        support::sphere(2), 30.0f);
    CHECK(holds(refusalOf(three), "3 components"));
    CompactMesh work = three;
    FlattenOptions options;
    options.each = true;
    FlattenOutcome const outcome = flattened(work, options);
    checkFlat(work, three, outcome);
    REQUIRE(outcome.charts.size() == 3);
    CHECK(outcome.charts[1].triangles == 72);
    CHECK(outcome.chartOf[71] == 0);
    CHECK(outcome.chartOf[72] == 1);
    CHECK(outcome.chartOf.back() == 2);
    CHECK(outcome.charts[2].isCut);
    // Boxes that do not overlap, and areas in proportion to the surfaces.
    struct Box {
        float low[2] = {2, 2}, high[2] = {-1, -1};
    } boxes[3];
    int const firsts[] = {0, 72, 144, 144 + 128};
    for (int i = 0; i < 3; ++i) {
        for (int corner = 3 * firsts[i]; corner < 3 * firsts[i + 1]; ++corner) {
            MeshUV const& uv = outcome.corners[static_cast<std::size_t>(corner)];
            float const place[] = {uv.u, uv.v};
            for (int k = 0; k < 2; ++k) {
                boxes[i].low[k] = std::min(boxes[i].low[k], place[k]);
                boxes[i].high[k] = std::max(boxes[i].high[k], place[k]);
            }
        }
    }
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < i; ++j) {
            bool const isApart =
                boxes[i].low[0] >= boxes[j].high[0] || boxes[j].low[0] >= boxes[i].high[0] ||
                boxes[i].low[1] >= boxes[j].high[1] || boxes[j].low[1] >= boxes[i].high[1];
            CHECK(isApart);
        }
    }
    double const scale = areaScaleOf(work, outcome, 0, 72);
    CHECK(areaScaleOf(work, outcome, 72, 144) == doctest::Approx(scale).epsilon(0.001));
    CHECK(areaScaleOf(work, outcome, 144, 272) == doctest::Approx(scale).epsilon(0.001));
}

TEST_CASE("refusesWhatCannotWorkWithAReason") {
    CHECK(holds(refusalOf(support::bowTie()), "touch in a point only"));
    CHECK(holds(refusalOf(support::threeOnAnEdge()), "more than two triangles"));
    CHECK(holds(refusalOf(support::moebius(9)), "wound against one another"));
    CHECK(holds(refusalOf(support::soup(support::sphere(1))), "weld"));
    CHECK(holds(refusalOf(CompactMesh()), "no triangles"));
    CHECK(holds(refusalOf(meshOf({0, 0, 0, 1, 0, 0, 0, NAN, 0}, {0, 1, 2})), "NaN"));
    CHECK(holds(refusalOf(meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 1, 1})), "twice"));
    CHECK(holds(refusalOf(meshOf({5, 5, 5, 5, 5, 5, 5, 5, 5}, {0, 1, 2})), "no extent"));
}

TEST_CASE("unusedVerticesAndACancelChangeNothing") {
    CompactMesh mesh = support::joined(support::grid(4, 4), meshOf({1e9f, 0, 0}, {}), 0.0f);
    FlattenOutcome const outcome = flattened(mesh);
    CHECK(outcome.refusal.empty());
    CHECK(outcome.unusedVertices == 1);
    CHECK(mesh.getUVs()[25].u == 0.0f);
    CHECK(trimora::measureMap(mesh, outcome.corners).whole.largest < 1.001);

    for (double const limit : {-1.0, 0.1, 0.5}) {
        CAPTURE(limit);
        CompactMesh cancelled = support::torus(40, 20);
        koUtil::Progress progress;
        progress.setListener([&](double value, char const*) {
            if (value > limit)
                progress.cancel();
        });
        support::ModificationCounter const counter(cancelled);
        auto const stopped = trimora::flattenMesh(cancelled, {}, progress);
        CHECK(stopped.cancelled);
        CHECK(counter.total() == 0);
        CHECK(cancelled.getNumVertices() == 800);
    }
}

TEST_CASE("anyMeshIsFlattenedOrRefused") {
    for (support::NamedMesh const& named : support::zoo()) {
        CAPTURE(named.name);
        CompactMesh mesh = named.mesh;
        FlattenOptions options;
        options.each = true;
        FlattenOutcome const outcome = flattened(mesh, options);
        if (outcome.refusal.empty())
            checkFlat(mesh, named.mesh, outcome);
        else
            CHECK(support::trianglesOf(mesh) == support::trianglesOf(named.mesh));
    }
}

TEST_CASE("boxesArePackedWithoutOverlap") {
    support::Random random(7);
    for (int const count : {1, 2, 7, 200}) {
        std::vector<trimora::ChartBox> boxes;
        double area = 0.0;
        for (int i = 0; i < count; ++i) {
            boxes.push_back({random.real(0.1, 5.0), random.real(0.1, 5.0)});
            area += boxes.back().width * boxes.back().height;
        }
        double const side = trimora::packCharts(boxes);
        CHECK(area / (side * side) > (count > 100 ? 0.8 : 0.02));
        for (std::size_t i = 0; i < boxes.size(); ++i) {
            CHECK(boxes[i].u + boxes[i].width <= side * 1.000001);
            CHECK(boxes[i].v + boxes[i].height <= side * 1.000001);
            for (std::size_t j = 0; j < i; ++j) {
                bool const isApart = boxes[i].u >= boxes[j].u + boxes[j].width ||
                                     boxes[j].u >= boxes[i].u + boxes[i].width ||
                                     boxes[i].v >= boxes[j].v + boxes[j].height ||
                                     boxes[j].v >= boxes[i].v + boxes[i].height;
                CHECK(isApart);
            }
        }
    }
}

TEST_CASE("thePictureHoldsEveryTriangleAndAKey") {
    CompactMesh const grid = support::grid(5, 4);
    CornerUVs corners = cornersOf(grid, [](Point p) { return uvOf(0.2 * p.x, 0.2 * p.y); });
    auto const count = [](std::string const& text, std::string const& word) {
        int number = 0;
        for (std::size_t i = text.find(word); i != std::string::npos; i = text.find(word, i + 1))
            ++number;
        return number;
    };
    std::string const even = trimora::drawFlatMap(grid, corners).svg;
    CHECK(even.rfind("<svg ", 0) == 0);
    CHECK(holds(even, "</svg>"));
    CHECK(count(even, "<path") == 1);
    CHECK(count(even, "Z") == 40);
    CHECK(holds(even, ">mean<"));
    CHECK_FALSE(holds(even, "turned over"));
    CHECK_FALSE(holds(even, "nan"));

    std::swap(corners[0], corners[1]);
    for (std::size_t i = 60; i < 120; ++i)
        corners[i].u *= 0.25f;
    std::string const uneven = trimora::drawFlatMap(grid, corners).svg;
    CHECK(count(uneven, "<path") == 3);
    CHECK(count(uneven, "Z") == 40);
    CHECK(holds(uneven, "turned over"));
    CHECK(holds(trimora::drawFlatMap(CompactMesh(), {}).svg, "</svg>"));
}
