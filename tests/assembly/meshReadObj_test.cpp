#include "support/TemporaryFolder.h"
#include "support/builders.h"
#include "support/checks.h"
#include "support/corpus.h"

#include "trimora/assembly/detail/textFiles.h"
#include "trimora/assembly/meshReadObj.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <doctest/doctest.h>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

using namespace koGeom;
using support::coordinatesOf;
using support::nameOf;
using support::trianglesOf;
using Ints = std::vector<int>;
using Floats = std::vector<float>;

namespace {

CompactMesh meshFrom(std::string const& text) {
    CompactMesh mesh;
    REQUIRE(detail::readObjText(mesh, text));
    CHECK(support::faultOf(mesh) == "");
    return mesh;
}

Ints pointsOf(MeshSequence const& runs) {
    return {runs.points.begin(), runs.points.end()};
}

Ints lengthsOf(MeshSequence const& runs) {
    return {runs.lengths.begin(), runs.lengths.end()};
}

std::string const fourVertices = "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\n";

/// What formatted extraction from a text stream makes of a file: vertices and faces, each from 0.
struct StreamReader {
    Floats coordinates;
    std::vector<Ints> faces;

    explicit StreamReader(std::string const& text) {
        std::istringstream file(text);
        for (std::string line; std::getline(file, line);) {
            line.erase(0, std::min(line.find_first_not_of(" \t\v\f\r"), line.size()));
            if (line.rfind("v ", 0) == 0)
                readPosition(line.substr(2));
            else if (line.rfind("f ", 0) == 0)
                readFace(line.substr(2));
        }
        int const numVertices = static_cast<int>(coordinates.size() / 3);
        std::erase_if(faces, [numVertices](Ints const& face) {
            return std::any_of(face.begin(), face.end(),
                               [numVertices](int i) { return i < 0 || i >= numVertices; });
        });
    }

    void readPosition(std::string const& text) {
        std::istringstream stream(text);
        for (int i = 0; i < 3; ++i) {
            float x = 0.0f;
            stream >> x;
            coordinates.push_back(stream.fail() ? 0.0f : x);
        }
    }

    void readFace(std::string const& text) {
        std::istringstream stream(text);
        Ints face;
        while (stream.good()) {
            int vertex = -1, other = -1;
            stream >> vertex;
            if (stream.peek() == '/') {
                stream.get();
                if (stream.peek() != '/')
                    stream >> other;
                if (stream.peek() == '/') {
                    stream.get();
                    stream >> other;
                }
            }
            face.push_back(vertex == std::numeric_limits<int>::min() ? -1 : vertex - 1);
        }
        if (face.size() >= 3)
            faces.push_back(face);
    }
};

std::vector<std::uint32_t> bitsOf(Floats const& values) {
    std::vector<std::uint32_t> bits;
    for (float const x : values)
        bits.push_back(std::bit_cast<std::uint32_t>(x));
    return bits;
}

void checkAgainstStream(std::string const& text) {
    CAPTURE(text);
    StreamReader const expected(text);
    CompactMesh const mesh = meshFrom(text);
    CHECK(bitsOf(coordinatesOf(mesh)) == bitsOf(expected.coordinates));

    Ints corners, lengths;
    for (Ints const& face : expected.faces) {
        corners.insert(corners.end(), face.begin(), face.end());
        lengths.push_back(static_cast<int>(face.size()));
    }
    bool const areTriangles =
        std::all_of(lengths.begin(), lengths.end(), [](int length) { return length == 3; });
    CHECK(trianglesOf(mesh) == (areTriangles ? corners : Ints{}));
    CHECK(pointsOf(mesh.polys) == (areTriangles ? Ints{} : corners));
    CHECK(lengthsOf(mesh.polys) == (areTriangles ? Ints{} : lengths));
}

}  // namespace

TEST_CASE("readsPositionsAndTriangles") {
    CompactMesh const mesh =
        meshFrom("# comment\n$ too\nmtllib a.mtl\n  v 1 2.5 -3e-1\nv 4 5 6\nv 7 8 9\n"
                 "vn 0 0 1\nvt 0 0\ng part\nusemtl red\nf 1 2 3\nf 3/1/1 2//1 1/1");
    CHECK(coordinatesOf(mesh) == Floats{1, 2.5f, -0.3f, 4, 5, 6, 7, 8, 9});
    CHECK(trianglesOf(mesh) == Ints{0, 1, 2, 2, 1, 0});
    CHECK(mesh.getNormals() == nullptr);
    CHECK(mesh.getUVs() == nullptr);
}

TEST_CASE("facesMayComeBeforeTheirVertices") {
    CHECK(trianglesOf(meshFrom("f 1 2 3\n" + fourVertices)) == Ints{0, 1, 2});
}

TEST_CASE("dropsTheFaceOfALineThatEndsInWhiteSpace") {
    for (std::string const end : {" \n", "\t\n", "\r\n", " "}) {
        CompactMesh const mesh = meshFrom(fourVertices + "f 1 2 3" + end);
        CHECK(mesh.getNumVertices() == 4);
        CHECK(mesh.getNumTriangles() == 0);
    }
}

TEST_CASE("dropsFacesOfBadIndicesAndOfFewCorners") {
    for (std::string const face :
         {"f 1 2", "f 1", "f ", "f", "f 0 1 2", "f 1 2 5", "f -1 -2 -3", "f 1 2 x", "f 1 2 3 x",
          "f 1 2 99999999999", "f 1/ 2/ 3/", "f\t1\t2\t3"}) {
        CAPTURE(face);
        CompactMesh const mesh = meshFrom(fourVertices + "f 2 3 4\n" + face);
        CHECK(trianglesOf(mesh) == Ints{1, 2, 3});
        CHECK(mesh.getNumPolys() == 0);
    }
}

TEST_CASE("coordinateThatDoesNotParseIsZeroAndSoAreThoseBehindIt") {
    CompactMesh const mesh =
        meshFrom("v 1 x 3\nv\nv \nv 1 2\nv 5 1e99 7\nv nan 1 1\nvertex 1 2 3\nv 1e 2 3\n");
    CHECK(coordinatesOf(mesh) == Floats{1, 0, 0, 0, 0, 0, 1, 2, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0});
}

//   3---2     one quad among the triangles: all faces become polygons
//   |   |
//   0---1
TEST_CASE("oneLargerFaceMakesAllFacesPolygons") {
    CompactMesh const mesh = meshFrom(fourVertices + "f 1 2 3\nf 1 2 3 4\nf 4 3 2\n");
    CHECK(mesh.getNumTriangles() == 0);
    CHECK(lengthsOf(mesh.polys) == Ints{3, 4, 3});
    CHECK(pointsOf(mesh.polys) == Ints{0, 1, 2, 0, 1, 2, 3, 3, 2, 1});
}

TEST_CASE("aDroppedLargerFaceMakesNoPolygons") {
    CompactMesh const mesh = meshFrom(fourVertices + "f 1 2 3 9\nf 4 3 2\n");
    CHECK(trianglesOf(mesh) == Ints{3, 2, 1});
    CHECK(mesh.getNumPolys() == 0);
}

TEST_CASE("polygonsLeaveTheOldTrianglesWhileTheirIndicesAreInRange") {
    CompactMesh mesh = support::tetrahedron();
    Ints const before = trianglesOf(mesh);
    REQUIRE(detail::readObjText(mesh, fourVertices + "f 1 2 3 4\n"));
    CHECK(trianglesOf(mesh) == before);
    CHECK(mesh.getNumPolys() == 1);

    mesh = support::cube();
    REQUIRE(detail::readObjText(mesh, fourVertices + "f 1 2 3 4\n"));
    CHECK(mesh.getNumTriangles() == 0);
    CHECK(support::faultOf(mesh) == "");
}

TEST_CASE("indexArraysOfBeforeGoWhenTheyPointBeyondTheVertices") {
    CompactMesh mesh = support::cube();
    mesh.resizeLineArray(1);
    mesh.getLines()[0] = {{6, 7}};
    mesh.resizeLineStripArrays(2, 1);
    std::copy_n(Ints{0, 1}.begin(), 2, mesh.getLineStripPoints());
    mesh.getLineStripLengths()[0] = 2;
    REQUIRE(detail::readObjText(mesh, fourVertices + "f 1 2 3\n"));
    CHECK(mesh.getNumLines() == 0);
    CHECK(mesh.getNumLineStrips() == 1);
    CHECK(support::faultOf(mesh) == "");
}

TEST_CASE("emptyFileAndFileOfVerticesAlone") {
    CHECK(meshFrom("").getNumVertices() == 0);
    CompactMesh mesh = support::cube();
    REQUIRE(detail::readObjText(mesh, fourVertices));
    CHECK(mesh.getNumVertices() == 4);
    CHECK(mesh.getNumTriangles() == 0);
}

TEST_CASE("readingAnObjSendsNothing") {
    support::TemporaryFolder const folder;
    CompactMesh mesh = support::cube();
    support::ModificationCounter const counter(mesh);
    CHECK(meshReadObj(mesh, nameOf(folder.write("a.obj", fourVertices + "f 1 2 3\n"))));
    CHECK(mesh.getNumVertices() == 4);
    CHECK(counter.total() == 0);
}

TEST_CASE("refusesWhatCannotBeReadAndLeavesTheMesh") {
    support::TemporaryFolder const folder;
    CompactMesh mesh = support::cube();
    CHECK_FALSE(meshReadObj(mesh, nameOf(folder.path("absent.obj"))));
    CHECK_FALSE(meshReadObj(mesh, nameOf(folder.path())));
    CHECK(coordinatesOf(mesh) == coordinatesOf(support::cube()));
    CHECK(trianglesOf(mesh) == trianglesOf(support::cube()));
}

TEST_CASE("agreesWithFormattedExtractionOnOddSpellings") {
    for (std::string const number : {"1",
                                     "+1",
                                     "-0",
                                     "1.",
                                     ".5",
                                     ".",
                                     "-",
                                     "+",
                                     "e5",
                                     "1e5",
                                     "1E-5",
                                     "1e",
                                     "1e+",
                                     "1e5e3",
                                     "1.5.2",
                                     "1-2",
                                     "--1",
                                     "0x10",
                                     "inf",
                                     "nan",
                                     "1e38",
                                     "3.4028236e38",
                                     "3.5e38",
                                     "1e-45",
                                     "1e-46",
                                     "1e-400",
                                     "1e400",
                                     "00012.50",
                                     "16777217",
                                     "16777219",
                                     "0.1000000014901161193847656250001",
                                     "123456789012345678901234567890",
                                     "1,5",
                                     "1_0",
                                     "1e99999999999999999999",
                                     "0e99999999999999999999",
                                     "7/8",
                                     "1\v2",
                                     "2147483648"}) {
        checkAgainstStream("v " + number + " 2 3\nv 1 " + number + " 3\nv 1 2 " + number);
        checkAgainstStream(fourVertices + "f " + number + " 2 3\nf 1 " + number + "/1 3\nf 1 2 3/" +
                           number + "\nf 1 2 3/4/" + number + "\nf 1 2 3//" + number);
    }
}

TEST_CASE("agreesWithFormattedExtractionOnDamagedText") {
    std::string const alphabet = " \t\r\n\v/+-.0123456789eEvf#$xn";
    std::string const start =
        "v 1 2 3\nv 1.5 -2e1 .25\n v 0 0 1\nf 1 2 3\nf 1/2/3 2/3/1 3/1/2\nf 1//1 2//2 3//3 1//4\n";
    support::Random random(17);
    for (int round = 0; round < 2000; ++round)
        checkAgainstStream(support::damaged(start, alphabet, 6, random));
}

TEST_CASE("agreesWithFormattedExtractionOnRealMeshes") {
    for (std::string const name :
         {"negative_indices.obj", "snail_crlf.obj", "suzanne_mixed.obj", "woody_flat.obj",
          "spot_quads.obj", "hand_open.obj", "degenerate_faces.obj"}) {
        std::string const path = support::corpusFile(name);
        std::string text;
        if (!path.empty() && detail::readTextFile(nameOf(path), text))
            checkAgainstStream(text);
    }
}
