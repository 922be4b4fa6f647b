#include "formatChecks.h"

using namespace trimora;
using formatChecks::bytesOf;
using formatChecks::problemsOf;
using formatChecks::readBytes;
using koGeom::CompactMesh;
using koGeom::PointMesh;
using support::coordinatesOf;
using support::trianglesOf;
using Failure = FileOutcome::Failure;
using Floats = std::vector<float>;
using Ints = std::vector<int>;

namespace {

std::string const square = "0 0 0\n1 0 0\n1 1 0\n0 1 0\n";
Floats const squareCorners = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0};

Floats coloursOf(CompactMesh const& mesh) {
    koGeom::MeshAttributes const* const set = mesh.getAttributes(PointMesh::ColoursName);
    return set == nullptr ? Floats()
                          : Floats(set->asFloat(), set->asFloat() + 4 * mesh.getNumVertices());
}

/// One triangle whose vertices have whatever the letters of the head ask for.
CompactMesh dressed(bool withUVs, bool withColours, bool withNormals, float colour) {
    CompactMesh mesh = support::triangle();
    if (withUVs) {
        mesh.allocUVArray();
        for (int i = 0; i < 6; ++i)
            mesh.getUVsRaw()[i] = 0.1f * static_cast<float>(i);
    }
    if (withColours) {
        float* const parts = mesh.allocAttributes(PointMesh::ColoursName, 4)->asFloat();
        for (int i = 0; i < 12; ++i)
            parts[i] = i % 4 == 1 ? colour : 1.0f;
    }
    if (withNormals) {
        mesh.allocNormalArray();
        for (int i = 0; i < 9; ++i)
            mesh.getNormalsRaw()[i] = static_cast<float>(i) / 7.0f;
    }
    return mesh;
}

}  // namespace

TEST_CASE("offComesBackBitForBit") {
    formatChecks::checkRoundTrips("a.off");
    std::vector<support::NamedMesh> all;
    for (int bits = 0; bits < 8; ++bits)
        for (float const colour : {0.0f, 1.0f, 51.0f / 255.0f, 1.0f / 255.0f, 0.3f, 2.0f, 1e-20f})
            all.push_back(
                {"dressed", dressed((bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0, colour)});
    formatChecks::checkRoundTrips(
        "a.off", {}, [](CompactMesh const& mesh) { return mesh; }, all);
}

TEST_CASE("theHeadOfOffTellsWhatVerticesHave") {
    CHECK(bytesOf(support::triangle(), "a.off") == "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n");
    WriteOptions options;
    options.comment = "made\nby hand";
    CHECK(bytesOf(CompactMesh(), "a.off", options) == "OFF\n# made\n# by hand\n0 0 0\n");
    CHECK(bytesOf(dressed(true, true, true, 0.2f), "a.off").substr(0, 8) == "STCNOFF\n");
    CHECK(bytesOf(dressed(false, true, false, 0.0f), "a.off") ==
          "COFF\n3 1 0\n0 0 0 255 0 255 255\n1 0 0 255 0 255 255\n0 1 0 255 0 255 255\n3 0 1 2\n");
    CompactMesh mesh = support::meshOf(squareCorners, {});
    mesh.polys = koGeom::MeshSequence(ko::vector<ko::vector<int>>{{0, 1, 2, 3}, {0, 2, 1}});
    CHECK(bytesOf(mesh, "a.off") == "OFF\n4 2 0\n" + square + "4 0 1 2 3\n3 0 2 1\n");
}

TEST_CASE("offIsTakenAsProgramsWriteIt") {
    for (std::string const& text :
         {"OFF\n4 1 0\n" + square + "4 0 1 2 3\n", "OFF 4 1 0\n" + square + "4 0 1 2 3",
          "# head\n\n OFF # word\n# counts\n4\t1 5\n\n" + square + "\n# face\n 4  0 1 2 3 # all\n",
          "4 1 0\n" + square + "4 0 1 2 3\n", "\xEF\xBB\xBFOFF\n4 1\n" + square + "4 0 1 2 3 \n",
          std::string("OFF\r\n4 1 0\r\n0 0 0\r\n1 0 0\r\n1 1 0\r\n0 1 0\r\n4 0 1 2 3\r\n"),
          std::string("OFF\r4 1 0\r0 0 0\r+1 0.0 0e5\r1. 1 0\r0 1 0\r4 0 1 2 3\r")}) {
        CAPTURE(text);
        auto const read = readBytes(text, "a.off");
        REQUIRE(read.outcome);
        CHECK(coordinatesOf(read.mesh) == squareCorners);
        CHECK(trianglesOf(read.mesh) == Ints{0, 1, 2, 0, 2, 3});
        CHECK(read.report.trianglePolygon == Ints{0, 0});
        CHECK(read.report.numProblems == 0);
        CHECK(read.report.polygons == 1);
    }
}

TEST_CASE("headsOfOffMayBeInLowerCase") {
    for (std::string const head : {"off", "coff", "stcnoff"})
        CHECK(readBytes(head + "\n4 1 0\n" + square + "4 0 1 2 3\n", "a").report.triangles == 2);
    for (std::string const head : {"Off", "oFF", "xoff", "4off"})
        CHECK(readBytes(head + "\n4 1 0\n" + square, "a.off").outcome.failure ==
              Failure::Unsupported);
}

TEST_CASE("severalVerticesInALineAreToldOf") {
    auto const all = readBytes("OFF\n4 1 0 0 0 0 1 0 0 1 1 0 0 1 0 4 0 1 2 3\n", "a.off");
    CHECK(problemsOf(all.report).front() ==
          "2: numbers behind the counts, not read: a vertex takes a line of its own");
    auto const body = readBytes("OFF\n4 1 0\n0 0 0 1 0 0 1 1 0 0 1 0\n4 0 1 2 3\n", "a.off");
    CHECK(problemsOf(body.report) ==
          std::vector<std::string>{"4: the file ends after 2 of 4 vertices; each takes a line of "
                                   "its own"});
}

TEST_CASE("coloursAreWholeNumbersOrParts") {
    auto const colours = [](std::string const& head, std::string const& colour) {
        auto const read = readBytes(head + "\n1 0 0\n0 0 0 " + colour + "\n", "a.off");
        CHECK(read.outcome);
        return coloursOf(read.mesh);
    };
    CHECK(colours("COFF", "255 51 0 255") == Floats{1, 0.2f, 0, 1});
    CHECK(colours("COFF", "255 51 0") == Floats{1, 0.2f, 0, 1});
    CHECK(colours("COFF", "0.5 1 0 0.25") == Floats{0.5f, 1, 0, 0.25f});
    CHECK(colours("COFF", "1 1 1") == Floats{1, 1, 1, 1});  // as floats, since none is above 1
    CHECK(colours("CNOFF", "0 0 1 255 0 0") == Floats{1, 0, 0, 1});
    CHECK(colours("STCNOFF", "0 0 1 255 0 0 0.5 0.5") == Floats{1, 0, 0, 1});
    CHECK(colours("STCNOFF", "0 0 1 255 0 0 51 0.5 0.5") == Floats{1, 0, 0, 0.2f});
    CHECK(colours("COFF", "0.5 1 0 -1") == Floats{0.5f, 1, 0, -1});
    CHECK(colours("COFF", "7").empty());
    CHECK(colours("OFF", "255 0 0").empty());
}

TEST_CASE("whatOffHasBesidesIsKeptWhereEveryVertexHasIt") {
    auto const full = readBytes("STNOFF\n2 0 0\n0 0 0 0 0 1 .5 .25\n1 0 0 1 0 0 1 0\n", "a.off");
    REQUIRE(full.mesh.getNormals() != nullptr);
    CHECK(full.mesh.getNormals()[1].x == 1.0f);
    CHECK(full.mesh.getUVs()[0].v == 0.25f);
    CHECK(full.report.normals.kept);
    CHECK(full.report.textureCoordinates.lines == 2);
    auto const partly = readBytes("NOFF\n2 0 0\n0 0 0 0 0 1\n1 0 0\n", "a.off");
    CHECK(partly.mesh.getNormals() == nullptr);
    CHECK(partly.report.normals.missing == 1);
    auto const more = readBytes("OFF\n3 1 0\n0 0 0 1\n1 0 0\n0 1 0\n3 0 1 2 255 0 0\n", "a.off");
    CHECK(more.report.verticesWithMore == 1);
    CHECK(more.report.ignoredProperties == std::vector<std::string>{"colours of 1 face"});
    CHECK(more.mesh.getNumTriangles() == 1);
}

TEST_CASE("faultsOfOffAreToldWithTheirLines") {
    auto const read = readBytes("OFF\n4 8 0\n0 0 0\n1 x 0\n1 1\n0 inf 0\n3 0 1 2\n2 0 1\n3 0 1\n"
                                "3 0 1 4\n3 0 -1 2\nx\n3 0 1 2.5\n99999999999999999999 0 1 2\n"
                                "more\n",
                                "a.off");
    REQUIRE(read.outcome);
    CHECK(trianglesOf(read.mesh) == Ints{0, 1, 2});
    CHECK(problemsOf(read.report) ==
          std::vector<std::string>{"4: vertex with a coordinate that is no number; it is NaN",
                                   "5: vertex with fewer than three numbers; the others are 0",
                                   "6: vertex with a coordinate that is NaN or infinite",
                                   "8: face with fewer than three corners; dropped",
                                   "9: face with a corner that is absent or no index; dropped",
                                   "10: face at a vertex that the file does not hold; dropped",
                                   "11: face at a vertex that the file does not hold; dropped",
                                   "12: face whose count of corners is no number; dropped",
                                   "13: face with a corner that is absent or no index; dropped",
                                   "14: face with a corner that is absent or no index; dropped"});
    CHECK(read.report.notes ==
          std::vector<std::string>{
              "goes on behind the last of its faces, from line 15 on; that was not read"});
    CHECK(read.report.faces == 8);
    CHECK(read.report.dropped.total() == 7);
    ReadOptions options;
    options.dropNonfinite = true;
    CHECK(readBytes("OFF\n3 1 0\n0 0 0\n1 0 0\n0 nan 0\n3 0 1 2\n", "a.off", options)
              .report.dropped.nonfinite == 1);
}

TEST_CASE("countsOfOffAreBelievedAsFarAsTheFileGoes") {
    for (std::string const count : {"2147483647", "99999999999999999999999"}) {
        auto const vertices = readBytes("OFF\n" + count + " 1 0\n" + square, "a.off");
        CHECK(vertices.mesh.getNumVertices() == 4);
        CHECK(vertices.report.numProblems == 1);
        auto const faces = readBytes("OFF\n4 " + count + " 0\n" + square + "3 0 1 2\n", "a.off");
        CHECK(faces.mesh.getNumTriangles() == 1);
        CHECK(problemsOf(faces.report).front().find("7: the file ends after 1 of") == 0);
        auto const corners = readBytes("OFF\n4 1 0\n" + square + count + " 0 1 2\n", "a.off");
        CHECK(corners.report.dropped.notANumber == 1);
    }
    for (std::string const text :
         {"OFF\n-1 1 0\n", "OFF\n1 -1 0\n", "OFF", "OFF\nx", "OFF 3 y", "", "\n\n# no\n", "OFX\n",
          "OFF BINARY\n1 2 3", "4OFF\n1 0 0\n", "nOFF\n5\n1 0 0\n", "ST4nOFF\n1 0 0\n"}) {
        CAPTURE(text);
        CHECK(readBytes(text, "a.off").outcome.failure == Failure::Unsupported);
    }
}

TEST_CASE("offSurvivesWhatIsDoneToIt") {
    std::string const text = bytesOf(dressed(true, true, true, 0.2f), "a.off");
    formatChecks::checkTruncations(text, "a.off");
    formatChecks::checkTruncations("OFF\n4 2 0\n" + square + "4 0 1 2 3\n3 2 1 0\n", "a.off");
    formatChecks::checkDamage(text, "a.off", "STCNOFF 0123456789.-e#\n\r", 3000);
    formatChecks::checkLimit(text, "a.off");
    std::string fan = "OFF\n1 1 0\n0 0 0\n1000000";
    for (int i = 0; i < 1000000; ++i)
        fan += " 0";
    CHECK(readBytes(fan, "a.off").mesh.getNumTriangles() == 999998);
    CHECK(readBytes("OFF " + std::string(8u << 20, ' ') + "\n1 0 0\n" + std::string(8u << 20, '3'),
                    "a.off")
              .outcome);
    koUtil::Progress progress;
    progress.cancel();
    ReadOptions options;
    options.progress = &progress;
    CHECK(readBytes(text, "a.off", options).outcome.failure == Failure::Cancelled);
}
