#include "spatial/queryScenes.h"
#include "support/TemporaryFolder.h"
#include "support/checks.h"
#include "support/corpus.h"

#include "trimora/assembly/meshReadObj.h"
#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/measure/MeshDeviation.h"
#include "trimora/spatial/MeshClosestPoint.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <doctest/doctest.h>
#include <limits>
#include <vector>

using namespace koGeom;
using queryScenes::Scene;

namespace {

constexpr float untouched = -77.0f;

struct Settings {
    AffineMatrix matrix;
    AffineMatrix referenceMatrix;
    bool selectedOnly = false;
    bool flip = false;
};

std::vector<float> deviationOf(CompactMesh const& mesh, Scene const& reference,
                               Settings const& settings = {},
                               koUtil::Progress* progress = nullptr) {
    // What the caller's memory holds before must not matter, nor what lies behind.
    std::vector<float> result(static_cast<std::size_t>(mesh.getNumVertices()) + 1, untouched);
    MeshDeviation const owner(reference.mesh, settings.referenceMatrix, reference.octree,
                              reference.octreeTris, progress);
    MeshDeviation deviation(owner);
    AffineMatrix matrix = settings.matrix;
    deviation.calculate(&mesh, matrix, result.data(), settings.selectedOnly, settings.flip);
    CHECK(matrix == settings.matrix);
    CHECK(result.back() == untouched);
    result.pop_back();
    return result;
}

/// One vertex, by the definition, from the place found by one of the two searches.
float signedDistance(CompactMesh const& mesh, int vertex, Point const& p, Point const& nearest,
                     Settings const& settings) {
    Vector const delta = (p - nearest) * settings.referenceMatrix;
    float value = static_cast<float>(delta.length());
    if (mesh.getNormals() != nullptr &&
        dot(mesh.getNormals()[vertex].asVector() * settings.matrix.normalMatrix(), delta) < 0.0)
        value = -value;
    return settings.flip ? -value : value;
}

float bySearch(CompactMesh const& mesh, int vertex, Scene const& reference,
               Settings const& settings, MeshClosestPoint& closest) {
    Point const p = mesh.getVertices()[vertex].asPoint() *
                    (settings.matrix * settings.referenceMatrix.inverse());
    MeshCoord coord;
    double const distance = closest.compute(p, &coord);
    if (!coord.valid())
        return static_cast<float>(distance);
    Point const at = coord.evaluate(reference.mesh.getVertices(), reference.mesh.getTriangles());
    return signedDistance(mesh, vertex, p, at, settings);
}

/// The least distance to any triangle, without a sign.
double byAllTriangles(CompactMesh const& mesh, int vertex, Scene const& reference,
                      Settings const& settings) {
    Point const p = mesh.getVertices()[vertex].asPoint() *
                    (settings.matrix * settings.referenceMatrix.inverse());
    Point best;
    double least2 = std::numeric_limits<double>::max();
    for (int t = 0; t < reference.mesh.getNumTriangles(); ++t) {
        MeshCoord const coord = meshTriClosestPt(reference.mesh.getVerticesRaw(),
                                                 reference.mesh.getTrianglesRaw(), t, p);
        Point const at =
            coord.evaluate(reference.mesh.getVertices(), reference.mesh.getTriangles());
        if (coord.valid() && distance2(at, p) < least2)
            least2 = distance2(at, p), best = at;
    }
    return ((p - best) * settings.referenceMatrix).length();
}

bool sameBits(float a, float b) {
    return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b));
}

/// Vertices of the reference, moved by nothing, little or much, with normals that point anywhere.
CompactMesh cloudAround(Scene const& reference, std::uint64_t seed) {
    support::Random random(seed);
    int const numVertices = reference.mesh.getNumVertices();
    double const size = numVertices > 0 ? reference.diagonal() : 1.0;
    CompactMesh cloud = support::meshOf({}, {});
    cloud.resizeVertexArray(std::min(std::max(200, numVertices), 2 * numVertices));
    cloud.allocNormalArray();
    double const reaches[] = {0.0, 1e-3, 0.05, 2.0};
    for (int v = 0; v < cloud.getNumVertices(); ++v) {
        Point const from = reference.vertex(random.index(numVertices));
        double const reach = reaches[random.index(4)] * size;
        double const to[3] = {from.x + reach * random.real(-1, 1),
                              from.y + reach * random.real(-1, 1),
                              from.z + reach * random.real(-1, 1)};
        cloud.getVertices()[v].set(to);
        cloud.getNormals()[v] =
            Normal(Vector(random.real(-1, 1), random.real(-1, 1), random.real(-1, 1)));
    }
    return cloud;
}

AffineMatrix skewed() {
    AffineMatrix matrix;
    matrix.setFrame({0.25, -0.5, 0.125}, {2.0, 0.25, 0.0}, {-0.5, 1.5, 0.0}, {0.0, 0.25, 0.75});
    return matrix;
}

CompactMesh scaledSphere(float radius, int levels = 4) {
    CompactMesh mesh = queryScenes::scaled(support::sphere(levels), radius, 0.0f);
    meshComputeNormals(mesh);
    return mesh;
}

}  // namespace

TEST_CASE("deviationIsTheClosestPointOfEachVertexToTheLastBit") {
    std::vector<Settings> const allSettings = {{},
                                               {AffineMatrix(), AffineMatrix(2.0), false, true},
                                               {skewed(), skewed()},
                                               {AffineMatrix(0.5), skewed(), false, true}};
    std::uint64_t seed = 1;
    std::list<Scene> all = queryScenes::scenes();
    CompactMesh scan;
    std::string const file = support::corpusFile("rocker_arm.obj");
    if (!file.empty() && meshReadObj(scan, support::nameOf(file)))
        all.emplace_back(scan, 16);
    for (Scene const& reference : all)
        for (Settings const& settings : allSettings) {
            CompactMesh const cloud = cloudAround(reference, seed++);
            std::vector<float> const result = deviationOf(cloud, reference, settings);
            MeshClosestPoint closest(reference.mesh, reference.octree, reference.octreeTris);
            int numOff = 0;
            for (int v = 0; v < cloud.getNumVertices(); ++v)
                numOff += !sameBits(result[static_cast<std::size_t>(v)],
                                    bySearch(cloud, v, reference, settings, closest));
            CHECK_MESSAGE(numOff == 0, "scene of ", reference.mesh.getNumTriangles(), " triangles");
        }
}

TEST_CASE("deviationIsTheLeastOverAllTriangles") {
    for (Settings const& settings : {Settings{}, Settings{skewed(), AffineMatrix(3.0)}})
        for (CompactMesh const& mesh :
             {support::sphere(3), support::terrain(15, 15, 3), support::latticeSoup(60, 90, 2)}) {
            Scene const reference(mesh, 8);
            CompactMesh const cloud = cloudAround(reference, 9);
            std::vector<float> const result = deviationOf(cloud, reference, settings);
            for (int v = 0; v < cloud.getNumVertices(); ++v)
                CHECK(std::abs(result[static_cast<std::size_t>(v)]) ==
                      doctest::Approx(byAllTriangles(cloud, v, reference, settings)).epsilon(1e-6));
        }
}

TEST_CASE("spheresAreApartByTheDifferenceOfTheirRadii") {
    Scene const reference(support::sphere(5));
    for (float const radius : {0.5f, 0.9f, 1.25f, 3.0f}) {
        std::vector<float> const above = deviationOf(scaledSphere(radius), reference);
        CompactMesh bare = scaledSphere(radius);
        bare.deleteNormals();
        std::vector<float> const bareResult = deviationOf(bare, reference);
        std::vector<float> const flipped =
            deviationOf(scaledSphere(radius), reference, {{}, {}, false, true});
        for (std::size_t v = 0; v < above.size(); ++v) {
            CHECK(above[v] == doctest::Approx(radius - 1.0f).epsilon(2e-3));
            CHECK(flipped[v] == -above[v]);
            CHECK(bareResult[v] == std::abs(above[v]));  // nothing tells the sides
        }
    }
}

// Both under one matrix: what was measured before, in its units. A mirror keeps the sides too.
TEST_CASE("matricesOfBothMoveAndScaleTheResult") {
    Scene const reference(support::sphere(4));
    CompactMesh const mesh = scaledSphere(1.25f);
    std::vector<float> const plain = deviationOf(mesh, reference);
    for (double const scale : {4.0, 0.25, -2.0}) {
        AffineMatrix matrix(scale);
        matrix.m[9] = 7.0;
        std::vector<float> const scaled = deviationOf(mesh, reference, {matrix, matrix});
        AffineMatrix const half(scale / 1.25);
        std::vector<float> const onIt =
            deviationOf(mesh, reference, {half, AffineMatrix(scale), false, false});
        for (std::size_t v = 0; v < plain.size(); ++v) {
            CHECK(scaled[v] == doctest::Approx(std::abs(scale) * plain[v]).epsilon(1e-6));
            CHECK(std::abs(onIt[v]) < 1e-6 * std::abs(scale));
        }
    }
}

TEST_CASE("verticesThatAreNotSelectedGetTheLargestFloat") {
    Scene const reference(support::sphere(3));
    CompactMesh mesh = scaledSphere(1.5f, 3);
    std::vector<float> const all = deviationOf(mesh, reference);
    mesh.getSelectedVertices().resize(mesh.getNumVertices());
    CHECK(deviationOf(mesh, reference, {{}, {}, true, false}) == all);  // none is selected
    for (int v = 0; v < mesh.getNumVertices(); v += 3)
        mesh.getSelectedVertices().setBit(v);
    CHECK(deviationOf(mesh, reference) == all);
    std::vector<float> const some = deviationOf(mesh, reference, {{}, {}, true, true});
    for (std::size_t v = 0; v < all.size(); ++v)
        CHECK(some[v] == (v % 3 == 0 ? -all[v] : std::numeric_limits<float>::max()));
}

TEST_CASE("numberOfThreadsDoesNotChangeABit") {
    Scene const reference(support::latticeSoup(300, 500, 4));
    CompactMesh const mesh = cloudAround(reference, 3);
    CompactMesh const few = cloudAround(Scene(support::triangle()), 1);
    Scene const large(
        support::torus(90, 70));  // 12600 triangles, whose tree is made by all threads
    CompactMesh const sphere = scaledSphere(2.0f, 5);
    std::vector<float> const expectedLarge = deviationOf(sphere, large);
    std::vector<float> const expected = deviationOf(mesh, reference);
    std::vector<float> const expectedFew = deviationOf(few, reference);
    support::withPools([&](int) {
        CHECK(deviationOf(mesh, reference) == expected);
        CHECK(deviationOf(sphere, large) == expectedLarge);
        CHECK(deviationOf(few, reference) == expectedFew);
    });
}

TEST_CASE("cancelledAtAnyPollTheRestStaysAsItWas") {
    Scene const reference(support::sphere(3));
    CompactMesh const mesh = scaledSphere(1.5f, 4);  // 1026 vertices
    std::vector<float> const all = deviationOf(mesh, reference);
    support::withPools([&](int numThreads) {
        for (int poll = 0; poll <= 5; ++poll) {  // the first value, 0, is no news
            koUtil::Progress progress;
            int numReports = 0;
            if (poll == 0)
                progress.cancel();
            progress.setListener([&](double, char const*) {
                if (++numReports == poll)
                    progress.cancel();
            });
            std::vector<float> const result = deviationOf(mesh, reference, {}, &progress);
            std::size_t numDone = 0;
            for (std::size_t v = 0; v < all.size(); ++v) {
                CHECK((result[v] == all[v] || result[v] == untouched));
                numDone += result[v] != untouched;
            }
            if (poll == 0)
                CHECK(numDone == 0);  // each thread asks before its first vertex
            if (numThreads == 1)
                CHECK(numDone == (poll == 0 ? 0u : std::min(1026u, 200u * (poll + 1u))));
        }
    });
}

TEST_CASE("withoutTrianglesTheDistanceIsInfiniteAndWithoutVerticesNothingIsSaid") {
    Scene const nothing(support::meshOf({0, 0, 0, 1, 1, 1}, {}));
    for (float const value : deviationOf(support::cube(), nothing))
        CHECK(value == std::numeric_limits<float>::infinity());
    support::DebugCapture capture;
    Scene const cube(support::cube());
    std::string const before = capture.text();
    CHECK(deviationOf(support::meshOf({}, {}), cube).empty());
    MeshDeviation deviation(cube.mesh, AffineMatrix(), cube.octree, cube.octreeTris, nullptr);
    AffineMatrix matrix;
    deviation.calculate(nullptr, matrix, nullptr, false, false);
    deviation.calculate(&cube.mesh, matrix, nullptr, false, false);
    CHECK(capture.text() == before);
    deviationOf(support::cube(), cube);
    std::string const said = capture.text().substr(before.size());
    CHECK(said.find("   meshDeviation thread time: 0 ") != std::string::npos);
    CHECK(said.rfind("   meshDeviation: ") > said.find(" \n"));
    CHECK(said.substr(said.size() - 3) == " s\n");
    koUtil::Progress cancelled;
    cancelled.cancel();
    deviationOf(support::cube(), cube, {}, &cancelled);  // says as much
    std::string const saidThen = capture.text().substr(before.size() + said.size());
    CHECK(std::count(saidThen.begin(), saidThen.end(), '\n') ==
          std::count(said.begin(), said.end(), '\n'));
}
