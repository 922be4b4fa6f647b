#include "formatChecks.h"
#include "plyTexts.h"

#include <cmath>

using namespace trimora;
using namespace plyTexts;
using formatChecks::bytesOf;
using formatChecks::problemsOf;
using formatChecks::readBytes;
using koGeom::CompactMesh;
using support::coordinatesOf;
using support::trianglesOf;
using Encoding = WriteOptions::Encoding;
using Floats = std::vector<float>;
using Ints = std::vector<int>;
using Strings = std::vector<std::string>;

namespace {

/// A square of four vertices, and the given number of faces.
formatChecks::Read readSquare(int numFaces, std::string const& faces,
                              ReadOptions const& options = {}) {
    return readBytes(textHeader("element vertex 4\n" + xyz + "element face " +
                                std::to_string(numFaces) + "\n" + faceList) +
                         square + faces,
                     "a.ply", options);
}

}  // namespace

//   3---2
//   | / |     polygons are cut into fans from their first corner
//   0---1
TEST_CASE("cutsPolygonsAndDropsBadFaces") {
    auto const read =
        readSquare(8, "4 0 1 2 3\n2 0 1\n3 0 1 9\n3 0 1 -1\n3 0 1 x\n3 0 1\n\n3 2 1 0 7\n-1\n");
    REQUIRE(read.outcome);
    CHECK(trianglesOf(read.mesh) == Ints{0, 1, 2, 0, 2, 3, 2, 1, 0});
    CHECK(read.report.trianglePolygon == Ints{0, 0, 1});
    CHECK(read.report.faces == 8);
    CHECK(read.report.polygons == 1);
    CHECK(read.report.dropped.tooFewCorners == 1);
    CHECK(read.report.dropped.outOfRange == 2);
    CHECK(read.report.dropped.notANumber == 3);
    CHECK(problemsOf(read.report) ==
          Strings{"15: face with fewer than three corners; dropped",
                  "16: face at a vertex that the file does not hold; dropped",
                  "17: face at a vertex that the file does not hold; dropped",
                  "18: face with a corner that is absent or no index; dropped",
                  "19: face with a corner that is absent or no index; dropped",
                  "22: face with a corner that is absent or no index; dropped"});
}

TEST_CASE("badTrianglesOfABinaryFileAreDroppedWithTheirBytes") {
    auto const file = [](int badCorner) {
        PlyText ply("binary_little_endian");
        ply.line("element vertex 3\n" + xyz + "element face 3\n" +
                 faceList.substr(0, faceList.size() - 1));
        ply.endHeader();
        for (double const x : {0., 0., 0., 1., 0., 0., 0., 1., std::nan("")})
            ply.number("float", x);
        for (int const corner : {0, badCorner, 1}) {
            ply.number("uchar", 3);
            for (int const c : {0, 1, corner == 0 ? 2 : corner})
                ply.number("int", c);
        }
        return ply.text();
    };
    std::string const bytes = file(3);
    auto const read = readBytes(bytes, "a.ply");
    std::size_t const body = bytes.find("end_header\n") + 11;
    CHECK(trianglesOf(read.mesh) == Ints{0, 1, 2, 0, 1, 1});
    CHECK(read.report.faces == 3);
    CHECK(read.report.dropped.outOfRange == 1);
    CHECK(problemsOf(read.report) ==
          Strings{std::to_string(body + 24) + ": vertex with a coordinate that is NaN or infinite",
                  std::to_string(body + 36 + 13) +
                      ": face at a vertex that the file does not hold; dropped"});
    CHECK(readBytes(file(-1), "a.ply").report.dropped.outOfRange == 1);
    ReadOptions options;
    options.dropNonfinite = true;
    auto const finite = readBytes(file(1), "a.ply", options);
    CHECK(trianglesOf(finite.mesh) == Ints{0, 1, 1, 0, 1, 1});
    CHECK(finite.report.dropped.nonfinite == 1);
}

TEST_CASE("stripsBecomeTriangles") {
    for (std::string const form : {"ascii", "binary_big_endian"}) {
        PlyText ply(form);
        ply.line("element vertex 4\n" + xyz +
                 "element tristrips 2\nproperty list int int vertex_indices");
        ply.endHeader();
        for (int i = 0; i < 4; ++i) {
            for (int k = 0; k < 3; ++k)
                ply.number("float", i * k);
            ply.endItem();
        }
        for (Ints const& strip :
             {Ints{0, 1, 2, 3, -1, 3, 2, 1, -1, 0, 1, -1}, Ints{1, 2, 2, 3, 9}}) {
            ply.number("int", static_cast<double>(strip.size()));
            for (int const corner : strip)
                ply.number("int", corner);
            ply.endItem();
        }
        auto const read = readBytes(ply.text(), "a.ply");
        REQUIRE(read.outcome);
        CHECK(trianglesOf(read.mesh) == Ints{0, 1, 2, 2, 1, 3, 3, 2, 1});
        CHECK(read.report.faces == 4);  // of 2 3 9, and the joins are none
        CHECK(read.report.dropped.outOfRange == 1);
    }
}

TEST_CASE("polygonsAreWrittenWhereAPlyHasNoTriangles") {
    CompactMesh mesh = support::meshOf({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}, {});
    ko::vector<int> longest;
    for (int i = 0; i < 300; ++i)
        longest.push_back(i % 4);
    mesh.polys = koGeom::MeshSequence(ko::vector<ko::vector<int>>{{0, 1, 2, 3}, {0, 2, 1}});
    std::string const text = bytesOf(mesh, "a.ply", encoded(Encoding::Text));
    CHECK(text.substr(text.size() - 18) == "4 0 1 2 3\n3 0 2 1\n");
    for (bool const hasLong : {false, true}) {
        if (hasLong)
            mesh.polys = koGeom::MeshSequence(ko::vector<ko::vector<int>>{{0, 1, 2, 3}, longest});
        auto const read = readBytes(bytesOf(mesh, "a.ply"), "a.ply");
        CHECK(read.report.polygons == (hasLong ? 2 : 1));
        CHECK(read.mesh.getNumTriangles() == (hasLong ? 300 : 3));
    }
}

TEST_CASE("countsAndIndicesMayBeFloatsThatAreWhole") {
    auto const read = readSquare(5, "3.0 0 1 2\n3 0.0 1e0 2.\n2.5 0 1 2\n3 0 1 1.5\n3 0 1 1e300\n");
    CHECK(trianglesOf(read.mesh) == Ints{0, 1, 2, 0, 1, 2});
    CHECK(read.report.dropped.notANumber == 3);
    for (double const count : {3.0, 3.5, -3.0, std::nan(""), 1e30}) {
        CAPTURE(count);
        PlyText ply("binary_big_endian");
        ply.line("element vertex 3\n" + xyz +
                 "element face 1\nproperty list float int vertex_indices");
        ply.endHeader();
        for (int i = 0; i < 9; ++i)
            ply.number("float", i);
        ply.number("float", count);
        for (int i = 0; i < 3; ++i)
            ply.number("int", i);
        auto const binary = readBytes(ply.text(), "a.ply");
        REQUIRE(binary.outcome);
        CHECK(binary.mesh.getNumTriangles() == (count == 3.0 ? 1 : 0));
        CHECK(binary.report.numProblems == (count == 3.0 ? 0 : 1));
    }
}

// A count of a list that is none is told with its byte; one that may be right is where the file ends.
TEST_CASE("countsThatAreNoneAreToldFromFilesThatEnd") {
    struct Case {
        char const* type;
        double count;
        bool isNone;
        char const* element = "face";
        char const* list = "vertex_indices";
    };
    for (Case const& face : std::vector<Case>{{"float", 3.5, true},
                                              {"char", -1, true},
                                              {"int", 2147483647, true},
                                              {"int", 5, true},  // more than there are vertices
                                              {"int", 4, false},
                                              {"int", 5, false, "tristrips"},
                                              {"int", -1, true, "tristrips"},
                                              {"int", 5, false, "face", "flags"},
                                              {"float", 0.5, true, "face", "flags"}}) {
        CAPTURE(face.type);
        CAPTURE(face.count);
        PlyText ply("binary_little_endian");
        ply.line("element vertex 4\n" + xyz + "element " + face.element + " 2\nproperty list " +
                 face.type + " int " + face.list);
        ply.endHeader();
        for (int i = 0; i < 12; ++i)
            ply.number("float", i);
        auto const addFace = [&ply, &face](double count) {
            ply.number(face.type, count);
            for (int i = 0; i < 3; ++i)
                ply.number("int", i);
        };
        addFace(3);
        std::size_t const place = ply.text().size();
        addFace(face.count);
        auto const read = readBytes(ply.text(), "a.ply");
        REQUIRE(read.outcome);
        REQUIRE(read.report.cutShort.size() == 1);
        CHECK(read.report.cutShort[0].whole == 1);
        CHECK(read.report.badCountAt() == (face.isNone ? std::int64_t(place) : -1));
        std::string const start =
            std::to_string(place) + ": " +
            (face.isNone ? "a count of a list that is none" : "the file ends");
        CHECK(problemsOf(read.report).at(0).substr(0, start.size()) == start);
    }
}

TEST_CASE("aSecondListOfFacesIsDoubted") {
    std::string const second = "element face 2\n" + faceList;
    auto const readWith = [&](std::string const& elements, std::string const& items) {
        return readBytes(textHeader("element vertex 4\n" + xyz + "element face 1\n" + faceList +
                                    elements) +
                             square + "3 0 1 2\n" + items,
                         "a.ply")
            .report;
    };
    ReadReport const report = readWith(second, "3 0 2 3\n3 0 1 3\n");
    CHECK(report.triangles == 1);
    CHECK(report.doubts ==
          Strings{"has a second list of elements 'face', of 2, which was not read"});
    CHECK(report.otherElements == 0);
    CHECK(report.ignoredProperties.empty());
    CHECK(readWith("element face 0\n" + faceList, "").doubts.empty());
    ReadReport const others =
        readWith("element a 1\nproperty int b\nelement a 1\nproperty int b\n", "1\n2\n");
    CHECK(others.doubts.empty());
    CHECK(others.otherElements == 2);
}

//   3---2
//   | / |     texture coordinates told by face
//   0---1
TEST_CASE("textureCoordinatesOfFacesAreKeptWhereVerticesAgree") {
    struct Face {
        Ints corners;
        Floats textures;
    };
    using Faces = std::vector<Face>;
    auto const readFaces = [](std::string const& form, bool texturesFirst, Faces const& faces) {
        PlyText ply(form);
        std::string const textures = "property list uchar double texcoord\n";
        std::string const header =
            "element vertex 5\n" + xyz + "element face " + std::to_string(faces.size()) + "\n" +
            (texturesFirst ? textures + faceList : faceList + textures) + "property int texnumber";
        ply.line(header);
        ply.endHeader();
        for (int v = 0; v < 5; ++v) {
            for (int axis = 0; axis < 3; ++axis)
                ply.number("float", v * axis);
            ply.endItem();
        }
        for (Face const& face : faces) {
            for (bool const areTextures : {texturesFirst, !texturesFirst}) {
                ply.number("uchar", static_cast<double>(areTextures ? face.textures.size()
                                                                    : face.corners.size()));
                for (float const value : face.textures)
                    if (areTextures)
                        ply.number("double", static_cast<double>(value));
                for (int const corner : face.corners)
                    if (!areTextures)
                        ply.number("int", corner);
            }
            ply.number("int", 0);
            ply.endItem();
        }
        return readBytes(ply.text(), "a.ply");
    };
    Faces const agreeing = {{{0, 1, 2}, {0, 0, 1, 0, 1, 1}},
                            {{0, 7, 1}, {9, 9, 9, 9, 9, 9}},  // dropped
                            {{0, 2, 3}, {0, 0, 1, 1, 0, 1}}};
    Faces differing = agreeing;
    differing[2].textures[2] = 0.5f;
    Faces missing = agreeing;
    missing[2].textures.pop_back();
    using Ignored = Strings;
    for (std::string const form : {"ascii", "binary_little_endian"})
        for (bool const texturesFirst : {false, true}) {
            CAPTURE(form);
            auto const kept = readFaces(form, texturesFirst, agreeing);
            REQUIRE(kept.mesh.getUVsRaw() != nullptr);
            CHECK(Floats(kept.mesh.getUVsRaw(), kept.mesh.getUVsRaw() + 10) ==
                  Floats{0, 0, 1, 0, 1, 1, 0, 1, 0, 0});
            CHECK(kept.report.textureCoordinates.kept);
            CHECK(kept.report.ignoredProperties == Ignored{"face.texnumber"});
            auto const seams = readFaces(form, texturesFirst, differing);
            CHECK(seams.mesh.getUVsRaw() == nullptr);
            CHECK(seams.report.textureCoordinates.seams == 1);
            CHECK(seams.report.ignoredProperties.size() == 2);
            auto const partly = readFaces(form, texturesFirst, missing);
            CHECK(partly.mesh.getUVsRaw() == nullptr);
            CHECK(partly.report.textureCoordinates.missing == 1);
            CHECK(partly.mesh.getNumTriangles() == 2);
        }
}
