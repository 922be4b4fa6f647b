#include "support/checks.h"

#include "trimora/contract/koGeom/PointMesh.h"

#include <algorithm>
#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <new>
#include <set>
#include <string>
#include <vector>

using namespace koGeom;

namespace {

std::vector<std::string> setNames(PointMesh const& mesh) {
    std::vector<std::string> names;
    for (int i = 0; MeshAttributes const* const set = mesh.getAttributes(i); ++i)
        names.emplace_back(set->getName().asChar());
    return names;
}

// Four vertices with every well-known set and one of its own.
PointMesh fullMesh() {
    PointMesh mesh(4);
    mesh.allocNormalArray();
    mesh.allocUVArray();
    mesh.allocSTArray();
    mesh.allocAttributes("weights", 1);
    for (int v = 0; v < 4; ++v) {
        mesh.getVertices()[v].set(static_cast<float>(v), 1.0f, 2.0f);
        mesh.getUVs()[v].set(static_cast<float>(v), 0.5f);
        mesh.getAttributes("weights")->asFloat()[v] = static_cast<float>(10 * v);
    }
    return mesh;
}

}  // namespace

TEST_CASE("positionsAreTheFirstSetAndCannotBeDeletedOrReplaced") {
    PointMesh mesh = fullMesh();
    CHECK(setNames(mesh) ==
          std::vector<std::string>{"vertices", "normals", "uvs", "sts", "weights"});
    CHECK(mesh.getAttributes(5) == nullptr);
    CHECK(mesh.getAttributes(-1) == nullptr);
    CHECK(mesh.getAttributes(0)->asFloat() == mesh.getVerticesRaw());
    mesh.deleteAttributes(PointMesh::VerticesName);
    mesh.allocAttributes(PointMesh::VerticesName, 2);
    CHECK(mesh.getNumAttributes() == 5);
    CHECK(mesh.getAttributes(PointMesh::VerticesName)->dimension == 3);
    CHECK(mesh.getVertices()[3].x == 3.0f);
}

TEST_CASE("namedSetsAndTypedArraysMeet") {
    PointMesh mesh(3);
    CHECK(mesh.getUVs() == nullptr);
    mesh.allocAttributes("uvs", 2);
    CHECK(mesh.getUVsRaw() == mesh.getAttributes("uvs")->asFloat());
    mesh.deleteUVs();
    CHECK(mesh.getAttributes("uvs") == nullptr);
    mesh.allocUVArray();
    mesh.deleteAttributes("uvs");
    mesh.deleteAttributes("uvs");
    CHECK(mesh.getUVs() == nullptr);
}

TEST_CASE("aSetMayBeReplacedAndDeletedByItsOwnName") {
    PointMesh mesh = fullMesh();
    mesh.setNormalsComputed(true);
    mesh.allocAttributes(mesh.getAttributes(1)->getName(), 3);
    CHECK(setNames(mesh)[1] == "normals");
    CHECK_FALSE(mesh.getNormalsComputed());
    mesh.setNormalsComputed(true);
    mesh.deleteAttributes(mesh.getAttributes(1)->getName());
    CHECK(mesh.getNormals() == nullptr);
    CHECK_FALSE(mesh.getNormalsComputed());
}

TEST_CASE("noSetIsLeftTooShortWhenMemoryRunsOut") {
    PointMesh mesh = fullMesh();
    mesh.allocAttributes("wide", 4);
    int const tooMany = std::numeric_limits<int>::max() / 4 + 1;  // for the floats of "wide"
    CHECK_THROWS_AS(mesh.resizeVertexArray(tooMany), std::bad_alloc);
    CHECK(mesh.getNumVertices() == 4);
    CHECK_THROWS_AS(mesh.copyVertices(tooMany, mesh.getVertices()), std::bad_alloc);
    CHECK(mesh.getNumVertices() == 4);
    for (int i = 0; i < mesh.getNumAttributes(); ++i)
        CHECK(mesh.getAttributes(i)->getNumElements() >= 4);
}

TEST_CASE("aSetOfAForeignDimensionIsNotShownAsTyped") {
    PointMesh mesh(3);
    mesh.allocAttributes("uvs", 1);
    mesh.allocAttributes("normals", 4);
    CHECK(mesh.getUVs() == nullptr);
    CHECK(mesh.getNormals() == nullptr);
    CHECK(mesh.allocAttributes("bad", 0) == nullptr);
    CHECK(mesh.allocAttributes("bad", 5) == nullptr);
    CHECK(mesh.getNumAttributes() == 3);
}

TEST_CASE("reallocatingASetKeepsItsPlaceAndClearsIt") {
    PointMesh mesh = fullMesh();
    mesh.allocAttributes("uvs", 2);
    CHECK(setNames(mesh)[2] == "uvs");
    CHECK(mesh.getUVs()[3].u == 0.0f);
}

TEST_CASE("resizingKeepsAllSetsInStepAndFillsWithZeros") {
    PointMesh mesh = fullMesh();
    mesh.getSelectedVertices().resize(4);
    mesh.getSelectedVertices().setAllBits();
    for (int const count : {2, 6, 0, 3, -2}) {
        mesh.resizeVertexArray(count);
        for (int i = 0; i < mesh.getNumAttributes(); ++i)
            CHECK(mesh.getAttributes(i)->getNumElements() == std::max(count, 0));
        if (count == 6) {
            CHECK(mesh.getVertices()[1].x == 1.0f);
            CHECK(mesh.getUVs()[1].u == 1.0f);
            CHECK(mesh.getVertices()[5].y == 0.0f);
            CHECK(mesh.getAttributes("weights")->asFloat()[4] == 0.0f);
        }
    }
    CHECK(mesh.getVertices() == nullptr);
    CHECK(mesh.getSelectedVertices().count == 4);
}

TEST_CASE("copyVerticesResizesTheOtherSetsAndMayReadItself") {
    PointMesh mesh = fullMesh();
    mesh.copyVertices(2, mesh.getVertices() + 2);
    CHECK(mesh.getNumVertices() == 2);
    CHECK(mesh.getVertices()[0].x == 2.0f);
    CHECK(mesh.getUVs()[1].u == 1.0f);
    MeshVertex const fresh[3] = {{7, 7, 7}, {8, 8, 8}, {9, 9, 9}};
    mesh.copyVertices(3, fresh);
    CHECK(mesh.getVertices()[2].z == 9.0f);
    CHECK(mesh.getAttributes("weights")->getNumElements() == 3);
}

TEST_CASE("attributeNamesAreAddedInByteOrder") {
    PointMesh mesh = fullMesh();
    mesh.allocAttributes("Zebra", 1);
    ko::set<koString::CString, ko::less<koString::CString>> names;
    names.insert("kept");
    mesh.getAttributeNames(names);
    std::vector<std::string> found;
    for (koString::CString const& name : names)
        found.emplace_back(name.asChar());
    CHECK(found == std::vector<std::string>{"Zebra", "kept", "normals", "sts", "uvs", "vertices",
                                            "weights"});
}

TEST_CASE("copiesAreDeepDownToSelectionsAndFlags") {
    PointMesh mesh = fullMesh();
    mesh.setNormalsComputed(true);
    mesh.getSelectedVertices().resize(4);
    mesh.getSelectedVertices().setBit(1);
    mesh.getAttributes("weights")->setStoreable(false);
    PointMesh copy;
    copy = mesh;
    mesh.getVertices()[0].x = 99.0f;
    mesh.getSelectedVertices().clearBits();
    CHECK(copy.getVertices()[0].x == 0.0f);
    CHECK(copy.getSelectedVertices().isBitSet(1));
    CHECK(copy.getNormalsComputed());
    CHECK_FALSE(copy.getAttributes("weights")->isStoreable());
    CHECK(copy.getAttributes("uvs")->isStoreable());
}

TEST_CASE("valueRangesFollowTheDataOnlyAfterInvalidation") {
    PointMesh mesh = fullMesh();
    MeshAttributes& weights = *mesh.getAttributes("weights");
    float lower = 0.0f;
    float upper = 0.0f;
    weights.getRange(0, lower, upper);
    CHECK(lower == 0.0f);
    CHECK(upper == 30.0f);
    weights.asFloat()[0] = -5.0f;
    weights.getRange(0, lower, upper);
    CHECK(lower == 0.0f);
    weights.invalidateRange();
    weights.getRange(0, lower, upper);
    CHECK(lower == -5.0f);
    std::fill_n(weights.asFloat(), mesh.getNumVertices(), INFINITY);
    weights.invalidateRange();
    weights.getRange(0, lower, upper);
    CHECK(lower == INFINITY);
    CHECK(upper == INFINITY);
    mesh.resizeVertexArray(0);
    weights.getRange(0, lower, upper);
    CHECK(lower > upper);
}

TEST_CASE("topologyDropsEverySetThatIsNotMarked") {
    PointMesh mesh = fullMesh();
    mesh.setNormalsComputed(true);
    support::ModificationCounter counter(mesh);
    MeshModification modification(&mesh, MeshModification::Topology, nullptr);
    modification.vertexAttribsModified("weights");
    modification.uvsValid();
    mesh.modified(modification);
    CHECK(setNames(mesh) == std::vector<std::string>{"vertices", "uvs", "weights"});
    CHECK_FALSE(mesh.getNormalsComputed());
    CHECK(counter.total() == 1);
}

TEST_CASE("geometryDropsOnlyComputedNormals") {
    for (bool const computed : {false, true}) {
        for (bool const marked : {false, true}) {
            PointMesh mesh = fullMesh();
            mesh.setNormalsComputed(computed);
            MeshModification modification(&mesh, MeshModification::Geometry, nullptr);
            if (marked)
                modification.normalsModified();
            mesh.modified(modification);
            CHECK((mesh.getNormals() != nullptr) == (marked || !computed));
            CHECK(mesh.getNormalsComputed() == (marked && computed));
            CHECK(mesh.getUVs() != nullptr);
        }
    }
}

TEST_CASE("attributesDropNothingAndAreStillSent") {
    PointMesh mesh = fullMesh();
    mesh.setNormalsComputed(true);
    support::ModificationCounter counter(mesh);
    MeshModification modification(&mesh, MeshModification::Attributes, nullptr);
    mesh.modified(modification);
    CHECK(mesh.getNumAttributes() == 5);
    CHECK(mesh.getNormalsComputed());
    CHECK(counter.total() == 1);
    CHECK(counter.type(0) == MeshModification::Attributes);
}

TEST_CASE("newNormalsAreAuthoredUntilToldOtherwise") {
    PointMesh mesh(2);
    mesh.allocNormalArray();
    mesh.setNormalsComputed(true);
    mesh.allocNormalArray();
    CHECK_FALSE(mesh.getNormalsComputed());
    mesh.setNormalsComputed(true);
    mesh.deleteNormals();
    CHECK_FALSE(mesh.getNormalsComputed());
}
