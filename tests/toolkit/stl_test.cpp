#include "formatChecks.h"
#include "support/captureBinding.h"

#include <bit>
#include <limits>

using namespace trimora;
using formatChecks::bytesOf;
using formatChecks::problemsOf;
using formatChecks::readBytes;
using koGeom::CompactMesh;
using support::coordinatesOf;
using support::trianglesOf;
using Failure = FileOutcome::Failure;
using Floats = std::vector<float>;
using Ints = std::vector<int>;

namespace {

void append(std::string& bytes, float value) {
    bytes.append(reinterpret_cast<char const*>(&value), sizeof value);
}

void append(std::string& bytes, std::uint32_t value) {
    bytes.append(reinterpret_cast<char const*>(&value), sizeof value);
}

/// A binary file by hand: `declared` triangles in the head, 9 coordinates each in the body.
std::string binary(std::string head, std::uint32_t declared, Floats const& corners) {
    head.resize(80, '\0');
    append(head, declared);
    for (std::size_t i = 0; i < corners.size(); i += 9) {
        for (int k = 0; k < 3; ++k)
            append(head, 7.0f);
        for (std::size_t k = 0; k < 9; ++k)
            append(head, corners[i + k]);
        head.append(2, '\0');
    }
    return head;
}

Floats const twoTriangles = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 0, 0, 1, 1, 0, 0, 1, 0};

std::string facet(std::string const& corners) {
    return "facet normal 0 0 1\nouter loop\n" + corners + "endloop\nendfacet\n";
}

std::string const oneFacet = facet("vertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\n");

CompactMesh soupOf(CompactMesh const& mesh) {
    CompactMesh soup = support::soup(mesh);
    Ints const used = trianglesOf(mesh);
    if (used.empty())
        return CompactMesh();
    return support::meshOf(coordinatesOf(soup), trianglesOf(soup));
}

WriteOptions asText() {
    WriteOptions options;
    options.encoding = WriteOptions::Encoding::Text;
    return options;
}

}  // namespace

TEST_CASE("stlComesBackAsSoupBitForBit") {
    formatChecks::checkRoundTrips("a.stl", {}, soupOf);
    formatChecks::checkRoundTrips("a.stl", asText(), soupOf);
}

TEST_CASE("stlTextIsWrittenAsItsReadersExpect") {
    CHECK(bytesOf(support::triangle(), "a.stl", asText()) ==
          "solid\n  facet normal 0 0 1\n    outer loop\n      vertex 0 0 0\n      vertex 1 0 0\n"
          "      vertex 0 1 0\n    endloop\n  endfacet\nendsolid\n");
    WriteOptions options = asText();
    options.name = "my part\nfacet";
    std::string const named = bytesOf(CompactMesh(), "a.stl", options);
    CHECK(named == "solid my part facet\nendsolid my part facet\n");
    CHECK(readBytes(named, "a.stl").report.name == "my part facet");
}

TEST_CASE("stlBinaryHoldsNormalsAndNoAttributes") {
    CompactMesh const mesh =
        support::meshOf({0, 0, 0, 2, 0, 0, 0, 2, 0, 4, 0, 0}, {0, 2, 1, 0, 1, 3});
    WriteOptions options;
    options.name = "solid thing";
    std::string const bytes = bytesOf(mesh, "a.stl", options);
    REQUIRE(bytes.size() == 84 + 2 * 50);
    CHECK(bytes.substr(0, 13) == std::string(" solid thing\0", 13));
    CHECK(bytes[80] == 2);
    float normals[2][3];
    std::memcpy(normals[0], &bytes[84], 12);
    std::memcpy(normals[1], &bytes[134], 12);
    CHECK(normals[0][2] == -1.0f);
    CHECK((normals[1][0] == 0.0f && normals[1][1] == 0.0f && normals[1][2] == 0.0f));
    CHECK(bytes.substr(132, 2) == std::string(2, '\0'));
    CHECK(readBytes(bytes, "a.stl").report.name == "solid thing");
}

TEST_CASE("polygonsAreCutIntoFansForStl") {
    CompactMesh mesh = support::meshOf({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}, {});
    mesh.polys = koGeom::MeshSequence(ko::vector<ko::vector<int>>{{0, 1, 2, 3}});
    auto const read = readBytes(bytesOf(mesh, "a.stl"), "a.stl");
    CHECK(coordinatesOf(read.mesh) == twoTriangles);
    CHECK(trianglesOf(read.mesh) == Ints{0, 1, 2, 3, 4, 5});
}

TEST_CASE("contentTellsTextFromBinary") {
    // Many binary files begin with the word of the text form.
    auto const solid = readBytes(binary("solid exported", 2, twoTriangles), "a.stl");
    CHECK(solid.report.variant == "little endian");
    CHECK(solid.report.name == "solid exported");
    CHECK(coordinatesOf(solid.mesh) == twoTriangles);
    for (std::string const& text :
         {"solid a\n" + oneFacet + "endsolid a\n", "  \n\t SOLID a\n" + oneFacet + "ENDSOLID\n",
          "\xEF\xBB\xBFsolid\n" + oneFacet + "endsolid", oneFacet}) {
        CAPTURE(text);
        auto const read = readBytes(text, "a.stl");
        CHECK(read.report.variant == "text");
        CHECK(coordinatesOf(read.mesh) == Floats{0, 0, 0, 1, 0, 0, 0, 1, 0});
    }
    CHECK(readBytes("solid", "a.stl").outcome);
    CHECK(readBytes("", "a.stl").outcome.failure == Failure::Unsupported);
    CHECK(readBytes("a line\n", "a.stl").outcome.failure == Failure::Unsupported);
}

TEST_CASE("whatIsNamedStlAndIsNoneIsRefusedWithItsKind") {
    std::string const page = "<!DOCTYPE html>\n<title>404</title>" + std::string(200, '.');
    std::string const noise(200, '\1');
    for (auto const& [bytes, part] :
         std::vector<std::pair<std::string, char const*>>{{"\x1f\x8b\x08" + noise, "gzip"},
                                                          {"PK\3\4" + noise, "ZIP"},
                                                          {"%PDF-1.5\n" + noise, "PDF"},
                                                          {"\xff\xfes\1o\1" + noise, "UTF-16"},
                                                          {page, "is text, but no STL"}}) {
        CAPTURE_BINDING(part);
        FileOutcome const outcome = readBytes(bytes, "a.stl").outcome;
        CHECK(outcome.failure == Failure::Unsupported);
        CHECK(outcome.message.find(part) != std::string::npos);
    }
    ReadOptions options;
    options.format = "stl";
    std::string const obj = bytesOf(support::cube(), "a.obj");
    CHECK(readBytes(obj, "a.obj", options).outcome.failure == Failure::Unsupported);
    // The size of a binary file goes before all that; a count far beyond it is told.
    CHECK(readBytes(binary("PK\3\4", 2, twoTriangles), "a.stl").mesh.getNumTriangles() == 2);
    auto const odd = readBytes(binary("", 4000, twoTriangles), "a.stl");
    REQUIRE(odd.report.notes.size() == 1);
    CHECK(odd.report.notes[0].find("may be no STL file") != std::string::npos);
}

TEST_CASE("namesOfSolidsAreFitToBeShown") {
    auto const nameOf = [](std::string const& told) {
        std::string const text = "solid " + told + "\n" + oneFacet + "endsolid\n";
        auto const read = readBytes(text, "a.stl");
        CHECK(read.mesh.getNumTriangles() == 1);
        return read.report.name;
    };
    CHECK(nameOf("bolt") == "bolt");
    CHECK(nameOf("bo\x1blt") == "bo lt");
    std::string const accents = [] {
        std::string text = "x";
        for (int i = 0; i < 150; ++i)
            text += "\xc3\xa9";
        return text;
    }();
    CHECK(nameOf(accents) == accents.substr(0, 197) + "...");  // no half character
    CHECK(nameOf(std::string(200, 'x')).size() == 200);
    CHECK(nameOf("facet vertex") == "facet vertex");
    // All of the file in a line.
    std::string line = "solid my facet " + oneFacet + "endsolid";
    std::replace(line.begin(), line.end(), '\n', ' ');
    auto const read = readBytes(line, "a.stl");
    CHECK(read.report.name == "my facet");
    CHECK(read.mesh.getNumTriangles() == 1);
    // What the writer puts where there is no name is none.
    CHECK(readBytes(bytesOf(support::cube(), "a.stl"), "a.stl").report.name.empty());
    WriteOptions options;
    options.name = "Solid Part";
    CHECK(bytesOf(support::cube(), "a.stl", options).substr(0, 11) == " Solid Part");
}

TEST_CASE("stlTextIsTakenAsProgramsWriteIt") {
    auto const several = readBytes("Solid a b  c \r\n" +
                                       facet("vertex\t1. .5 -1e1\rVERTEX +1 nan INF\n\n vertex 3 "
                                             "2 1\n") +
                                       "endsolid a b\nsolid second\n" + oneFacet + "endsolid\n",
                                   "a.stl");
    REQUIRE(several.outcome);
    CHECK(several.report.name == "a b  c");
    CHECK(several.report.notes.size() == 1);
    CHECK(several.mesh.getNumTriangles() == 2);
    CHECK(several.mesh.getVertices()[0].z == -10.0f);
    CHECK(several.report.nonfiniteVertices == 1);
    CHECK(several.report.numProblems == 1);

    std::string oneLine = "solid\n" + oneFacet + oneFacet;
    std::replace(oneLine.begin() + 6, oneLine.end(), '\n', ' ');
    CHECK(trianglesOf(readBytes(oneLine, "a.stl").mesh) == Ints{0, 1, 2, 3, 4, 5});
    CHECK(problemsOf(readBytes(oneLine, "a.stl").report) ==
          std::vector<std::string>{"2: the file ends without endsolid"});
    CHECK(readBytes("solid a\rfacet\rvertex 0 0 0\rvertex 1 0 0\rvertex 0 1 0\rendfacet\rendsolid",
                    "a.stl")
              .report.lines == 7);
}

TEST_CASE("faultsOfStlTextAreToldWithTheirLines") {
    auto const read =
        readBytes("solid\n" + facet("vertex 0 0 0\nvertex 1 0 0\n") +
                      facet("vertex 0 0 0\nvertex 1 x 0\nvertex 0 1\n") + "colour 1 2 3\n" +
                      facet("vertex 0 0 0\nvertex 1 0 0\nvertex 1 1 0\nvertex 0 1 0\n") +
                      "facet normal 0 0 1\nouter loop\nvertex 1 2 3\n",
                  "a.stl");
    REQUIRE(read.outcome);
    CHECK(problemsOf(read.report) ==
          std::vector<std::string>{"2: facet with fewer than three corners; dropped",
                                   "11: vertex with a coordinate that is no number; it is NaN",
                                   "12: vertex with fewer than three numbers; the others are 0",
                                   "15: a word that means nothing in this format; line skipped",
                                   "16: facet with more than three corners; cut into triangles",
                                   "24: facet with fewer than three corners; dropped",
                                   "26: the file ends within a facet"});
    CHECK(read.mesh.getNumTriangles() == 3);
    CHECK(trianglesOf(read.mesh) == Ints{0, 1, 2, 3, 4, 5, 6, 7, 8});
    CHECK(read.report.faces == 5);
    CHECK(read.report.dropped.tooFewCorners == 2);
    CHECK(read.report.incompleteVertices == 2);
}

// The count in the head against the bytes that are there.
TEST_CASE("binaryStlIsReadAsFarAsItGoes") {
    std::string const two = binary("", 2, twoTriangles);
    CHECK(readBytes(two, "a.stl").report.numProblems == 0);

    auto const cut = readBytes(two.substr(0, 84 + 50 + 20), "a.stl");
    CHECK(cut.mesh.getNumTriangles() == 1);
    CHECK(problemsOf(cut.report) ==
          std::vector<std::string>{"134: the file ends after 1 of 2 triangles and within the next "
                                   "one"});
    for (std::uint32_t const declared : {0x7fffffffu, 0x80000000u, 0xfffffffeu, 3u}) {
        CAPTURE(declared);
        auto const hostile = readBytes(binary("", declared, twoTriangles), "a.stl");
        CHECK(hostile.mesh.getNumTriangles() == 2);
        CHECK(hostile.report.numProblems == 1);
    }
    CHECK(readBytes(binary("", 0, {}), "a.stl").mesh.getNumTriangles() == 0);
}

// What the head tells too little of is read where it is whole triangles; a note of bytes behind, or a doubt whether that is all.
TEST_CASE("binaryStlIsReadBeyondACountThatIsTooSmall") {
    float const nan = std::numeric_limits<float>::quiet_NaN();
    struct Case {
        std::string bytes;
        int numTriangles;
        std::string note;
        std::string doubt;
    };
    std::string const told = "tells of 1 triangle in its head and goes on for 1 more";
    std::string const untold = "does not tell its count of triangles, and ends in 3 bytes";
    std::string const padded = std::string(50, '\0');
    for (Case const& file : std::vector<Case>{
             {binary("", 2, twoTriangles), 2, "", ""},
             {binary("", 1, twoTriangles), 2, "", told},
             {binary("", 1, twoTriangles) + "xyz", 1, "goes on for 53 bytes", ""},
             {binary("", 2, twoTriangles) + padded, 2, "goes on for 50 bytes", ""},
             {binary("", 2, twoTriangles) + binary("", 0, {}), 2, "goes on for 84 bytes", ""},
             {binary("", 1, {0, 0, 0, 1, 0, 0, 1, 1, 0, nan, 0, 0, 1, 0, 0, 0, 1, 0}), 1,
              "goes on for 50 bytes", ""},
             {binary("", 0, twoTriangles), 2, "", ""},
             {binary("", 0xffffffffu, twoTriangles), 2, "", ""},
             {binary("", 0, twoTriangles) + "xyz", 2, "", untold},
             {binary("", 0xffffffffu, twoTriangles) + "xyz", 2, "", untold},
             {binary("", 0, {}) + "xyz", 0, "goes on for 3 bytes", ""}}) {
        CAPTURE(file.note);
        CAPTURE(file.doubt);
        auto const read = readBytes(file.bytes, "a.stl");
        REQUIRE(read.outcome);
        CHECK(read.mesh.getNumTriangles() == file.numTriangles);
        CHECK(read.report.cutShort.empty());
        auto const isOnly = [](std::vector<std::string> const& list, std::string const& start) {
            return start.empty() ? list.empty() : list.size() == 1 && list[0].starts_with(start);
        };
        CHECK(isOnly(read.report.notes, file.note));
        CHECK(isOnly(read.report.doubts, file.doubt));
    }
}

TEST_CASE("anStlTextWithoutItsEndIsDoubted") {
    CHECK(readBytes("solid\n" + oneFacet + "endsolid\n", "a.stl").report.doubts.empty());
    CHECK(readBytes("solid\n" + oneFacet, "a.stl").report.doubts ==
          std::vector<std::string>{
              "ends without endsolid: it may have been cut short behind a facet"});
    auto const within = readBytes("solid\n" + oneFacet + "facet\n", "a.stl").report;
    CHECK(within.doubts.empty());
    CHECK(within.cutShort.size() == 1);
}

TEST_CASE("binaryStlTellsWhatItDoesNotKeep") {
    float const nan = std::numeric_limits<float>::quiet_NaN();
    float const inf = std::numeric_limits<float>::infinity();
    Floats corners = twoTriangles;
    corners[4] = nan;
    corners[2] = -inf;
    std::string bytes = binary("", 2, corners);
    bytes[84 + 48] = 1;
    auto const read = readBytes(bytes, "a.stl");
    CHECK(read.report.nonfiniteVertices == 2);
    CHECK(problemsOf(read.report) ==
          std::vector<std::string>{"96: vertex with a coordinate that is NaN or infinite",
                                   "108: vertex with a coordinate that is NaN or infinite"});
    CHECK(read.report.ignoredProperties.size() == 1);
    ReadOptions options;
    options.dropNonfinite = true;
    auto const dropped = readBytes(bytes, "a.stl", options);
    CHECK(trianglesOf(dropped.mesh) == Ints{3, 4, 5});
    CHECK(dropped.mesh.getNumVertices() == 6);
    CHECK(dropped.report.dropped.nonfinite == 1);
}

TEST_CASE("problemsOfABinaryStlStandInTheOrderOfTheFile") {
    Floats corners = twoTriangles;
    corners[4] = corners[12] = std::numeric_limits<float>::infinity();
    ReadOptions options;
    options.dropNonfinite = true;
    auto const read = readBytes(binary("", 3, corners), "a.stl", options);
    CHECK(problemsOf(read.report) ==
          std::vector<std::string>{"84: face at a vertex that is NaN or infinite; dropped",
                                   "108: vertex with a coordinate that is NaN or infinite",
                                   "134: face at a vertex that is NaN or infinite; dropped",
                                   "158: vertex with a coordinate that is NaN or infinite",
                                   "184: the file ends after 2 of 3 triangles"});
    CHECK(read.report.numProblems == 5);
}

//   3---2      0 and -0 are one place; a NaN is none
//   | / |
//   0---1
TEST_CASE("weldsCornersInTheOrderOfTheirAppearance") {
    Floats corners = twoTriangles;
    corners[9] = -0.0f;
    ReadOptions options;
    options.weld = true;
    for (std::string const& bytes :
         {binary("", 2, corners),
          bytesOf(support::meshOf(corners, {0, 1, 2, 3, 4, 5}), "a.stl", asText())}) {
        auto const read = readBytes(bytes, "a.stl", options);
        CHECK(coordinatesOf(read.mesh) == Floats{0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0});
        CHECK(trianglesOf(read.mesh) == Ints{0, 1, 2, 0, 2, 3});
        CHECK(read.report.weldedVertex == Ints{0, 1, 2, 0, 2, 3});
        CHECK(read.report.vertices == 6);
    }
    Floats lost = twoTriangles;
    lost[0] = lost[9] = std::numeric_limits<float>::quiet_NaN();
    auto const read = readBytes(binary("", 2, lost), "a.stl", options);
    CHECK(read.report.weldedVertex == Ints{0, 1, 2, 3, 2, 4});
    CHECK(readBytes(binary("", 2, lost), "a.stl").report.weldedVertex.empty());
}

TEST_CASE("weldingASoupGivesTheSurfaceBack") {
    ReadOptions options;
    options.weld = true;
    support::withPools([&](int) {
        for (support::NamedMesh const& named : support::manifoldZoo()) {
            CAPTURE(named.name);
            auto const read = readBytes(bytesOf(named.mesh, "a.stl"), "a.stl", options);
            Floats const coordinates = coordinatesOf(read.mesh);
            Ints const triangles = trianglesOf(read.mesh);
            Ints const expected = trianglesOf(named.mesh);
            REQUIRE(triangles.size() == expected.size());
            CHECK(triangles == read.report.weldedVertex);
            int highest = -1;
            for (std::size_t i = 0; i < triangles.size(); ++i) {
                CHECK(std::memcmp(&coordinates[3 * static_cast<std::size_t>(triangles[i])],
                                  named.mesh.getVerticesRaw() + 3 * expected[i], 12) == 0);
                CHECK(triangles[i] <= highest + 1);
                highest = std::max(highest, triangles[i]);
            }
        }
    });
}

TEST_CASE("binaryStlDoesNotDependOnThreadsOrBlocks") {
    CompactMesh const sphere = support::sphere(7);  // several blocks
    std::string const bytes = bytesOf(sphere, "a.stl");
    Floats const expected = coordinatesOf(soupOf(sphere));
    support::withPools([&](int) {
        auto const read = readBytes(bytes, "a.stl");
        CHECK(coordinatesOf(read.mesh) == expected);
        CHECK(bytesOf(read.mesh, "b.stl") == bytes);
    });
}

TEST_CASE("stlSurvivesWhatIsDoneToIt") {
    std::string const text = bytesOf(support::tetrahedron(), "a.stl", asText());
    std::string const bytes = bytesOf(support::tetrahedron(), "a.stl");
    formatChecks::checkTruncations(text, "a.stl");
    formatChecks::checkTruncations(bytes, "a.stl");
    formatChecks::checkDamage(text, "a.stl", "solidfacetvertex 0123456789.-e\n\r", 2000);
    formatChecks::checkDamage(bytes, "a.stl", "\1\x7f\xff@ab", 2000);
    formatChecks::checkLimit(text, "a.stl");
    formatChecks::checkLimit(bytes, "a.stl");
    CHECK(readBytes("solid " + std::string(8u << 20, 'x') + "\nfacet", "a.stl").outcome);
    CHECK(readBytes("solid\nfacet " + std::string(8u << 20, '7') + "\nvertex 1 2 3", "a.stl")
              .outcome);
}

TEST_CASE("aCancelledReadingOfStlLeavesTheMesh") {
    koUtil::Progress progress;
    progress.cancel();
    ReadOptions options;
    options.progress = &progress;
    for (std::string const& bytes : {binary("", 2, twoTriangles), "solid\n" + oneFacet})
        CHECK(readBytes(bytes, "a.stl", options).outcome.failure == Failure::Cancelled);
}
