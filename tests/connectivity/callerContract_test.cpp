#include "support/builders.h"

#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/connectivity/getSharedEdgeAdjacentTriangle.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/measure/meshCurvature.h"
#include "trimora/parameterize/SparseMatrix.h"
#include "trimora/planar/meshTriangulate.h"
#include "trimora/repair/meshManifold.h"
#include "trimora/spatial/MeshClosestPoint.h"
#include "trimora/spatial/computeOctreeTris.h"
#include "trimora/spatial/meshRayIntersect.h"

#include <csignal>
#include <doctest/doctest.h>
#include <fcntl.h>
#include <functional>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace koGeom;

namespace {

#ifdef NDEBUG
constexpr bool hasAssertions = false;
#else
constexpr bool hasAssertions = true;
#endif

struct Call {
    char const* name;
    std::function<void()> run;
};

/// Whether the call ends its process by an assertion: run in a child, which says nothing and leaves no core behind.
bool aborts(Call const& call) {
    pid_t const child = fork();
    REQUIRE(child >= 0);
    if (child == 0) {
        rlimit const noCore = {0, 0};
        setrlimit(RLIMIT_CORE, &noCore);
        dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
        std::signal(SIGABRT, SIG_DFL);  // the test's own handler would report
        call.run();
        _exit(0);
    }
    int status = 0;
    REQUIRE(waitpid(child, &status, 0) == child);
    CHECK((WIFSIGNALED(status) || WEXITSTATUS(status) == 0));
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
}

CompactMesh withCorner(int vertex) {
    CompactMesh mesh = support::cube();
    mesh.getTriangles()[5][1] = vertex;
    return mesh;
}

}  // namespace

// Tables of another mesh, and indices out of range. Each call reads beyond an array, or gives nonsense, where nobody asks.
TEST_CASE("debugBuildsStopWhereACallerBreaksTheContract") {
    if (!hasAssertions) {
        MESSAGE("not asked: this build has no assertions");
        return;
    }
    CompactMesh cube = support::cube();
    CompactMesh const other = support::octahedron();
    CompactMesh const renumbered = support::shuffled(cube, 1);  // the same counts
    SimpleMeshCache cache;
    auto const adjTris = cache.getAdjTris(cube);
    auto const octree = cache.getOctree(cube, 1);
    CompactMesh polygon = support::grid(1, 1);
    polygon.resizeTriangleArray(0);
    polygon.polys = MeshSequence({{0, 1, 3, 2}});
    polygon.polys.lengths[0] = 5;
    SparseMatrix matrix(3);
    std::vector<float> curvatures(8);
    int found, edge;
    MeshAdjTris tris;
    MeshAdjVertices vertices;
    MeshManifoldResult manifold;
    OctreeTris octreeTris;
    PointFlt hit;
    Line const ray(Point(0.0, 0.0, 2.0), Vector(0.0, 0.0, -1.0));

    std::vector<Call> const calls = {
        {"corner beyond the vertices", [&] { meshAdjTris(withCorner(8), tris); }},
        {"corner below 0", [&] { computeOctreeTris(withCorner(-1), *octree, octreeTris); }},
        {"triangles of a smaller mesh",
         [&] { meshAdjVertices(cube, *cache.getAdjTris(other), vertices); }},
        {"triangles before a change of numbers",
         [&] { meshManifold(renumbered, *adjTris, manifold); }},
        {"neighbours of a smaller mesh",
         [&] {
             meshCurvature(cube, *adjTris, *cache.getAdjVertices(other), AffineMatrixFlt::Identity,
                           MeanCurvature, curvatures.data());
         }},
        {"voxels of another tree",
         [&] { MeshClosestPoint(cube, *octree, *cache.getOctreeTris(other)); }},
        {"fourth edge of a triangle",
         [&] { getSharedEdgeAdjacentTriangle(0, 3, cube.getTriangles(), *adjTris, found, edge); }},
        {"triangle behind the last", [&] { meshRayTriIntersect(cube, 12, ray, hit); }},
        {"lengths beyond the points", [&] { meshTriangulate(polygon); }},
        {"row below 0", [&] { matrix.addToElement(-1, 0, 1.0); }},
    };
    for (Call const& call : calls) {
        INFO(call.name);
        CHECK(aborts(call));
    }
    // What is as it should be passes.
    CHECK(!aborts({"", [&] { meshManifold(cube, *adjTris, manifold); }}));
}
