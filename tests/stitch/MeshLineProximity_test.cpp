#include "lineMeshes.h"

#include "trimora/connectivity/meshBoundingBox.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/spatial/meshOctreeLines.h"
#include "trimora/spatial/octreeIterators.h"
#include "trimora/stitch/MeshLineProximity.h"
#include "trimora/stitch/MeshLineProximity2.h"

#include <algorithm>
#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <memory>
#include <thread>
#include <vector>

using namespace koGeom;
using lineMeshes::meshOfLoops;

namespace {

using Numbers = std::vector<int>;

/// A mesh with what queries of its lines need.
struct Scene {
    explicit Scene(CompactMesh source, int leafCapacity = 4)
        : mesh(std::move(source)),
          octree(new Octree(mesh.getNumVertices(), mesh.getVerticesRaw(), boxOf(mesh), false,
                            leafCapacity)) {
        meshOctreeLines(mesh, *octree, octreeLines);
    }
    static BoundingBox boxOf(CompactMesh const& mesh) {
        BoundingBox box;
        meshBoundingBox(mesh, box);
        return box;
    }

    CompactMesh mesh;
    std::unique_ptr<Octree> octree;
    OctreeLines octreeLines;
};

Numbers tableOf(MeshLineProximity const& proximity, int vertex) {
    int const* const lines = proximity.lineIndices(vertex);
    return Numbers(lines, lines + proximity.numLines(vertex));
}

Numbers answerOf(MeshLineProximity2::Alg& alg, MeshLineProximity2::Context& context, int vertex) {
    int const* lines = nullptr;
    int const count = alg.getCloseLines(context, vertex, lines);
    return Numbers(lines, lines + count);
}

/// -1 for closer than the distance, 1 for not, 0 where rounding decides.
int sideOf(CompactMesh const& mesh, int vertex, MeshLine const& line, double distance) {
    Point const p = mesh.getVertices()[vertex].asPoint();
    Point const a = mesh.getVertices()[line[0]].asPoint();
    Vector const along = mesh.getVertices()[line[1]].asPoint() - a;
    double const t =
        along.length2() > 0.0 ? std::clamp(dot(p - a, along) / along.length2(), 0.0, 1.0) : 0.0;
    double const gap = koLinear::distance(p, a + t * along);
    bool const isExact = t == 0.0 || t == 1.0;
    double const margin = isExact && std::floor(distance) == distance ? 0.0 : 1e-5;
    return gap < distance - margin ? -1 : (gap >= distance + margin ? 1 : 0);
}

void checkAgainstAllLines(CompactMesh const& mesh, int vertex, double distance,
                          Numbers const& answer) {
    Numbers sorted = answer;
    std::sort(sorted.begin(), sorted.end());
    CHECK(std::adjacent_find(sorted.begin(), sorted.end()) == sorted.end());
    for (int line = 0; line < mesh.getNumLines(); ++line) {
        MeshLine const& ends = mesh.getLines()[line];
        bool const isListed = std::binary_search(sorted.begin(), sorted.end(), line);
        if (ends[0] == vertex || ends[1] == vertex) {
            CHECK_FALSE(isListed);
        } else if (int const side = sideOf(mesh, vertex, ends, distance); side != 0) {
            CAPTURE(line);
            CHECK(isListed == (side < 0));
        }
    }
}

/// By voxel, ascending, and within a voxel ascending.
void checkOrder(Scene const& scene, int vertex, double distance, Numbers const& answer) {
    BoundingBox const box(&scene.mesh.getVertices()[vertex].x, static_cast<float>(distance));
    std::vector<int> firstVoxel(static_cast<std::size_t>(scene.mesh.getNumLines()), -1);
    for (OctreeLeafIterator leaf(*scene.octree); leaf.valid(); leaf.next()) {
        if (!leaf.get().box.intersects(box))
            continue;
        int const voxel = leaf.get().node->voxelIndex;  // descending
        for (int i = 0; i < scene.octreeLines.numLines(voxel); ++i)
            firstVoxel[static_cast<std::size_t>(scene.octreeLines.firstLine(voxel)[i])] = voxel;
    }
    auto const place = [&](int line) {
        return std::pair(firstVoxel[static_cast<std::size_t>(line)], line);
    };
    CHECK(std::is_sorted(answer.begin(), answer.end(),
                         [&](int a, int b) { return place(a) < place(b); }));
}

}  // namespace

//        4---5---6---7       y = 1
//
//        0---1---2---3       y = 0; x = 0 to 3
TEST_CASE("linesAtTheDistanceAndLinesOfTheVertexAreLeftOut") {
    CompactMesh mesh = support::meshOf(
        {0, 0, 0, 1, 0, 0, 2, 0, 0, 3, 0, 0, 0, 1, 0, 1, 1, 0, 2, 1, 0, 3, 1, 0}, {});
    mesh.resizeLineArray(6);
    int const ends[6][2] = {{0, 1}, {1, 2}, {2, 3}, {4, 5}, {5, 6}, {6, 7}};
    for (int i = 0; i < 6; ++i)
        mesh.getLines()[i] = {{ends[i][0], ends[i][1]}};
    Scene const scene(mesh, 100);  // one voxel: ascending
    MeshLineProximity proximity(scene.mesh, *scene.octree, scene.octreeLines);
    MeshLineProximity2::Alg alg(scene.mesh, *scene.octree, scene.octreeLines);
    ko::Reference<MeshLineProximity2::Context> const context = alg.allocContext();

    struct {
        double distance;
        Numbers ofCorner, ofSecond;
    } const cases[] = {
        {0.5, {}, {}},
        {1.0, {}, {}},  // all within it lies exactly at it
        {1.25, {1, 3}, {2, 3, 4}},
        {1.5, {1, 3, 4}, {2, 3, 4, 5}},
        {100.0, {1, 2, 3, 4, 5}, {2, 3, 4, 5}},
    };
    for (auto const& [reach, ofCorner, ofSecond] : cases) {
        double const distance = reach;
        CAPTURE(distance);
        proximity.compute(distance);
        CHECK(tableOf(proximity, 0) == ofCorner);
        CHECK(tableOf(proximity, 1) == ofSecond);
        alg.compute(static_cast<float>(distance));
        CHECK(answerOf(alg, *context, 0) == ofCorner);
        CHECK(answerOf(alg, *context, 1) == ofSecond);
    }
}

TEST_CASE("closeLinesAgreeWithAllLinesInBothForms") {
    struct {
        int numVertices, numLines;
        bool onLattice;
        double distance;
    } const cases[] = {{60, 80, true, 1.0},    {60, 80, true, 2.0},    {200, 150, true, 3.0},
                       {300, 300, false, 0.3}, {300, 300, false, 1.7}, {50, 100, false, 30.0},
                       {5, 40, true, 2.0},     {1, 3, true, 1.0}};
    for (auto const& each : cases)
        for (int leafCapacity : {1, 16}) {
            CAPTURE(each.numVertices);
            CAPTURE(each.distance);
            Scene const scene(
                lineMeshes::randomLines(each.numVertices, each.numLines, each.onLattice, 77),
                leafCapacity);
            MeshLineProximity proximity(scene.mesh, *scene.octree, scene.octreeLines);
            proximity.compute(each.distance);
            MeshLineProximity2::Alg alg(scene.mesh, *scene.octree, scene.octreeLines);
            alg.compute(static_cast<float>(each.distance));
            ko::Reference<MeshLineProximity2::Context> const context = alg.allocContext();
            std::vector<bool> isEnd(static_cast<std::size_t>(each.numVertices));
            for (int i = 0; i < scene.mesh.getNumLines(); ++i)
                for (int const end : scene.mesh.getLines()[i].vertices)
                    isEnd[static_cast<std::size_t>(end)] = true;

            for (int vertex = 0; vertex < each.numVertices; ++vertex) {
                CAPTURE(vertex);
                Numbers const answer = answerOf(alg, *context, vertex);
                checkAgainstAllLines(scene.mesh, vertex, each.distance, answer);
                checkOrder(scene, vertex, each.distance, answer);
                Numbers const listed = tableOf(proximity, vertex);
                if (isEnd[static_cast<std::size_t>(vertex)]) {
                    checkAgainstAllLines(scene.mesh, vertex, each.distance, listed);
                    checkOrder(scene, vertex, each.distance, listed);
                } else {
                    CHECK(listed.empty());
                }
            }
        }
}

TEST_CASE("threadsWithContextsOfTheirOwnGetTheSameAnswers") {
    Scene const scene(lineMeshes::randomLines(400, 500, false, 5));
    MeshLineProximity2::Alg alg(scene.mesh, *scene.octree, scene.octreeLines);
    alg.compute(0.8f);
    MeshLineProximity2::Alg copy(alg);
    int const numVertices = scene.mesh.getNumVertices();
    std::vector<Numbers> expected;
    ko::Reference<MeshLineProximity2::Context> const own = alg.allocContext();
    for (int vertex = 0; vertex < numVertices; ++vertex)
        expected.push_back(answerOf(alg, *own, vertex));

    constexpr int numThreads = 4;
    std::vector<ko::Reference<MeshLineProximity2::Context>> contexts;
    std::vector<std::vector<Numbers>> answers(numThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < numThreads; ++i)
        contexts.push_back(copy.allocContext());
    for (int i = 0; i < numThreads; ++i)
        threads.emplace_back([&copy, numVertices, context = contexts[std::size_t(i)].get(),
                              result = &answers[std::size_t(i)]] {
            for (int round = 0; round < 3; ++round) {
                result->clear();
                for (int vertex = 0; vertex < numVertices; ++vertex)
                    result->push_back(answerOf(copy, *context, vertex));
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    for (std::vector<Numbers> const& each : answers)
        CHECK(each == expected);
}

// After the round the stamps of the first queries come again, for the same lines.
TEST_CASE("stampsGoRoundWithoutForgottenLines") {
    Scene const scene(lineMeshes::randomLines(400, 500, false, 8), 1);
    MeshLineProximity2::Alg alg(scene.mesh, *scene.octree, scene.octreeLines);
    alg.compute(0.6f);
    ko::Reference<MeshLineProximity2::Context> const context = alg.allocContext();
    CHECK(context->lineCount == 500);
    CHECK(context->stamp == 1);
    std::vector<Numbers> before;
    for (int vertex = 0; vertex < 4; ++vertex)
        before.push_back(answerOf(alg, *context, vertex));
    CHECK(context->stamp == 5);
    context->stamp = 0xFFFFFFFD;
    answerOf(alg, *context, 20);
    CHECK(context->stamp == 0xFFFFFFFE);
    answerOf(alg, *context, 20);
    CHECK(context->stamp == 1);
    std::size_t numLines = 0;
    for (int vertex = 0; vertex < 4; ++vertex) {
        Numbers const after = answerOf(alg, *context, vertex);
        CHECK(after == before[static_cast<std::size_t>(vertex)]);
        numLines += after.size();
    }
    CHECK(numLines > 0);
    CHECK(context->stamp == 5);
}

//     strip 0    o-o-o-o-o-o-o-o       1 runs beside a part of 0
//     strip 1          o-o-o           2 is empty, 3 far away
TEST_CASE("closenessOfStripsIsDirected") {
    lineMeshes::Loop const far = {Point(50, 50, 0), Point(51, 50, 0)};
    lineMeshes::Loop longStrip;
    lineMeshes::Loop shortStrip;
    for (int i = 0; i < 8; ++i)
        longStrip.emplace_back(i, 0, 0);
    for (int i = 3; i < 6; ++i)
        shortStrip.emplace_back(i, 1, 0);
    Scene const scene(meshOfLoops({longStrip, shortStrip, {}, far}));
    MeshLineProximity proximity(scene.mesh, *scene.octree, scene.octreeLines);
    proximity.compute(1.25);
    CHECK(proximity.checkClose(0, 1));
    CHECK_FALSE(proximity.checkClose(1, 0));
    CHECK_FALSE(proximity.checkLineStripsClose(0, 1));
    CHECK_FALSE(proximity.checkLineStripsClose(1, 0));
    CHECK(proximity.checkClose(0, 2));
    CHECK_FALSE(proximity.checkClose(2, 0));
    CHECK_FALSE(proximity.checkClose(0, 3));
    CHECK_FALSE(proximity.checkClose(0, 4));
    CHECK_FALSE(proximity.checkClose(-1, 0));

    Scene const twins(meshOfLoops({lineMeshes::circle(20, 1.0), lineMeshes::circle(20, 1.1)}));
    MeshLineProximity both(twins.mesh, *twins.octree, twins.octreeLines);
    both.compute(0.2);
    CHECK(both.checkLineStripsClose(0, 1));
}

// The second end of a line may lie on A: only where it starts counts.
TEST_CASE("closenessOfStripsLooksAtTheStartOfLines") {
    CompactMesh mesh = support::meshOf({0, 0, 0, 1, 0, 0, 0.5, 1, 0}, {});
    mesh.resizeLineStripArrays(2, 2);  // one point each: 1 and 2
    mesh.getLineStripLengths()[0] = mesh.getLineStripLengths()[1] = 1;
    mesh.getLineStripPoints()[0] = 1;
    mesh.getLineStripPoints()[1] = 2;
    for (bool startsOnA : {false, true}) {
        mesh.resizeLineArray(2);
        mesh.getLines()[0] = {{startsOnA ? 1 : 0, startsOnA ? 0 : 1}};
        mesh.getLines()[1] = {{2, 2}};  // so that 2 is the end of a line
        Scene const scene(mesh);
        MeshLineProximity proximity(scene.mesh, *scene.octree, scene.octreeLines);
        proximity.compute(2.0);
        CHECK(proximity.numLines(2) == 1);
        CHECK(proximity.checkClose(0, 1) == startsOnA);
    }
}

TEST_CASE("nothingIsCloseWithoutLinesOrDistance") {
    Scene const empty{CompactMesh()};
    Scene const bare(support::cube());
    for (Scene const* const scene : {&empty, &bare}) {
        MeshLineProximity proximity(scene->mesh, *scene->octree, scene->octreeLines);
        proximity.compute(1.0);
        MeshLineProximity2::Alg alg(scene->mesh, *scene->octree, scene->octreeLines);
        alg.compute(1.0f);
        ko::Reference<MeshLineProximity2::Context> const context = alg.allocContext();
        for (int vertex = 0; vertex < scene->mesh.getNumVertices(); ++vertex) {
            CHECK(proximity.numLines(vertex) == 0);
            int number = 7;
            int const* lines = &number;
            CHECK(alg.getCloseLines(*context, vertex, lines) == 0);
            CHECK(lines == nullptr);
        }
    }

    Scene const scene(lineMeshes::randomLines(30, 60, true, 3));
    double const nan = std::numeric_limits<double>::quiet_NaN();
    for (double const distance : {0.0, -0.0, -1.0, nan, -double(INFINITY), 1e-300}) {
        MeshLineProximity proximity(scene.mesh, *scene.octree, scene.octreeLines);
        CHECK(proximity.numLines(0) == 0);  // before compute
        proximity.compute(2.0);
        proximity.compute(distance);
        MeshLineProximity2::Alg alg(scene.mesh, *scene.octree, scene.octreeLines);
        ko::Reference<MeshLineProximity2::Context> const context = alg.allocContext();
        CHECK(answerOf(alg, *context, 0).empty());
        alg.compute(static_cast<float>(distance));
        for (int vertex = -1; vertex <= 30; ++vertex)
            CHECK(proximity.numLines(vertex) == 0);
        for (int vertex = 0; vertex < 30; ++vertex)
            CHECK(answerOf(alg, *context, vertex).empty());
    }
}

// Corners that are no numbers are close to nothing; an infinite distance reaches all that is finite.
TEST_CASE("brokenCoordinatesAreSurvived") {
    CompactMesh mesh = lineMeshes::randomLines(40, 60, false, 4);
    mesh.getVertices()[3].x = std::numeric_limits<float>::quiet_NaN();
    mesh.getVertices()[9].y = std::numeric_limits<float>::infinity();
    mesh.getVertices()[17].z = -std::numeric_limits<float>::max();
    mesh.getVertices()[18].z = std::numeric_limits<float>::max();
    Scene const scene(mesh);
    for (double const distance : {0.5, 1e30, double(INFINITY)}) {
        MeshLineProximity proximity(scene.mesh, *scene.octree, scene.octreeLines);
        proximity.compute(distance);
        CHECK(proximity.numLines(3) == 0);
        MeshLineProximity2::Alg alg(scene.mesh, *scene.octree, scene.octreeLines);
        alg.compute(static_cast<float>(distance));
        ko::Reference<MeshLineProximity2::Context> const context = alg.allocContext();
        for (int vertex = 0; vertex < 40; ++vertex)
            CHECK(answerOf(alg, *context, vertex).size() <= 60);
    }
}
