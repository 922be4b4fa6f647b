#include "support/TemporaryFolder.h"
#include "support/builders.h"

#include "trimora/assembly/meshReadObj.h"
#include "trimora/assembly/meshWriteObj.h"
#include "trimora/contract/koGeom/MeshSubset.h"

#include <doctest/doctest.h>
#include <string>

using namespace koGeom;
using support::nameOf;

namespace {

/// One triangle whose numbers need rounding to six digits.
CompactMesh oneTriangle(bool withNormals, bool withUVs) {
    CompactMesh mesh =
        support::meshOf({0, 0.5f, -1, 1234567, 1e-7f, 1.0f / 3, 1e10f, 2, 3}, {0, 1, 2});
    if (withNormals) {
        mesh.allocNormalArray();
        for (int i = 0; i < 3; ++i)
            mesh.getNormals()[i].z = static_cast<float>(i) / 4;
    }
    if (withUVs) {
        mesh.allocUVArray();
        for (int i = 0; i < 3; ++i)
            mesh.getUVs()[i].set(static_cast<float>(i), 0.125f);
    }
    return mesh;
}

std::string written(CompactMesh const& mesh) {
    support::TemporaryFolder const folder;
    REQUIRE(meshWriteObj(mesh, nameOf(folder.path("a.obj"))));
    CHECK(folder.size() == 1);
    return folder.read("a.obj");
}

std::string const vertexLines = "v 0 0.5 -1\nv 1.23457e+06 1e-07 0.333333\nv 1e+10 2 3\n";
std::string const normalLines = "vn 0 0 0\nvn 0 0 0.25\nvn 0 0 0.5\n";
std::string const uvLines = "vt 0 0.125\nvt 1 0.125\nvt 2 0.125\n";

}  // namespace

TEST_CASE("writesTheCornersByWhatTheMeshHas") {
    CHECK(written(oneTriangle(false, false)) == vertexLines + "f 1  2  3 \n");
    CHECK(written(oneTriangle(true, false)) == vertexLines + normalLines + "f 1//1 2//2 3//3\n");
    CHECK(written(oneTriangle(false, true)) == vertexLines + uvLines + "f 1/1 2/2 3/3\n");
    CHECK(written(oneTriangle(true, true)) ==
          vertexLines + normalLines + uvLines + "f 1/1/1 2/2/2 3/3/3\n");
    CHECK(written(CompactMesh()) == "");
}

TEST_CASE("aFileWithoutNormalsComesBackWithoutFaces") {
    support::TemporaryFolder const folder;
    koOS::Filename const name = nameOf(folder.path("a.obj"));
    CompactMesh mesh;
    REQUIRE(meshWriteObj(oneTriangle(false, false), name));
    REQUIRE(meshReadObj(mesh, name));
    CHECK(mesh.getNumVertices() == 3);
    CHECK(mesh.getNumTriangles() == 0);

    REQUIRE(meshWriteObj(oneTriangle(true, false), name));
    REQUIRE(meshReadObj(mesh, name));
    CHECK(support::trianglesOf(mesh) == std::vector<int>{0, 1, 2});
    CHECK(mesh.getNormals() == nullptr);
}

TEST_CASE("writesSubsetsWithTheirMaterials") {
    support::TemporaryFolder const folder;
    CompactMesh const mesh =
        support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0}, {0, 1, 2, 1, 3, 2});
    int const both[] = {1, 0};
    int const second[] = {1, 7, -1};
    ko::list<ko::Reference<MeshSubset>> subsets;
    subsets.push_back(ko::Reference<MeshSubset>(new MeshSubset(0, nullptr, 2, both)));
    subsets.push_back(ko::Reference<MeshSubset>());
    subsets.push_back(ko::Reference<MeshSubset>(new MeshSubset(0, nullptr, 3, second)));
    ko::list<koUtil::Color> const colors = {{1, 0.5f, 0}, {0, 0, 1.0f / 3}};

    REQUIRE(meshWriteObj(mesh, subsets, colors, nameOf(folder.path("part.v2.obj"))));
    CHECK(folder.read("part.v2.obj") ==
          "mtllib part.v2.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\nv 1 1 0\n"
          "usemtl mat0\nf 2  4  3 \nf 1  2  3 \nusemtl mat1\nusemtl mat2\nf 2  4  3 \n");
    std::string const head = "Ns 100.0\nd 1.0\nillum 2\n";
    std::string const tail = "Ka 1.0 1.0 1.0\nKs 1.0 1.0 1.0\nKe 0.0 0.0 0.0\n\n";
    CHECK(folder.read("part.v2.mtl") == "newmtl mat0\n" + head + "Kd 1 0.5 0\n" + tail +
                                            "newmtl mat1\n" + head + "Kd 0 0 0.333333\n" + tail);

    REQUIRE(meshWriteObj(mesh, {}, {}, nameOf(folder.path("none.obj"))));
    CHECK(folder.read("none.obj") == "mtllib none.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\nv 1 1 0\n");
    CHECK(folder.read("none.mtl") == "");
}

TEST_CASE("refusesAFileThatCannotBeOpenedAndWritesNoMaterials") {
    support::TemporaryFolder const folder;
    CompactMesh const mesh = support::triangle();
    CHECK_FALSE(meshWriteObj(mesh, nameOf(folder.path("absent/a.obj"))));
    CHECK_FALSE(meshWriteObj(mesh, {}, {koUtil::Color()}, nameOf(folder.path())));
    CHECK(folder.size() == 0);
}
