// Values on a surface from outside: what deviation, curvature and flatten write into files of meshes.

#include "app/editRun.h"
#include "support/builders.h"
#include "toolkit/readMesh.h"

#include <algorithm>
#include <cmath>

using namespace commandTest;

namespace {

/// A reference, and a mesh of which every other vertex stands off it.
std::string storeBoth(TemporaryFolder const& folder) {
    koGeom::CompactMesh mesh = support::grid(6, 6);
    store(folder / "flat.obj", mesh);
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        mesh.getVertices()[v].z = v % 2 == 0 ? 0.25f : -0.5f;
    store(folder / "rough.obj", mesh);
    return (folder / "rough.obj") + " " + (folder / "flat.obj");
}

koGeom::CompactMesh readBack(std::string const& path) {
    koGeom::CompactMesh mesh;
    trimora::ReadReport report;
    REQUIRE(trimora::readMesh(path, mesh, report));
    CHECK(report.numProblems == 0);
    return mesh;
}

/// Red and blue parts of the colours tell the signs.
void checkSigns(koGeom::CompactMesh const& mesh) {
    auto const* const colours = mesh.getAttributes(koGeom::PointMesh::ColoursName);
    REQUIRE(colours != nullptr);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        koGeom::MeshFloat4 const& colour = colours->asFloat4()[v];
        CHECK((colour.values[0] > colour.values[2]) == (mesh.getVertices()[v].z > 0.0f));
        CHECK(colour.values[3] == 1.0f);
    }
}

}  // namespace

TEST_CASE("deviationIsWrittenOnTheMeshItself") {
    TemporaryFolder const folder;
    std::string const both = storeBoth(folder);
    REQUIRE(run("deviation --out " + (folder / "a.ply") + " " + both).code == 0);
    koGeom::CompactMesh const mesh = readBack(folder / "a.ply");
    checkSigns(mesh);
    auto const* const values = mesh.getAttributes("deviation");
    REQUIRE(values != nullptr);
    REQUIRE(values->dimension == 1);
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        CHECK(std::abs(values->asFloat()[v]) == doctest::Approx(std::abs(mesh.getVertices()[v].z)));
    CHECK(contentOf(folder / "a.ply").find("property uchar red\n") != std::string::npos);

    REQUIRE(run("deviation --out " + (folder / "a.off") + " " + both).code == 0);
    checkSigns(readBack(folder / "a.off"));
    REQUIRE(run("deviation --out " + (folder / "a.glb") + " " + both).code == 0);
    CHECK(contentOf(folder / "a.glb").find("\"COLOR_0\"") != std::string::npos);
    Run const refused = run("deviation --out " + (folder / "a.stl") + " " + both);
    CHECK(refused.failedWith(4));
    CHECK(refused.err.find(".ply, .glb") != std::string::npos);
}

TEST_CASE("curvatureIsWrittenOnTheMeshItself") {
    TemporaryFolder const folder;
    store(folder / "sphere.obj", support::sphere(3));
    std::string const in = folder / "sphere.obj";
    REQUIRE(run("curvature --kind gaussian " + in + " " + (folder / "a.ply")).code == 0);
    koGeom::CompactMesh const mesh = readBack(folder / "a.ply");
    auto const* const values = mesh.getAttributes("gaussian_curvature");
    REQUIRE(values != nullptr);
    CHECK(values->asFloat()[100] == doctest::Approx(1.0).epsilon(0.05));
    CHECK(mesh.getNumTriangles() == 512);
    CHECK(mesh.getNormalsRaw() == nullptr);  // those that were computed are none of the file's
    CHECK(run("curvature " + in + " " + (folder / "b.stl")).failedWith(4));
    CHECK(!folder.has("b.stl"));
    CHECK(run("curvature " + in + " " + (folder / "values")).code == 0);  // text, as ever
}

TEST_CASE("flattenedMeshesGoIntoEveryFormatThatHoldsTheMap") {
    TemporaryFolder const folder;
    store(folder / "a.obj", support::terrain(8, 8, 1));
    for (std::string const name : {"b.ply", "b.off", "b.obj"}) {
        CAPTURE(name);
        REQUIRE(run("flatten " + (folder / "a.obj") + " " + (folder / name)).code == 0);
        koGeom::CompactMesh const mesh = readBack(folder / name);
        REQUIRE(mesh.getUVsRaw() != nullptr);
        auto const [low, high] =
            std::minmax_element(mesh.getUVsRaw(), mesh.getUVsRaw() + 2 * mesh.getNumVertices());
        CHECK(*high - *low > 0.5f);
    }
    CHECK(run("flatten " + (folder / "a.obj") + " " + (folder / "b.stl")).failedWith(4));
}
