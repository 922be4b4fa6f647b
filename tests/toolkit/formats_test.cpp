#include "formatChecks.h"
#include "support/captureBinding.h"
#include "toolkit/MeshFormat.h"

#include <algorithm>

using namespace trimora;
using formatChecks::bytesOf;
using formatChecks::readBytes;
using koGeom::CompactMesh;
using support::trianglesOf;
using Failure = FileOutcome::Failure;

namespace {

std::vector<MeshFormat> bothWays() {
    std::vector<MeshFormat> found;
    std::copy_if(
        meshFormats().begin(), meshFormats().end(), std::back_inserter(found),
        [](MeshFormat const& format) { return format.read != nullptr && format.write != nullptr; });
    return found;
}

std::string nameFor(MeshFormat const& format) {
    return "a." + std::string(format.extensions.front());
}

/// A quad with all that vertices can have.
CompactMesh dressedQuad() {
    CompactMesh mesh = support::meshOf({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}, {});
    mesh.polys = koGeom::MeshSequence(ko::vector<ko::vector<int>>{{0, 1, 2, 3}});
    mesh.allocUVArray();
    mesh.allocNormalArray();
    mesh.allocAttributes(koGeom::PointMesh::ColoursName, 4);
    mesh.allocAttributes("heat", 1);
    return mesh;
}

}  // namespace

TEST_CASE("theContentOfAFileTellsItsFormat") {
    CompactMesh const mesh = support::tetrahedron();
    for (MeshFormat const& format : bothWays()) {
        CAPTURE(std::string(format.name));
        std::string const bytes = bytesOf(mesh, nameFor(format));
        for (std::string const& name : {nameFor(format), std::string("-"), std::string("a.data"),
                                        std::string("noname"), std::string()}) {
            CAPTURE(name);
            auto const read = readBytes(bytes, name);
            REQUIRE(read.outcome);
            CHECK(read.report.format == format.name);
            CHECK(read.report.notes.empty());
        }
        for (MeshFormat const& other : bothWays()) {
            if (other.name == format.name)
                continue;
            auto const read = readBytes(bytes, nameFor(other));
            REQUIRE(read.outcome);
            CHECK(read.report.format == format.name);
            REQUIRE(read.report.notes.size() == 1);
            CHECK(read.report.notes[0].find(std::string(format.name)) != std::string::npos);
        }
    }
}

TEST_CASE("aFormatThatIsNamedIsTheOneThatIsTried") {
    ReadOptions options;
    options.format = "OFF";
    CHECK(readBytes("v 0 0 0\n", "a.obj", options).outcome.failure == Failure::Unsupported);
    auto const read = readBytes("1 0 0\n1 2 3\n", "a.obj", options);
    CHECK(read.report.format == "off");
    CHECK(read.report.notes.empty());
    options.format = "docx";
    FileOutcome const outcome = readBytes("v 0 0 0\n", "a.obj", options).outcome;
    CHECK(outcome.message.find("no format is named 'docx'; the formats are: obj, stl") !=
          std::string::npos);
}

TEST_CASE("contentWithoutAFormatGoesByItsName") {
    CHECK(readBytes("# nothing yet\n", "a.obj").outcome);
    CHECK(readBytes("# nothing yet\n", "-").report.format == "obj");
    CHECK(readBytes("# nothing yet\n", "a.data")
              .outcome.message.find("no format has the extension '.data'") != std::string::npos);
    CHECK(readBytes("what is it\n", "noname").outcome.message.find("no extension") !=
          std::string::npos);
}

TEST_CASE("writingGoesByNameAndExtension") {
    support::TemporaryFolder const folder;
    CompactMesh const mesh = support::triangle();
    auto const messageOf = [&](std::string const& name, WriteOptions const& options) {
        FileOutcome const outcome = writeMesh(folder.path(name), mesh, options);
        CHECK(outcome.failure == Failure::Unsupported);
        CHECK(folder.size() == 0);
        return outcome.message;
    };
    CHECK(messageOf("a.xyz", {}).find("the formats are: obj, stl") != std::string::npos);
    WriteOptions options;
    options.encoding = WriteOptions::Encoding::LittleEndian;
    CHECK(messageOf("a.obj", options).find("obj files have no binary form") != std::string::npos);
    options.encoding = WriteOptions::Encoding::BigEndian;
    CHECK(messageOf("a.stl", options).find("no big-endian form") != std::string::npos);
    options = {};
    options.format = "off";
    CHECK(bytesOf(mesh, "a.obj", options).substr(0, 3) == "OFF");
}

TEST_CASE("whatAFormatDoesNotHoldIsNamed") {
    CompactMesh const mesh = dressedQuad();
    using Words = std::vector<std::string>;
    auto const lostIn = [&mesh](char const* name, WriteOptions const& options = {}) {
        FileOutcome outcome;
        return contentLostIn(*findMeshFormat("", name, outcome), mesh, options);
    };
    CHECK(lostIn("obj") == Words{"colours", "heat"});
    CHECK(lostIn("stl") == Words{"texture coordinates", "normals", "colours", "heat", "polygons"});
    CHECK(lostIn("off") == Words{"heat"});
    WriteOptions options;
    options.colours = options.vertexSets = options.normals = options.textureCoordinates = false;
    CHECK(lostIn("stl", options) == Words{"polygons"});

    CompactMesh const loose = support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, 5, 5, 5}, {0, 1, 2});
    for (MeshFormat const& format : meshFormats())
        CHECK(contentLostIn(format, loose, {}) ==
              (format.name == "stl" ? Words{"1 vertex of no triangle"} : Words{}));
}

//   What is cut off is told by what a file announces, in the same form for all formats; of text STL by where it ends.
TEST_CASE("filesThatAreCutShortSaySo") {
    std::string const plyHead = "element vertex 3\nproperty float x\nproperty float y\n"
                                "property float z\nelement face 2\n"
                                "property list uchar int vertex_indices\nend_header\n";
    std::string const stl = bytesOf(support::tetrahedron(), "a.stl");
    std::string const ply = bytesOf(support::tetrahedron(), "a.ply");
    std::string const off = "OFF\n3 2 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n3 2 1 0\n";
    std::string const facet = "facet\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\n";
    struct Case {
        char const* name;
        std::string bytes;
        char const* words;
    };
    for (Case const& file : std::vector<Case>{
             {"a.stl", stl, ""},
             {"a.stl", stl + "more", ""},
             {"a.stl", stl.substr(0, stl.size() - 1), "3 of 4 triangles"},
             {"a.stl", stl.substr(0, 84 + 50), "1 of 4 triangles"},
             {"a.stl", "solid\n" + facet + "endfacet\nendsolid\n", ""},
             {"a.stl", "solid\n" + facet + "endfacet\n" + facet, "1 of more than 1 facets"},
             {"a.off", off, ""},
             {"a.off", off + "more\n", ""},
             {"a.off", off.substr(0, off.size() - 8), "1 of 2 faces"},
             {"a.off", "OFF\n3 2 0\n0 0 0\n1 0 0\n", "2 of 3 vertices, 0 of 2 faces"},
             {"a.ply", ply, ""},
             {"a.ply", ply + "more", ""},
             {"a.ply", ply.substr(0, ply.size() - 1), "3 of 4 elements 'face'"},
             {"a.ply", "ply\nformat ascii 1.0\n" + plyHead + "0 0 0\n1 0 0\n",
              "2 of 3 elements 'vertex', 0 of 2 elements 'face'"},
             {"a.obj", "v 0 0 0\n", ""}}) {
        CAPTURE(file.bytes);
        auto const read = readBytes(file.bytes, file.name);
        REQUIRE(read.outcome);
        CHECK(read.report.cutShortInWords() == file.words);
        CHECK(read.report.cutShort.empty() == (*file.words == '\0'));
        CHECK(read.report.bytes == static_cast<std::int64_t>(file.bytes.size()));
        // What is there is read, what comes behind the end is a note, and what is missing a problem with its place.
        CHECK((read.report.numProblems > 0) == (*file.words != '\0'));
        CHECK((read.report.notes.size() == 1) == (file.bytes.find("more") != std::string::npos));
    }
}

TEST_CASE("everyFormatKeepsTheSetsThatItSays") {
    CompactMesh const mesh = dressedQuad();
    for (MeshFormat const& format : bothWays()) {
        CAPTURE(std::string(format.name));
        auto const read = readBytes(bytesOf(mesh, nameFor(format)), nameFor(format));
        REQUIRE(read.outcome);
        auto const holds = [&format](unsigned bit) { return (format.holds & bit) != 0; };
        CHECK((read.mesh.getUVsRaw() != nullptr) == holds(HoldsTextureCoordinates));
        CHECK((read.mesh.getNormalsRaw() != nullptr) == holds(HoldsNormals));
        CHECK((read.mesh.getAttributes(koGeom::PointMesh::ColoursName) != nullptr) ==
              holds(HoldsColours));
        CHECK((read.mesh.getAttributes("heat") != nullptr) == holds(HoldsScalars));
        CHECK((read.report.polygons == 1) == holds(HoldsPolygons));
    }
}

TEST_CASE("textThatGrowsInMemoryIsRefusedAtTheLimit") {
    auto const repeated = [](std::string const& head, std::string const& line, int count) {
        std::string text = head;
        for (int i = 0; i < count; ++i)
            text += line;
        return text;
    };
    constexpr int many = 200000;
    std::string const plyHead = "ply\nformat ascii 1.0\nelement vertex 1\nproperty char x\n"
                                "property char y\nproperty char z\nelement ";
    std::string const plyList = "\nproperty list int int vertex_indices\nend_header\n0 0 0\n";
    for (auto const& [name, text] : std::vector<std::pair<char const*, std::string>>{
             {"a.obj", repeated("", "v\n", many)},
             {"a.obj", repeated("v 0 0 0\nf", " 1", many)},
             {"a.off", repeated("STCNOFF\n200000 0 0\n", "1\n", many)},
             {"a.off", repeated("OFF\n1 1 0\n0 0 0\n200000", " 0", many)},
             {"a.stl", repeated("solid\n", "vertex ", many)},
             {"a.ply", repeated(plyHead + "tristrips 1" + plyList + "200000", " 0 1 2", many / 3)},
             {"a.ply", repeated(plyHead + "face 1" + plyList + "200000", " 0", many)}}) {
        CAPTURE_BINDING(name);
        std::string const start = text.substr(0, 40);
        CAPTURE(start);
        ReadOptions options;
        options.maxMemory = 5 * text.size();
        CHECK(readBytes(text, name, options).outcome.failure == Failure::Limit);
        options.maxMemory = 100 * text.size();
        CHECK(readBytes(text, name, options).outcome);
    }
    // What programs write fits the documented measure.
    CompactMesh const mesh = support::sphere(6);
    for (MeshFormat const& format : bothWays()) {
        CAPTURE(std::string(format.name));
        WriteOptions writing;
        writing.encoding = (format.forms & TextForm) != 0 ? WriteOptions::Encoding::Text
                                                          : WriteOptions::Encoding::Usual;
        std::string const text = bytesOf(mesh, nameFor(format), writing);
        ReadOptions options;
        options.maxMemory = (format.name == "glb" ? 40 : 5) * text.size();
        FileOutcome const outcome = readBytes(text, nameFor(format), options).outcome;
        CAPTURE(outcome.message);
        CHECK(outcome);
    }
}

//   4---3---5
//   |   | /     polygons of mixed sizes, one dropped
//   0---1---2
TEST_CASE("polygonsAreRestoredFromTheirFans") {
    std::string const text = "OFF\n6 4 0\n0 0 0\n1 0 0\n2 0 0\n1 1 0\n0 1 0\n2 1 0\n"
                             "4 0 1 3 4\n3 1 2 9\n3 1 5 3\n5 1 2 5 3 1\n";
    auto read = readBytes(text, "a.off");
    REQUIRE(read.mesh.getNumTriangles() == 6);
    support::ModificationCounter const counter(read.mesh);
    restorePolygons(read.mesh, read.report);
    CHECK(counter.total() == 1);
    CHECK(support::faultOf(read.mesh) == "");
    CHECK(bytesOf(read.mesh, "b.off") == "OFF\n6 3 0\n0 0 0\n1 0 0\n2 0 0\n1 1 0\n0 1 0\n2 1 0\n"
                                         "4 0 1 3 4\n3 1 5 3\n5 1 2 5 3 1\n");
    restorePolygons(read.mesh, read.report);
    CHECK(counter.total() == 1);
    auto triangles = readBytes("OFF\n3 1 0\n0 0 0\n1 0 0\n2 0 0\n3 0 1 2\n", "a.off");
    restorePolygons(triangles.mesh, triangles.report);
    CHECK(triangles.mesh.getNumTriangles() == 1);
}
