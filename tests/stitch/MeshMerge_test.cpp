#include "support/builders.h"
#include "support/checks.h"

#include "trimora/contract/koGeom/KDTree.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/stitch/MeshMerge.h"
#include "trimora/stitch/detail/WeldGrid.h"

#include <array>
#include <cmath>
#include <cstring>
#include <doctest/doctest.h>
#include <limits>
#include <new>
#include <vector>

using namespace koGeom;
using support::coordinatesOf;
using support::trianglesOf;

namespace {

using Sources = ko::list<MeshPlacement>;
using Place = std::array<float, 3>;

constexpr float inf = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

AffineMatrixFlt moved(float x, float y, float z) {
    AffineMatrixFlt matrix;
    matrix.m[9] = x;
    matrix.m[10] = y;
    matrix.m[11] = z;
    return matrix;
}

CompactMesh mergeOf(CompactMesh dest, Sources const& sources, float tolerance) {
    koUtil::Progress progress;
    MeshMerge(dest, sources, tolerance).merge(progress);
    return dest;
}

Place placeOf(MeshPlacement const& placement, int vertex) {
    MeshVertex const& p = placement.mesh->getVertices()[vertex];
    float const* const m = placement.matrix.m;
    if (equivalent(placement.matrix, AffineMatrixFlt::Identity, 1e-6f))
        return {p.x, p.y, p.z};
    return {p.x * m[0] + p.y * m[3] + p.z * m[6] + m[9],
            p.x * m[1] + p.y * m[4] + p.z * m[7] + m[10],
            p.x * m[2] + p.y * m[5] + p.z * m[8] + m[11]};
}

/// The merge as it is told, every vertex looked for among all, twice.
struct Oracle {
    Oracle(CompactMesh const& dest, Sources const& sources, float tolerance)
        : tolerance_(tolerance) {
        std::vector<MeshPlacement> all(1);
        all[0].mesh = &dest;
        for (MeshPlacement const& source : sources)
            if (source.mesh != nullptr)
                all.push_back(source);
        for (MeshPlacement const& each : all)
            for (int round = 0; round < 100; ++round)
                for (int vertex = round; vertex < each.mesh->getNumVertices(); vertex += 100)
                    if (Place const place = placeOf(each, vertex); lowestNear(place) < 0)
                        places.push_back(place);
        for (MeshPlacement const& each : all)
            for (int const vertex : trianglesOf(*each.mesh))
                corners.push_back(std::max(lowestNear(placeOf(each, vertex)), 0));
    }

    int lowestNear(Place const& place) const {
        for (std::size_t i = 0; i < places.size(); ++i) {
            bool isNear = true;
            for (std::size_t axis = 0; axis < 3; ++axis) {
                float const low = place[axis] - tolerance_;
                float const high = place[axis] + tolerance_;
                isNear = isNear && low <= places[i][axis] && places[i][axis] <= high;
            }
            if (isNear)
                return static_cast<int>(i);
        }
        return -1;
    }

    std::vector<Place> places;
    std::vector<int> corners;

private:
    float tolerance_;
};

/// To the bit, but for the sign of NaN, which depends on the order of operands that a compiler chooses.
bool isSame(float a, float b) {
    return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b));
}

void checkAgainstOracle(CompactMesh const& dest, Sources const& sources, float tolerance) {
    Oracle const expected(dest, sources, tolerance);
    CompactMesh const merged = mergeOf(dest, sources, tolerance);
    REQUIRE(merged.getNumVertices() == static_cast<int>(expected.places.size()));
    for (std::size_t i = 0; i < expected.places.size(); ++i)
        for (std::size_t axis = 0; axis < 3; ++axis)
            CHECK(isSame(merged.getVerticesRaw()[3 * i + axis], expected.places[i][axis]));
    CHECK(trianglesOf(merged) == expected.corners);
    CHECK(support::faultOf(merged).empty());
}

/// Triangles over places that are mostly near each other, in steps of `spacing`, some broken.
CompactMesh cloud(int numVertices, float spacing, bool isBroken, std::uint64_t seed) {
    support::Random random(seed);
    float const broken[] = {inf, -inf, notANumber, 3e38f, -3e38f, 1e-45f, -0.0f, 0.0f};
    CompactMesh mesh = support::latticeSoup(numVertices, 2 * numVertices, seed);
    for (int i = 0; i < 3 * numVertices; ++i) {
        float& x = mesh.getVerticesRaw()[i];
        x = x * spacing + static_cast<float>(random.index(3) - 1) * spacing * 0.125f;
        if (isBroken && random.index(6) == 0)
            x = broken[random.index(8)];
    }
    return mesh;
}

std::vector<double> progressOf(CompactMesh& dest, Sources const& sources) {
    std::vector<double> values;
    koUtil::Progress progress;
    progress.setListener([&values](double value, char const*) { values.push_back(value); });
    MeshMerge(dest, sources, 0.0f).merge(progress);
    return values;
}

}  // namespace

//   3---2   7---6        the second square's left side lies on the first one's right side
//   | / |   | / |
//   0---1   4---5
TEST_CASE("sharedCornersGetTheFirstNumber") {
    CompactMesh const square = support::grid(1, 1);  // vertices 0 1 / 2 3; triangles 0 1 3, 0 3 2
    Sources sources(1);
    sources.front().mesh = &square;
    sources.front().matrix = moved(1, 0, 0);
    CompactMesh const merged = mergeOf(square, sources, 0.0f);
    CHECK(coordinatesOf(merged) ==
          std::vector<float>{0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0, 2, 0, 0, 2, 1, 0});
    CHECK(trianglesOf(merged) == std::vector<int>{0, 1, 3, 0, 3, 2, 1, 4, 5, 1, 5, 3});
}

// A vertex exactly at the tolerance welds; the next float does not. 0, 0.5 and 1 do not become one: each looks for the
// ones before it that were kept.
TEST_CASE("theFacesOfTheBoxBelongToIt") {
    float const half = 0.5f;
    CompactMesh const exact = support::meshOf({0, 0, 0, half, 0, 0, 1, 0, 0}, {0, 1, 2});
    CHECK(trianglesOf(mergeOf(exact, {}, half)) == std::vector<int>{0, 0, 1});
    CompactMesh const beyond =
        support::meshOf({0, 0, 0, std::nextafter(half, 1.0f), 0, 0, 1, 0, 0}, {0, 1, 2});
    CHECK(trianglesOf(mergeOf(beyond, {}, half)) == std::vector<int>{0, 1, 1});
    // 1 - 0.1 is rounded up in floats, 0.9 is not in the box
    CompactMesh const rounded = support::meshOf({0.9f, 0, 0, 1, 0, 0, 0, 0, 0}, {0, 1, 2});
    bool const isInside = 1.0f - 0.1f <= 0.9f;
    CHECK(mergeOf(rounded, {}, 0.1f).getNumVertices() == (isInside ? 2 : 3));
}

// Of 201 vertices in a row 0, 100 and 200 come first, then 1 and 101.
TEST_CASE("verticesAreMetInRoundsOfAHundred") {
    std::vector<float> row;
    for (int i = 0; i < 201; ++i)
        row.insert(row.end(), {static_cast<float>(i), 0, 0});
    CompactMesh const merged = mergeOf(support::meshOf(row, {0, 1, 99, 100, 101, 200}), {}, 0.0f);
    CHECK(merged.getNumVertices() == 201);
    CHECK(trianglesOf(merged) == std::vector<int>{0, 3, 199, 1, 4, 2});
    // 1 finds 0 before 2 has come, 99 finds 100 and not 98: 1 + 99 = 100 stay of the even ones
    CompactMesh const welded = mergeOf(support::meshOf(row, {}), {}, 1.0f);
    CHECK(welded.getNumVertices() == 101);
}

TEST_CASE("mergesAgreeWithLookingAtAll") {
    float const tolerances[] = {0.0f, 1e-30f, 0.01f, 0.125f,     0.25f, 1.0f,
                                3.0f, 1e30f,  inf,   notANumber, -0.2f, -1e-20f};
    for (bool isBroken : {false, true})
        for (float spacing : {0.01f, 1.0f, 1000.0f})
            for (float tolerance : tolerances) {
                CAPTURE(isBroken);
                CAPTURE(spacing);
                CAPTURE(tolerance);
                CompactMesh const first = cloud(130, spacing, isBroken, 1);
                CompactMesh const second = cloud(250, spacing, isBroken, 2);
                Sources sources(3);
                auto source = sources.begin();
                source->mesh = &second;
                (++source)->mesh = &first;
                source->matrix = moved(0.125f * spacing, -spacing, 0.3f);
                source->matrix.m[0] = 1.5f;
                source->matrix.m[4] = -0.25f;
                (++source)->mesh = &second;
                source->matrix.m[9] = 5e-7f;  // the identity, as near as makes no difference
                checkAgainstOracle(first, sources, tolerance);
                checkAgainstOracle(CompactMesh(), sources, tolerance);
                checkAgainstOracle(second, {}, tolerance);
            }
}

TEST_CASE("verticesBecomeOnesWithinTheirBox") {
    CompactMesh const terrain = support::terrain(40, 40, 5);
    CompactMesh const source = support::soup(terrain);
    float const tolerance = 1.5f;
    CompactMesh const merged = mergeOf(source, {}, tolerance);
    CHECK(merged.getNumVertices() < terrain.getNumVertices());
    for (int i = 0; i < source.getNumVertices(); ++i) {  // corner i uses vertex i
        float const* const before = source.getVerticesRaw() + 3 * i;
        float const* const after = merged.getVerticesRaw() + 3 * merged.getTrianglesRaw()[i];
        for (int axis = 0; axis < 3; ++axis)
            CHECK((before[axis] - tolerance <= after[axis] &&
                   after[axis] <= before[axis] + tolerance));
    }
}

TEST_CASE("aHundredOverlappingMeshesBecomeOne") {
    CompactMesh const sphere = support::sphere(3);
    Sources sources(100);
    int number = 0;
    for (MeshPlacement& source : sources) {
        source.mesh = &sphere;
        source.matrix = moved(1e-4f * static_cast<float>(number++), 0, 0);
    }
    CompactMesh const merged = mergeOf(sphere, sources, 0.02f);
    CHECK(merged.getNumVertices() == sphere.getNumVertices());
    CHECK(merged.getNumTriangles() == 101 * sphere.getNumTriangles());
    std::vector<int> const corners = trianglesOf(merged);
    std::size_t const length = corners.size() / 101;
    for (std::size_t i = length; i < corners.size(); ++i)
        CHECK(corners[i] == corners[i % length]);

    int const stride = 7;  // apart by more than the tolerance: each keeps its own
    number = 0;
    for (MeshPlacement& source : sources)
        source.matrix = moved(static_cast<float>(stride * ++number), 0, 0);
    CHECK(mergeOf(sphere, sources, 0.0f).getNumVertices() == 101 * sphere.getNumVertices());
}

TEST_CASE("missingMeshesAndTheDestinationItselfAreSkipped") {
    CompactMesh const square = support::grid(2, 2);
    CompactMesh dest = support::grid(2, 2);
    Sources sources(4);
    auto source = sources.begin();
    (++source)->mesh = &square;
    source->matrix = moved(2, 0, 0);
    (++source)->mesh = &dest;
    Sources const plain(1, *std::next(sources.begin()));
    CompactMesh const expected = mergeOf(square, plain, 0.0f);
    koUtil::Progress progress;
    support::DebugCapture capture;
    support::ModificationCounter counter(dest);
    MeshMerge(dest, sources, 0.0f).merge(progress);
    CHECK(coordinatesOf(dest) == coordinatesOf(expected));
    CHECK(trianglesOf(dest) == trianglesOf(expected));
    CHECK(counter.total() == 1);
    CHECK(counter.type(0) == MeshModification::Topology);
}

TEST_CASE("messagesTellEachStep") {
    CompactMesh dest = support::triangle();
    CompactMesh const source = support::cube();
    Sources sources(2);
    sources.front().mesh = sources.back().mesh = &source;
    support::DebugCapture capture;
    koUtil::Progress progress;
    MeshMerge(dest, sources, 0.0f).merge(progress);
    std::string text = capture.text();
    for (std::size_t at = 0; (at = text.find_first_of("0123456789", at)) != std::string::npos;) {
        std::size_t const end = text.find_first_not_of("0123456789.e-+", at);
        text.replace(at, end - at, "#");
        ++at;
    }
    CHECK(text == "MeshMerge:  # source meshes\n"
                  "    mergeVertices: inserted dest: # s\n"
                  "    mergeVertices:  insert a src: # s\n"
                  "    mergeVertices:  insert a src: # s\n"
                  "    mergeVertices:  remapped dest: # s\n"
                  "    mergeVertices:  remapped a src: # s\n"
                  "    mergeVertices:  remapped a src: # s\n"
                  "  mergeVertices: # s\n"
                  "  mergeTriangles: # s\n");
}

// dest has 99 vertices and reports 100 rounds, but no step of its second walk; the source has 250: steps of 2.
TEST_CASE("progressComesInRoundsAndHundredths") {
    CompactMesh dest = support::latticeSoup(99, 0, 1);
    CompactMesh const second = support::latticeSoup(250, 0, 2);
    Sources sources(1);
    sources.front().mesh = &second;
    std::vector<double> const values = progressOf(dest, sources);
    std::vector<double> expected;
    double const whole = 5.0 * 349;
    double from = 0.0;
    auto const phase = [&](double vertices, double share, int numSteps, double step) {
        for (int i = 1; i <= numSteps; ++i)
            expected.push_back(from + vertices * share / whole * step * i);
        from += vertices * share / whole;
    };
    phase(99, 3.0, 100, 0.01);
    phase(250, 3.0, 100, 0.01);
    phase(99, 2.0, 0, 0.0);
    phase(250, 2.0, 125, 2.0 / 250.0);
    std::vector<double> distinct;  // a phase that begins may report its start
    for (double const value : values)
        if (value > 0.0 && (distinct.empty() || value > distinct.back() + 1e-12))
            distinct.push_back(value);
    std::erase_if(distinct, [&](double value) {
        return std::abs(value - (3.0 * 349 + 2.0 * 99) / whole) < 1e-12;  // start of the last
    });
    REQUIRE(distinct.size() == expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        CHECK(distinct[i] == doctest::Approx(expected[i]));
    CHECK(values.back() == doctest::Approx(1.0));
}

TEST_CASE("nothingMergesToNothingWithOneNotice") {
    CompactMesh dest;
    support::ModificationCounter counter(dest);
    koUtil::Progress progress;
    MeshMerge(dest, Sources(), 1.0f).merge(progress);
    CHECK(dest.getNumVertices() == 0);
    CHECK(counter.total() == 1);
}

TEST_CASE("onlyPositionsAndTrianglesTakePart") {
    CompactMesh dest = support::cube();
    dest.allocNormalArray();
    dest.allocUVArray();
    dest.resizeLineArray(3);
    CompactMesh source = support::cube();
    source.allocUVArray();
    Sources sources(1);
    sources.front().mesh = &source;
    sources.front().matrix = moved(1, 0, 0);
    CompactMesh const merged = mergeOf(dest, sources, 0.0f);
    CHECK(merged.getNumVertices() == 12);
    CHECK(merged.getNumTriangles() == 24);
    CHECK(merged.getNormals() == nullptr);
    CHECK(merged.getUVs() == nullptr);
    CHECK(merged.getNumLines() == 0);
}

TEST_CASE("aMergeCanBeDoneTwiceAndByACopy") {
    CompactMesh dest = support::cube();
    CompactMesh const source = support::tetrahedron();
    Sources sources(1);
    sources.front().mesh = &source;
    sources.front().matrix = moved(5, 5, 5);
    MeshMerge merge(dest, sources, 0.0f);
    koUtil::Progress progress;
    MeshMerge(merge).merge(progress);
    CHECK(dest.getNumVertices() == 12);
    CHECK(dest.getNumTriangles() == 16);
    merge.merge(progress);
    CHECK(dest.getNumVertices() == 12);
    CHECK(dest.getNumTriangles() == 20);
    MeshMerge other(dest, sources, 0.0f);
    other = merge;
    other.merge(progress);
    CHECK(dest.getNumTriangles() == 24);
}

TEST_CASE("countsBeyondIntsAreRefused") {
    CompactMesh const million(1 << 20, nullptr, nullptr, nullptr, nullptr);
    MeshPlacement placement;
    placement.mesh = &million;
    CompactMesh dest = support::triangle();
    CHECK_THROWS_AS(MeshMerge(dest, Sources(2048, placement), 0.0f), std::bad_alloc);
    MeshMerge(dest, Sources(2047, placement), 0.0f);  // counted only
    CHECK(dest.getNumVertices() == 3);
}

// The same answers as a tree, whatever the tolerance, and also when the tree takes over: with many points that are in
// no box.
TEST_CASE("weldGridsAnswerAsTrees") {
    struct {
        float spacing, tolerance;
        bool becomesTree;
    } const cases[] = {{1.0f, 0.0f, false},       {1.0f, 0.3f, false},   {1e-3f, 5e-4f, false},
                       {1e30f, 2e29f, false},     {1.0f, 1e-40f, false}, {1.0f, 3e38f, false},
                       {1.0f, inf, true},         {1.0f, 1e-7f, false},  {1000.0f, 1e-4f, false},
                       {1.0f, notANumber, false}, {1.0f, -2.0f, false},  {1.0f, -1e-10f, false}};
    for (auto const& each : cases) {
        auto const [spacing, tolerance, becomesTree] = each;
        CAPTURE(each.tolerance);
        CompactMesh const mesh = cloud(4000, spacing, true, 9);
        std::vector<PointFlt> places;
        for (int i = 0; i < mesh.getNumVertices(); ++i)
            places.push_back(mesh.getVertices()[i].asPointFlt());
        detail::WeldGrid grid(tolerance);
        std::vector<int> numbers(places.size());
        support::Random random(1);
        for (int from = 0; from < 4000;) {
            int const to = std::min(from + random.index(100), 4000);
            grid.weld(places.data() + from, to - from, numbers.data() + from);
            from = to;
        }

        KDTree tree(4000);
        std::vector<float> kept;
        for (std::size_t i = 0; i < places.size(); ++i) {
            auto const [x, y, z] = places[i];
            float const box[6] = {x - tolerance, y - tolerance, z - tolerance,
                                  x + tolerance, y + tolerance, z + tolerance};
            if (tree.search(kept.data(), box) < 0) {
                kept.insert(kept.end(), {x, y, z});
                tree.insert(kept.data(), static_cast<int>(kept.size() / 3) - 1);
            }
            REQUIRE(numbers[i] == std::max(tree.search(kept.data(), box), 0));
        }
        std::vector<MeshVertex> points(kept.size() / 3);
        REQUIRE(grid.count() == static_cast<int>(points.size()));
        grid.copyTo(points.data());
        CHECK(std::memcmp(points.data(), kept.data(), kept.size() * sizeof(float)) == 0);
        CHECK(grid.isTree() == becomesTree);
    }
}
