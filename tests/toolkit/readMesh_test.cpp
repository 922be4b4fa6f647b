#include "support/TemporaryFolder.h"
#include "support/builders.h"
#include "support/checks.h"
#include "support/corpus.h"
#include "toolkit/MeshFormat.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/objFormat.h"
#include "toolkit/readMesh.h"
#include "toolkit/writeMesh.h"

#include "trimora/assembly/meshReadObj.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <doctest/doctest.h>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

using namespace trimora;
using koGeom::CompactMesh;
using support::coordinatesOf;
using support::trianglesOf;
using Failure = FileOutcome::Failure;
using Ints = std::vector<int>;
using Floats = std::vector<float>;

namespace {

struct Read {
    CompactMesh mesh;
    ReadReport report;
    FileOutcome outcome;
};

Read readText(std::string const& text, ReadOptions const& options = {}) {
    Read read;
    read.outcome = readMeshText(text, "a.obj", read.mesh, read.report, options);
    CHECK(support::faultOf(read.mesh) == "");
    return read;
}

/// Reads with pieces of few bytes; what is read must not tell.
Read readPieces(std::string const& text, std::size_t pieceSize) {
    Read read;
    InputFile file;
    REQUIRE(file.openText(text, "a.obj", 0));
    read.outcome = readObjInPieces(file, pieceSize, read.mesh, read.report, {});
    return read;
}

std::vector<std::string> problemsOf(ReadReport const& report) {
    std::vector<std::string> lines;
    for (ReadReport::Problem const& problem : report.problems)
        lines.push_back(std::to_string(problem.line) + ": " + problem.text);
    return lines;
}

Floats valuesOf(float const* values, int count) {
    return values == nullptr ? Floats() : Floats(values, values + count);
}

/// Equal numbers; NaN counts as equal to itself here.
bool areSame(Floats const& a, Floats const& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](float x, float y) { return x == y || (std::isnan(x) && std::isnan(y)); });
}

void checkSame(Read const& a, Read const& b) {
    CHECK(a.outcome.message == b.outcome.message);
    CHECK(areSame(coordinatesOf(a.mesh), coordinatesOf(b.mesh)));
    CHECK(trianglesOf(a.mesh) == trianglesOf(b.mesh));
    int const numVertices = a.mesh.getNumVertices();
    CHECK(areSame(valuesOf(a.mesh.getUVsRaw(), 2 * numVertices),
                  valuesOf(b.mesh.getUVsRaw(), 2 * numVertices)));
    CHECK(areSame(valuesOf(a.mesh.getNormalsRaw(), 3 * numVertices),
                  valuesOf(b.mesh.getNormalsRaw(), 3 * numVertices)));
    CHECK(problemsOf(a.report) == problemsOf(b.report));
    CHECK(a.report.numProblems == b.report.numProblems);
    CHECK(a.report.lines == b.report.lines);
    CHECK(a.report.faces == b.report.faces);
    CHECK(a.report.polygons == b.report.polygons);
    CHECK(a.report.dropped.total() == b.report.dropped.total());
    CHECK(a.report.trianglePolygon == b.report.trianglePolygon);
    CHECK(a.report.textureCoordinates.seams == b.report.textureCoordinates.seams);
    CHECK(a.report.normals.missing == b.report.normals.missing);
}

std::string const fourVertices = "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\n";

Ints trianglesOfFaces(std::string const& faces) {
    return trianglesOf(readText(fourVertices + faces).mesh);
}

Floats firstVertex(std::string const& line) {
    ReadOptions options;
    options.shift = {0.0, 0.0, 0.0};  // a lone point would be its own middle
    Floats const all = coordinatesOf(readText(line, options).mesh);
    return {all.begin(), all.begin() + 3};
}

/// Every face of a file as its author meant it: an independent reader in ten lines.
Ints fannedFaces(std::string const& path, int& numVertices) {
    std::ifstream file(path);
    Ints triangles;
    numVertices = 0;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string word;
        words >> word;
        numVertices += word == "v";
        Ints corners;
        for (bool const isFace = word == "f"; isFace && words >> word;) {
            int const index = std::stoi(word);
            corners.push_back(index < 0 ? numVertices + index : index - 1);
        }
        for (std::size_t k = 2; k < corners.size(); ++k)
            triangles.insert(triangles.end(), {corners[0], corners[k - 1], corners[k]});
    }
    return triangles;
}

/// A file that touches everything: seams, polygons, relative indices, bad faces, colours, words of all kinds.
std::string richText() {
    std::string text = "# head \\\nmtllib a.mtl\no thing\n";
    support::Random random(2);
    for (int i = 0; i < 300; ++i) {
        switch (random.index(12)) {
        case 0:
            text.append("vt 0.").append(std::to_string(i % 7)).append(" 0.5\n");
            break;
        case 1:
            text.append("vn 0 0 ").append(std::to_string(i % 3)).append("\n");
            break;
        case 2:
            text += "f 1 2 3\n";
            break;
        case 3:
            text += "f -1 -2 -3 -4\n";
            break;
        case 4:
            text += "f 1/1/1 2/2/1 \\\n 3/-1/-1 4//\r\n";
            break;
        case 5:
            text.append("f 1 2 ").append(std::to_string(i)).append("\n");
            break;
        case 6:
            text += "f 1\t2\t3/\t4\r";
            break;
        case 7:
            text += "g a b\nusemtl red \\\r\n blue\n\n";
            break;
        case 8:
            text += random.index(4) == 0 ? "nonsense\n" : "l 1 2\n";
            break;
        default:
            text.append("v ")
                .append(std::to_string(i))
                .append(i % 5 == 0 ? " 1e-3 -.5 1 0 0\n" : " 1e-3 -.5 \n");
            break;
        }
    }
    return text + "f 3 2 1";
}

}  // namespace

TEST_CASE("readsWhatTheFormatsPlainReaderReads") {
    support::TemporaryFolder const folder;
    for (support::NamedMesh const& named : support::zoo()) {
        CAPTURE(named.name);
        std::string const path = folder.path("a.obj");
        REQUIRE(writeMesh(path, named.mesh));
        Read read;
        REQUIRE(readMesh(path, read.mesh, read.report));
        CompactMesh plain;
        REQUIRE(koGeom::meshReadObj(plain, support::nameOf(path)));
        CHECK(coordinatesOf(read.mesh) == coordinatesOf(plain));
        CHECK(trianglesOf(read.mesh) == trianglesOf(plain));
        CHECK(read.report.triangles == named.mesh.getNumTriangles());
        CHECK(read.report.numProblems == 0);
    }
}

TEST_CASE("takesEveryLineEndAndBlank") {
    for (std::string const end : {"\n", "\r\n", "\r", " \t\n", "   \r\n", " # comment\n"}) {
        CAPTURE(end);
        Read const read = readText("v 0 0 0" + end + "\tv\t1 0 0" + end + end + "  v 0   1 0" +
                                   end + "f 1 2\t3" + end + "f 3 2 1");
        REQUIRE(read.outcome);
        CHECK(coordinatesOf(read.mesh) == Floats{0, 0, 0, 1, 0, 0, 0, 1, 0});
        CHECK(trianglesOf(read.mesh) == Ints{0, 1, 2, 2, 1, 0});
        CHECK(read.report.lines == 6);
    }
}

TEST_CASE("takesContinuedLinesAndAMarkOfTheByteOrder") {
    Read const read = readText("\xEF\xBB\xBFv 0 \\\n0 0\nv 1\\\r\n0 0\n# a comment does not go on "
                               "\\\nv 0 1 0\nf 1 \\\r2 3\\\n"
                               "\ng x \\\ny\nf 1 3 2\\");
    REQUIRE(read.outcome);
    CHECK(coordinatesOf(read.mesh) == Floats{0, 0, 0, 1, 0, 0, 0, 1, 0});
    CHECK(trianglesOf(read.mesh) == Ints{0, 1, 2, 0, 2, 1});
    CHECK(read.report.lines == 12);
    CHECK(read.report.numProblems == 0);
}

TEST_CASE("takesIndicesOfAllForms") {
    CHECK(trianglesOfFaces("f 1/2/3 2// 3/4\n") == Ints{0, 1, 2});
    CHECK(trianglesOfFaces("f 1//2 2/ 3//\n") == Ints{0, 1, 2});
    CHECK(trianglesOfFaces("f -4 -3 -2\nfo +2 3 04\n") == Ints{0, 1, 2, 1, 2, 3});
    CHECK(
        trianglesOf(readText("f 3 2 1\nv 0 0 0\nf -1 2 3\nv 1 0 0\nv 0 1 0\nf -1 -2 -3\n").mesh) ==
        Ints{2, 1, 0, 0, 1, 2, 2, 1, 0});
}

//   3---2      a polygon is cut into a fan from its first corner
//   | / |
//   0---1
TEST_CASE("cutsPolygonsIntoFansAndTellsThePolygonOfEachTriangle") {
    Read const read =
        readText(fourVertices + "v 2 2 2\nf 1 2 3\nf 1 2 3 4 5\nf 1 2\nf 2 3 4 5\nf 5 4 3\n");
    CHECK(trianglesOf(read.mesh) ==
          Ints{0, 1, 2, 0, 1, 2, 0, 2, 3, 0, 3, 4, 1, 2, 3, 1, 3, 4, 4, 3, 2});
    CHECK(read.report.trianglePolygon == Ints{0, 1, 1, 1, 2, 2, 3});
    CHECK(read.report.faces == 5);
    CHECK(read.report.polygons == 2);
    CHECK(read.report.triangles == 7);
    CHECK(readText(fourVertices + "f 1 2 3\nf 9 2 3 1\nf 2 3 4\n").report.trianglePolygon.empty());
}

TEST_CASE("droppedFacesAreCountedByReasonWithTheirLines") {
    Read const read =
        readText(fourVertices +
                 "f 1 2\nf 1 2 x\nf 1 2 5\nf 0 1 2\nf -1 -2 -5\nf 1 2 3.5\nf\nf 1 2 99999999999\n"
                 "f 1/a 2 3\nf 1 2 4\n");
    REQUIRE(read.outcome);
    CHECK(trianglesOf(read.mesh) == Ints{0, 1, 3});
    CHECK(read.report.faces == 10);
    CHECK(read.report.dropped.tooFewCorners == 2);
    CHECK(read.report.dropped.notANumber == 3);
    CHECK(read.report.dropped.outOfRange == 4);
    CHECK(read.report.numProblems == 9);
    CHECK(problemsOf(read.report) ==
          std::vector<std::string>{"5: face with fewer than three corners; dropped",
                                   "6: face with a corner that is no index; dropped",
                                   "7: face at a vertex that the file does not hold; dropped",
                                   "8: face at a vertex that the file does not hold; dropped",
                                   "9: face at a vertex that the file does not hold; dropped",
                                   "10: face with a corner that is no index; dropped",
                                   "11: face with fewer than three corners; dropped",
                                   "12: face at a vertex that the file does not hold; dropped",
                                   "13: face with a corner that is no index; dropped"});
}

TEST_CASE("keepsTheFirstTwentyProblems") {
    std::string text = fourVertices;
    for (int i = 0; i < 30; ++i)
        text += i % 2 == 0 ? "f 1 2\n" : "f 1 2 9\n";
    Read const read = readText(text);
    CHECK(read.report.numProblems == 30);
    REQUIRE(read.report.problems.size() == ReadReport::maxProblems);
    CHECK(read.report.problems.back().line == 24);
}

TEST_CASE("takesNumbersOfAllForms") {
    float const inf = std::numeric_limits<float>::infinity();
    CHECK(firstVertex("v 1. .5 -0.25") == Floats{1, 0.5f, -0.25f});
    CHECK(firstVertex("v +1e3 1E-2 1.5e+1") == Floats{1000, 0.01f, 15});
    CHECK(firstVertex("v 00012.5 16777217 123456789012345678901234567890") ==
          Floats{12.5f, 16777216, 1.2345679e29f});
    CHECK(firstVertex("v 1e-45 1e-46 -1e-400") == Floats{1.4e-45f, 0, -0.0f});
    CHECK(firstVertex("v 3.4028235e38 3.5e38 -1e400") == Floats{3.4028235e38f, inf, -inf});
    CHECK(firstVertex("v inf -Infinity 1.#INF") == Floats{inf, -inf, inf});
    CHECK(firstVertex("v 1e99999999999999999999 1e-99999999999999999999 0e99999999999999999999") ==
          Floats{inf, 0, 0});
    CHECK(firstVertex("v 0." + std::string(400, '0') + "1e400 1" + std::string(400, '0') +
                      "e-401 7") == Floats{0.1f, 0.1f, 7});
    for (std::string const nan : {"nan", "NaN", "-nan(ind)", "1.#QNAN", "-1.#IND", "1,5", "0x10",
                                  "one", "1e", "--1", "1.5.2"})
        CHECK(std::isnan(firstVertex("v " + nan + " 0 0")[0]));
}

TEST_CASE("roundsToTheNearestFloat") {
    support::Random random(8);
    for (int i = 0; i < 20000; ++i) {
        // Around the middle between two floats, where one digit decides.
        float const x =
            std::ldexp(static_cast<float>(1 + random.index(1 << 24)), random.index(60) - 40);
        double const middle =
            (static_cast<double>(x) + static_cast<double>(std::nextafter(x, 1e30f))) / 2;
        char text[64];
        std::snprintf(text, sizeof text, "%.*g", 5 + random.index(20),
                      random.index(2) == 0 ? middle : random.real(-10, 10));
        CAPTURE(text);
        REQUIRE(firstVertex("v " + std::string(text) + " 0 0")[0] == std::strtof(text, nullptr));
    }
}

TEST_CASE("keepsNonfiniteVerticesWithAWarningAndDropsTheirFacesOnRequest") {
    std::string const text =
        "v 0 0 0\nv 1 nan 0\nv 0 1 0\nv 0 0 1\nv inf 0 0\nf 1 2 3\nf 1 3 4\nf 1 3 4 5\n";
    Read const kept = readText(text);
    CHECK(kept.report.nonfiniteVertices == 2);
    CHECK(kept.report.triangles == 4);
    CHECK(problemsOf(kept.report) ==
          std::vector<std::string>{"2: vertex with a coordinate that is NaN or infinite",
                                   "5: vertex with a coordinate that is NaN or infinite"});
    ReadOptions options;
    options.dropNonfinite = true;
    Read const dropped = readText(text, options);
    CHECK(dropped.mesh.getNumVertices() == 5);
    CHECK(trianglesOf(dropped.mesh) == Ints{0, 2, 3});
    CHECK(dropped.report.dropped.nonfinite == 2);
    CHECK(dropped.report.polygons == 0);
}

TEST_CASE("incompleteVerticesKeepTheirNumbers") {
    Read const read = readText("v\nv 1\nv 1 2\nv 1 x 3\nv 1 2 3 0.5\nv 1 2 3 1 0 0\nf 4 5 6\n");
    CHECK(read.mesh.getNumVertices() == 6);
    CHECK(read.report.incompleteVertices == 4);
    CHECK(read.report.verticesWithMore == 2);
    CHECK(read.mesh.getVertices()[2].y == 2.0f);
    CHECK(read.mesh.getVertices()[2].z == 0.0f);
    CHECK(std::isnan(read.mesh.getVertices()[3].y));
    CHECK(read.mesh.getVertices()[3].z == 3.0f);
}

TEST_CASE("keepsTextureCoordinatesAndNormalsThatAreOneAVertex") {
    std::string const values = "vt 0.5 1\nvt 0.25 2 7\nvt 0 3\nvt 9\nvn 0 0 1\nvn 0 1 0\n";
    Read const read =
        readText(fourVertices + values + "f 1/3/1 2/2/1 3/1/2\nf 3/1/2 2/2/1 1/3/1\n");
    CHECK(read.report.textureCoordinates.kept);
    CHECK(read.report.textureCoordinates.lines == 4);
    CHECK(valuesOf(read.mesh.getUVsRaw(), 8) == Floats{0, 3, 0.25f, 2, 0.5f, 1, 0, 0});
    CHECK(read.report.normals.kept);
    CHECK(valuesOf(read.mesh.getNormalsRaw(), 12) == Floats{0, 0, 1, 0, 0, 1, 0, 1, 0, 0, 0, 0});
    CHECK_FALSE(read.mesh.getNormalsComputed());

    // Where each vertex has the element of its own number, those of no face keep theirs; relative indices too.
    for (std::string const face : {"f 1/1 2/2 3/3\n", "f -4/-4 -3/-3 -2/-2\n"})
        CHECK(valuesOf(readText(fourVertices + values + face).mesh.getUVsRaw(), 8) ==
              Floats{0.5f, 1, 0.25f, 2, 0, 3, 9, 0});
    // Points without faces have theirs in order.
    CHECK(readText(fourVertices + values).mesh.getUVsRaw()[6] == 9.0f);
    CHECK(readText(fourVertices + values).mesh.getNormals() == nullptr);
}

TEST_CASE("countsSeamsAndWhatIsMissing") {
    Read const seam =
        readText(fourVertices + "vt 0 0\nvt 1 0\nvt 0 0\nf 1/1 2/2 3/3\nf 1/2 3/1 4/9\n");
    CHECK_FALSE(seam.report.textureCoordinates.kept);
    CHECK(seam.report.textureCoordinates.seams == 1);
    CHECK(seam.report.textureCoordinates.missing == 1);
    CHECK(seam.report.textureCoordinates.badIndex == 1);
    CHECK(seam.mesh.getUVs() == nullptr);
    CHECK(seam.report.triangles == 2);
    CHECK(readText(fourVertices + "vn 0 0 1\nf 1//1 2//1 3//1\nf 1 2 3\n").report.normals.kept);
    CHECK(readText(fourVertices + "vn 0 0 1\nf 1 2 3\n").report.normals.missing == 3);
}

TEST_CASE("skipsWhatBelongsToTheFormatAndCountsTheRest") {
    Read const read = readText(
        fourVertices +
        "g a\ns off\nusemtl x\nl 1 2 3\np 1\ncurv 0 1 1 2\nfoo bar\nvertex 1 2 3\nf 1 2 3\n");
    CHECK(read.report.otherElements == 3);
    CHECK(read.report.unknownLines == 2);
    CHECK(problemsOf(read.report) ==
          std::vector<std::string>{"11: 'foo' is no word of this format; line skipped",
                                   "12: 'vertex' is no word of this format; line skipped"});
}

TEST_CASE("theCutIntoPiecesAndThePoolDoNotTell") {
    std::string const text = richText();
    Read const whole = readPieces(text, 1u << 20);
    CHECK(whole.report.triangles > 50);
    CHECK(whole.report.polygons > 20);
    CHECK(whole.report.dropped.total() > 5);
    CHECK(whole.report.textureCoordinates.seams > 0);
    for (std::size_t const pieceSize : {1, 2, 3, 5, 7, 16, 64, 333, 1000})
        checkSame(whole, readPieces(text, pieceSize));
    support::withPools([&](int) { checkSame(whole, readPieces(text, 50)); });

    std::string crOnly = text;
    std::erase(crOnly, '\n');
    checkSame(readPieces(crOnly, 1u << 20), readPieces(crOnly, 1));
}

TEST_CASE("damagedTextIsReadAlikeInAnyPieces") {
    std::string const alphabet = " \t\r\n\\/#-.0123456789eEvfntx";
    std::string const start =
        "v 1 2 3\nv 1.5 -2e1 .25\nvt 0 1\nv 0 0 1 \\\n\r\nf 1 2 3\rf -1/1 -2/-1 "
        "\\\n 1/1 2\nvn 0 0 1\nf 1//1 2 3";
    support::Random random(29);
    for (int round = 0; round < 400; ++round) {
        std::string const text = support::damaged(start, alphabet, 8, random);
        CAPTURE(text);
        Read const whole = readPieces(text, 1u << 20);
        REQUIRE(support::faultOf(whole.mesh) == "");
        checkSame(whole, readPieces(text, static_cast<std::size_t>(1 + random.index(20))));
    }
}

TEST_CASE("readsEveryFaceOfTheRealMeshes") {
    for (std::string const& path : support::corpus()) {
        CAPTURE(path);
        Read read;
        REQUIRE(readMesh(path, read.mesh, read.report));
        int numVertices = 0;
        Ints const expected = fannedFaces(path, numVertices);
        CHECK(read.mesh.getNumVertices() == numVertices);
        CHECK(trianglesOf(read.mesh) == expected);
        CHECK(read.report.dropped.total() == 0);
        CHECK(support::faultOf(read.mesh) == "");
    }
}

TEST_CASE("realMeshesComeBackAsTheyWere") {
    support::TemporaryFolder const folder;
    for (std::string const& path : support::corpus()) {
        CAPTURE(path);
        Read first, second;
        REQUIRE(readMesh(path, first.mesh, first.report));
        REQUIRE(writeMesh(folder.path("a.obj"), first.mesh));
        REQUIRE(readMesh(folder.path("a.obj"), second.mesh, second.report));
        CHECK(coordinatesOf(first.mesh) == coordinatesOf(second.mesh));
        CHECK(trianglesOf(first.mesh) == trianglesOf(second.mesh));
        int const numVertices = first.mesh.getNumVertices();
        CHECK(valuesOf(first.mesh.getUVsRaw(), 2 * numVertices) ==
              valuesOf(second.mesh.getUVsRaw(), 2 * numVertices));
        CHECK(valuesOf(first.mesh.getNormalsRaw(), 3 * numVertices) ==
              valuesOf(second.mesh.getNormalsRaw(), 3 * numVertices));
    }
}

TEST_CASE("replacesTheMeshWithOneNotice") {
    CompactMesh mesh = support::cube();
    mesh.allocAttributes("weight", 1);
    support::ModificationCounter const counter(mesh);
    ReadReport report;
    REQUIRE(readMeshText(fourVertices + "vt 1 1\nf 1/1 2/1 3/1\n", "a.obj", mesh, report));
    CHECK(counter.total() == 1);
    CHECK(mesh.getNumVertices() == 4);
    CHECK(mesh.getUVs() != nullptr);
    CHECK(mesh.getAttributes("weight") == nullptr);
}

TEST_CASE("failuresLeaveTheMeshAndSayWhatToDo") {
    support::TemporaryFolder const folder;
    CompactMesh mesh = support::cube();
    support::ModificationCounter const counter(mesh);
    ReadReport report;
    auto const failureOf = [&](std::string const& path, std::string const& part,
                               ReadOptions const& options = {}) {
        FileOutcome const outcome = readMesh(path, mesh, report, options);
        CHECK(outcome.message.find(part) != std::string::npos);
        CHECK(outcome.message.find('\n') == std::string::npos);
        return outcome.failure;
    };
    std::string const good = folder.write("good.obj", fourVertices);
    CHECK(failureOf(folder.path("absent.obj"), "absent.obj: cannot be opened") ==
          Failure::Unreadable);
    std::filesystem::create_directory(folder.path("folder.obj"));
    CHECK(failureOf(folder.path("folder.obj"), "is a folder") == Failure::Unreadable);
    CHECK(failureOf(folder.write("a.docx", "solid"),
                    "no format has the extension '.docx'; the formats are: obj") ==
          Failure::Unsupported);
    CHECK(failureOf(folder.write("noname", "what"), "no extension") == Failure::Unsupported);
    CHECK(failureOf(folder.write("b.obj", std::string("v 0 0 0\n\0x", 10)), "binary") ==
          Failure::Unsupported);
    CHECK(failureOf(folder.write("c.obj", "once upon\na time\n"), "no line of it") ==
          Failure::Unsupported);

    ReadOptions options;
    options.format = "docx";
    CHECK(failureOf(good, "no format is named 'docx'", options) == Failure::Unsupported);
    options = {};
    options.maxMemory = 4;
    CHECK(failureOf(good, "memory limit", options) == Failure::Limit);
    koUtil::Progress progress;
    progress.cancel();
    options = {};
    options.progress = &progress;
    CHECK(failureOf(good, "cancelled", options) == Failure::Cancelled);

    CHECK(trianglesOf(mesh) == trianglesOf(support::cube()));
    CHECK(counter.total() == 0);
    options = {};
    options.format = "OBJ";
    CHECK(readMesh(folder.write("d.txt", fourVertices), mesh, report, options));
    CHECK(report.format == "obj");
}

TEST_CASE("filesOfCommentsAreEmptyMeshesAndEmptyFilesNone") {
    support::TemporaryFolder const folder;
    for (char const* const name : {"a.obj", "a.stl", "a.off", "a.ply", "a.glb", "a"}) {
        CAPTURE(name);
        Read read;
        read.outcome = readMesh(folder.write(name, ""), read.mesh, read.report);
        CHECK(read.outcome.failure == Failure::Unsupported);
        CHECK(read.outcome.message.find(std::string(name) + ": is empty") != std::string::npos);
    }
    Read const read = readText("# nothing\n\n");
    CHECK(read.outcome);
    CHECK(read.report.lines == 2);
    CHECK(read.report.bytes == 11);
    CHECK(readText("v 1 2 3").mesh.getNumVertices() == 1);
}

TEST_CASE("readsStandardInputAndPipes") {
    int ends[2];
    REQUIRE(pipe(ends) == 0);
    std::string const text = fourVertices + "f 1 2 3\n";
    REQUIRE(write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size()));
    close(ends[1]);
    int const saved = dup(STDIN_FILENO);
    dup2(ends[0], STDIN_FILENO);
    close(ends[0]);
    Read read;
    read.outcome = readMesh("-", read.mesh, read.report);
    if (saved >= 0) {
        dup2(saved, STDIN_FILENO);
        close(saved);
    }
    CHECK(read.outcome);
    CHECK(trianglesOf(read.mesh) == Ints{0, 1, 2});
}

TEST_CASE("hugeLinesAndFansAreReadInLinearTime") {
    std::string const spaces(8u << 20, ' ');
    CHECK(
        trianglesOf(readText(fourVertices + "# " + spaces + "\nf 1" + spaces + "2" + spaces + "3\n")
                        .mesh) == Ints{0, 1, 2});
    CHECK(readText(std::string(8u << 20, '1')).outcome.failure == Failure::Unsupported);
    CHECK(firstVertex("v 0." + std::string(8u << 20, '3') + " 0 0")[0] == 0.33333334f);

    std::string fan = fourVertices + "f";
    std::string triangles = fourVertices;
    for (int i = 0; i < 300000; ++i) {
        fan += i % 2 == 0 ? " 1" : " 2";
        triangles += "f 1 2 3\n";
    }
    CHECK(readText(fan).report.triangles == 299998);
    CHECK(readText(triangles).report.triangles == 300000);
    std::string crOnly = triangles;
    std::replace(crOnly.begin(), crOnly.end(), '\n', '\r');
    CHECK(readText(crOnly).report.triangles == 300000);
}

TEST_CASE("theTableOfFormatsFindsObj") {
    FileOutcome outcome;
    CHECK(meshFormats().front().name == "obj");
    CHECK(findMeshFormat("A.B/scan.OBJ", "", outcome) == &meshFormats().front());
    CHECK(findMeshFormat("-", "", outcome) == &meshFormats().front());
    CHECK(outcome);
    CHECK(findMeshFormat("folder.obj/file", "", outcome) == nullptr);
    CHECK_FALSE(outcome);
}
