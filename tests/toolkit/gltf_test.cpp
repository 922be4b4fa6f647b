#include "formatChecks.h"
#include "support/sanitizers.h"
#include "toolkit/MeshFormat.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/forkedWork.h"
#include "toolkit/detail/gltfFormat.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

using namespace trimora;
using formatChecks::bytesOf;
using formatChecks::readBytes;
using koGeom::CompactMesh;
using koGeom::PointMesh;
using support::coordinatesOf;
using support::trianglesOf;
using Failure = FileOutcome::Failure;
using Floats = std::vector<float>;
using Ints = std::vector<int>;

namespace {

std::uint32_t wordAt(std::string const& bytes, std::size_t at) {
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < 4; ++i)
        word |= std::uint32_t(static_cast<unsigned char>(bytes.at(at + i))) << (8 * i);
    return word;
}

std::string word(std::size_t value) {
    std::string bytes;
    for (int i = 0; i < 4; ++i)
        bytes += static_cast<char>(value >> (8 * i) & 255);
    return bytes;
}

/// The two chunks of a GLB file, whose frame has to be right to the byte.
struct Chunks {
    std::string json;
    std::string binary;
};

Chunks chunksOf(std::string const& bytes) {
    Chunks chunks;
    CHECK(bytes.substr(0, 4) == "glTF");
    CHECK(wordAt(bytes, 4) == 2);
    CHECK(wordAt(bytes, 8) == bytes.size());
    CHECK(bytes.size() % 4 == 0);
    std::size_t const jsonSize = wordAt(bytes, 12);
    CHECK(bytes.substr(16, 4) == "JSON");
    CHECK(jsonSize % 4 == 0);
    chunks.json = bytes.substr(20, jsonSize);
    if (bytes.size() == 20 + jsonSize)
        return chunks;
    CHECK(wordAt(bytes, 20 + jsonSize) == bytes.size() - 28 - jsonSize);
    CHECK(bytes.substr(24 + jsonSize, 4) == std::string("BIN\0", 4));
    chunks.binary = bytes.substr(28 + jsonSize);
    return chunks;
}

std::string glbOf(std::string json, std::string binary) {
    json.resize((json.size() + 3) / 4 * 4, ' ');
    binary.resize((binary.size() + 3) / 4 * 4, '\0');
    return "glTF" + word(2) + word(28 + json.size() + binary.size()) + word(json.size()) + "JSON" +
           json + word(binary.size()) + std::string("BIN\0", 4) + binary;
}

std::string floatBytes(Floats const& values) {
    std::string bytes(values.size() * 4, '\0');
    std::memcpy(bytes.data(), values.data(), bytes.size());
    return bytes;
}

/// A scene of one triangle without indices, used by the given nodes.
std::string triangleScene(std::string const& nodes, std::string const& roots) {
    return "{\"asset\":{\"version\":\"2.0\"},\"scene\":0,\"scenes\":[{\"nodes\":[" + roots +
           "]}],\"nodes\":[" + nodes +
           "],\"meshes\":[{\"name\":\"part\",\"primitives\":[{\"attributes\":{\"POSITION\":0}}]}],"
           "\"accessors\":[{\"bufferView\":0,\"componentType\":5126,\"count\":3,\"type\":\"VEC3\","
           "\"min\":[0,0,0],\"max\":[1,2,0]}],"
           "\"bufferViews\":[{\"buffer\":0,\"byteLength\":36}],\"buffers\":[{\"byteLength\":36";
}

Floats const triangleCorners = {0, 0, 0, 1, 0, 0, 0, 2, 0};

CompactMesh dressed(CompactMesh mesh, bool bytes) {
    support::Random random(3);
    mesh.allocNormalArray();
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        mesh.getNormalsRaw()[3 * v + v % 3] = 1.0f;
    mesh.allocUVArray();
    for (int i = 0; i < 2 * mesh.getNumVertices(); ++i)
        mesh.getUVsRaw()[i] = static_cast<float>(random.index(257)) / 256.0f;  // 1 - v is exact
    float* const colours = mesh.allocAttributes(PointMesh::ColoursName, 4)->asFloat();
    for (int i = 0; i < 4 * mesh.getNumVertices(); ++i)
        colours[i] = bytes ? static_cast<float>(random.index(256)) / 255.0f
                           : static_cast<float>(random.real(0.0, 1.0));
    return mesh;
}

std::string messageOf(CompactMesh const& mesh) {
    support::TemporaryFolder const folder;
    FileOutcome const outcome = writeMesh(folder.path("a.glb"), mesh);
    CHECK(folder.size() == 0);
    return outcome.message;
}

}  // namespace

TEST_CASE("glbFilesAreFramedAndSayWhatTheyHold") {
    CompactMesh mesh = support::meshOf({0, -0.5f, 0.25f, 1, 0, 0, 0, 1, 0}, {2, 1, 0});
    WriteOptions options;
    options.name = "a \"part\"\n";
    options.shift = {{4321000.0, -2.0, 0.5}};
    Chunks const chunks = chunksOf(bytesOf(mesh, "a.glb", options));
    CHECK(chunks.json.find(
              "{\"asset\":{\"version\":\"2.0\",\"generator\":\"trimora\"},"
              "\"scene\":0,\"scenes\":[{\"nodes\":[0]}],\"nodes\":[{\"mesh\":0,"
              "\"translation\":[4321000,-2,0.5]}],\"meshes\":[{"
              "\"name\":\"a \\u0022part\\u0022\\u000a\",\"primitives\":[{\"attributes\":{"
              "\"POSITION\":0},\"indices\":1,\"material\":0,\"mode\":4}]}],") == 0);
    CHECK(chunks.json.find(
              "\"accessors\":[{\"bufferView\":0,\"componentType\":5126,\"count\":3,"
              "\"type\":\"VEC3\",\"min\":[0,-0.5,0],\"max\":[1,1,0.25]},"
              "{\"bufferView\":1,\"componentType\":5123,\"count\":3,"
              "\"type\":\"SCALAR\"}],\"bufferViews\":[{\"buffer\":0,\"byteOffset\":0,"
              "\"byteLength\":36,\"target\":34962},{\"buffer\":0,\"byteOffset\":36,"
              "\"byteLength\":6,\"target\":34963}],\"buffers\":[{\"byteLength\":44}]}") !=
          std::string::npos);
    CHECK(chunks.binary.size() == 44);
    CHECK(chunks.binary.substr(0, 36) == floatBytes(coordinatesOf(mesh)));
    CHECK(chunks.binary.substr(36) == std::string("\2\0\1\0\0\0\0\0", 8));
}

TEST_CASE("glbFilesOfLittleAreStillFiles") {
    CHECK(chunksOf(bytesOf(CompactMesh(), "a.glb")).binary.empty());
    Chunks const points = chunksOf(bytesOf(support::meshOf({1, 2, 3}, {}), "a.glb"));
    CHECK(points.json.find("\"mode\":0") != std::string::npos);
    CHECK(points.json.find("indices") == std::string::npos);
    CompactMesh polygon = support::meshOf({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}, {});
    polygon.polys = koGeom::MeshSequence(ko::vector<ko::vector<int>>{{0, 1, 2, 3}});
    CHECK(chunksOf(bytesOf(polygon, "a.glb")).binary.substr(48) ==
          std::string("\0\0\1\0\2\0\0\0\2\0\3\0", 12));
}

TEST_CASE("wideIndicesBeginWhereShortOnesEnd") {
    for (int const numVertices : {65535, 65536}) {
        Floats coordinates(3 * static_cast<std::size_t>(numVertices), 0.0f);
        CompactMesh const mesh = support::meshOf(coordinates, {0, 1, numVertices - 1});
        bool const isShort =
            chunksOf(bytesOf(mesh, "a.glb")).json.find("5123") != std::string::npos;
        CHECK(isShort == (numVertices == 65535));
    }
}

TEST_CASE("normalsOfAGlbAreUnitVectors") {
    CompactMesh mesh = support::triangle();
    mesh.allocNormalArray();
    Floats const given = {0, 3, 4, 0, 0, 0, 0.6f, 0, 0.8f};
    std::copy(given.begin(), given.end(), mesh.getNormalsRaw());
    std::string const binary = chunksOf(bytesOf(mesh, "a.glb")).binary;
    CHECK(binary.substr(36, 36) == floatBytes({0, 0.6f, 0.8f, 0, 0, 1, 0.6f, 0, 0.8f}));
}

TEST_CASE("whatAGlbCannotHoldIsRefused") {
    for (float const bad :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()})
        CHECK(messageOf(support::meshOf({0, 0, 0, bad, 0, 0, 0, 1, 0}, {0, 1, 2}))
                  .find("NaN or infinite") != std::string::npos);
    WriteOptions options;
    options.format = "gltf";
    CHECK(writeMesh("-", support::triangle(), options).message.find("read but not written") !=
          std::string::npos);
}

TEST_CASE("nonfiniteVerticesOfNoTriangleAreWrittenAsZero") {
    float const nan = std::numeric_limits<float>::quiet_NaN();
    CompactMesh const mesh =
        support::meshOf({1, 2, 3, 2, 2, 3, 1, 3, 3, nan, 5, INFINITY}, {0, 1, 2});
    Chunks const chunks = chunksOf(bytesOf(mesh, "a.glb"));
    CHECK(chunks.binary.substr(36, 12) == floatBytes({0, 5, 0}));
    CHECK(chunks.json.find("\"min\":[0,2,0],\"max\":[2,5,3]") != std::string::npos);
    FileOutcome outcome;
    MeshFormat const& glb = *findMeshFormat("a.glb", "", outcome);
    CHECK(contentLostIn(glb, mesh, {}) ==
          std::vector<std::string>{"coordinates that are NaN or infinite, 0 there"});
}

TEST_CASE("namesOfMeshesGoThroughAGlb") {
    if (!readsGltf())
        return;
    auto const nameThrough = [](std::string const& name) {
        WriteOptions options;
        options.name = name;
        return readBytes(bytesOf(support::triangle(), "a.glb", options), "a.glb").report.name;
    };
    CHECK(nameThrough("caf\xc3\xa9 \"1\"") == "caf\xc3\xa9 \"1\"");
    CHECK(nameThrough("bad\xff\n") == "bad\xef\xbf\xbd ");
    CHECK(nameThrough("").empty());  // not the importer's own number
    CHECK(nameThrough("meshes") == "meshes");
}

TEST_CASE("withoutAssimpTheMessageSaysHowToGetIt") {
    InputFile file;
    REQUIRE(file.openText("glTF", "a.glb"));
    FileOutcome const outcome = refuseGltf(file);
    CHECK(outcome.failure == Failure::Unsupported);
    CHECK(outcome.message.find("a.glb: ") == 0);
    CHECK(outcome.message.find("libassimp-dev") != std::string::npos);
    if (!readsGltf())
        CHECK(readBytes(bytesOf(support::triangle(), "a.glb"), "a.glb").outcome.message ==
              outcome.message);
}

TEST_CASE("everyGlbComesBack") {
    if (!readsGltf())
        return;
    std::vector<support::NamedMesh> all;
    for (support::NamedMesh const& named : support::zoo()) {
        Floats const coordinates = coordinatesOf(named.mesh);
        bool const isFinite = std::all_of(coordinates.begin(), coordinates.end(),
                                          [](float x) { return std::isfinite(x); });
        if (isFinite && named.mesh.getNumTriangles() > 0) {
            all.push_back(named);
            all.push_back({named.name, dressed(named.mesh, all.size() % 4 == 1)});
        }
    }
    all.push_back({"large", dressed(support::grid(300, 300), true)});
    for (support::NamedMesh const& named : all) {
        CAPTURE(named.name);
        auto const read = readBytes(bytesOf(named.mesh, "a.glb"), "a.glb");
        CAPTURE(read.outcome.message);
        REQUIRE(read.outcome);
        formatChecks::checkSame(read.mesh, named.mesh);
        CHECK(read.report.format == "glb");
        CHECK(read.report.numProblems == 0);
    }
    auto const points =
        readBytes(bytesOf(support::meshOf({1, 2, 3, 4, 5, 6}, {}), "a.glb"), "a.glb");
    CHECK(points.mesh.getNumVertices() == 2);
    CHECK(points.report.otherElements == 2);
}

TEST_CASE("partsStandWhereTheirNodesPlaceThem") {
    if (!readsGltf())
        return;
    // One by itself, and one that is turned over by a mirror, then moved.
    std::string const json =
        triangleScene("{\"mesh\":0,\"children\":[1]},{\"translation\":[10,0,0],\"children\":[2]},"
                      "{\"scale\":[-1,1,1],\"mesh\":0}",
                      "0") +
        "}]}";
    auto const read = readBytes(glbOf(json, floatBytes(triangleCorners)), "a.glb");
    CAPTURE(read.outcome.message);
    REQUIRE(read.outcome);
    CHECK(coordinatesOf(read.mesh) ==
          Floats{0, 0, 0, 1, 0, 0, 0, 2, 0, 10, 0, 0, 9, 0, 0, 10, 2, 0});
    CHECK(trianglesOf(read.mesh) == Ints{0, 1, 2, 3, 5, 4});
    CHECK(read.report.name == "part");
    CHECK(read.report.variant == "binary");
}

TEST_CASE("farPartsAreRecentred") {
    if (!readsGltf())
        return;
    CompactMesh const mesh = support::meshOf({0.125f, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 1, 2});
    WriteOptions options;
    options.shift = {{4321000.0, -512345.0, 0.0}};
    auto const read = readBytes(bytesOf(mesh, "a.glb", options), "a.glb");
    REQUIRE(read.outcome);
    CHECK(read.report.isShifted());
    for (std::size_t i = 0; i < 9; ++i)
        CHECK(static_cast<double>(read.mesh.getVerticesRaw()[i]) + read.report.shift[i % 3] ==
              static_cast<double>(mesh.getVerticesRaw()[i]) + options.shift[i % 3]);
}

TEST_CASE("shiftsThatNoFloatHoldsAreToldInParts") {
    struct Case {
        double shift;
        int numNodes;
    };
    for (Case const& far :
         {Case{0.0, 1}, Case{16777216.0, 1}, Case{16777217.0, 2}, Case{-4321235000.0, 2},
          Case{1e12 + 1.0, 2}, Case{9007199254740991.0, 2}, Case{123456789012345678.0, 3}}) {
        CAPTURE(far.shift);
        WriteOptions options;
        options.shift = {{far.shift, 0.0, -far.shift}};
        std::string const bytes = bytesOf(support::triangle(), "a.glb", options);
        std::string const json = chunksOf(bytes).json;
        int numNodes = 1;
        while (json.find("{\"children\":[" + std::to_string(numNodes) + "],\"translation\":[") !=
               std::string::npos)
            ++numNodes;
        CHECK(numNodes == far.numNodes);
        if (!readsGltf())
            continue;
        ReadOptions reading;
        reading.shift = options.shift;
        auto const read = readBytes(bytes, "a.glb", reading);
        REQUIRE(read.outcome);
        if (std::abs(far.shift) < 1e15)  // beyond a double cannot tell the corners apart
            CHECK(coordinatesOf(read.mesh) == coordinatesOf(support::triangle()));
    }
}

//   Three nodes, the mesh with a bad index and the one with colours of four parts named in another order than they stand.
TEST_CASE("whatTheImporterDoesNotTellIsTakenFromTheFile") {
    if (!readsGltf())
        return;
    Floats const colours = {1, 0, 0, 0, 0.5f, 0.25f, 1, 0.5f, 0, 1, 1, 0.75f};
    std::string const binary =
        floatBytes(triangleCorners) + floatBytes(colours) + std::string("\0\1\2\0\1\7\0", 7);
    auto const accessor = [](int view, int type, int count, std::string const& kind) {
        return "{\"bufferView\":" + std::to_string(view) +
               ",\"componentType\":" + std::to_string(type) +
               ",\"count\":" + std::to_string(count) + ",\"type\":\"" + kind + "\"}";
    };
    auto const readWith = [&](std::string const& roots, int numIndices, int mode = 4) {
        std::string const json =
            "{\"asset\":{\"version\":\"2.0\"},\"scenes\":[{\"nodes\":[" + roots +
            "]}],\"nodes\":[{\"mesh\":1,\"children\":[1]},{\"mesh\":0},{\"mesh\":2}],\"meshes\":["
            "{\"primitives\":[{\"attributes\":{\"POSITION\":0,\"COLOR_0\":1}}]},"
            "{\"primitives\":[{\"attributes\":{\"POSITION\":0,\"COLOR_0\":2}}]},"
            "{\"primitives\":[{\"attributes\":{\"POSITION\":0,\"COLOR_0\":2},\"indices\":3,"
            "\"mode\":" +
            std::to_string(mode) + "}]}],\"accessors\":[" + accessor(0, 5126, 3, "VEC3") + "," +
            accessor(1, 5126, 3, "VEC3") + "," + accessor(1, 5126, 3, "VEC4") + "," +
            accessor(2, 5121, numIndices, "SCALAR") +
            "],\"bufferViews\":[{\"buffer\":0,\"byteLength\":36},{\"buffer\":0,\"byteOffset\":36,"
            "\"byteLength\":48},{\"buffer\":0,\"byteOffset\":84,\"byteLength\":7}],\"buffers\":[{"
            "\"byteLength\":91}]}";
        return readBytes(glbOf(json, binary), "a.glb");
    };
    auto const both = readWith("2,0", 7);
    CAPTURE(both.outcome.message);
    REQUIRE(both.outcome);
    REQUIRE(both.mesh.getNumVertices() == 9);
    CHECK(both.report.colours.kept);
    float const* const found = both.mesh.getAttributes(PointMesh::ColoursName)->asFloat();
    Floats alphas;
    for (int v = 0; v < 9; ++v)
        alphas.push_back(found[4 * v + 3]);
    CHECK(alphas == Floats{0, 0.5f, 0.75f, 0, 0.5f, 0.75f, 1, 1, 1});
    CHECK(trianglesOf(both.mesh) == Ints{0, 1, 2, 3, 4, 5, 6, 7, 8});
    CHECK(both.report.faces == 5);
    CHECK(both.report.dropped.outOfRange == 1);
    CHECK(both.report.dropped.tooFewCorners == 1);
    CHECK(readWith("2", 3).report.dropped.total() == 0);
    CHECK(readWith("0", 3).report.dropped.total() == 0);
    CHECK(readWith("2,2", 6).report.dropped.outOfRange == 2);  // as often as it stands there
    CHECK(readWith("2", 5, 5).report.dropped.total() == 0);
}

TEST_CASE("gltfMayBeginWithAByteOrderMark") {
    std::string const text =
        "\xEF\xBB\xBF" + triangleScene("{\"mesh\":0}", "0") +
        ",\"uri\":\"data:application/octet-stream;base64,AAAAAAAAAAAAAAAAAACAPwAA"
        "AAAAAAAAAAAAAAAAAEAAAAAA\"}]}";
    auto const read = readBytes(text, "a.obj");  // told by its content
    CAPTURE(read.outcome.message);
    CHECK(bool(read.outcome) == readsGltf());
    CHECK(coordinatesOf(read.mesh) == (readsGltf() ? triangleCorners : Floats()));
}

TEST_CASE("buffersBesideTheFileAreReadAndNoOthers") {
    if (!readsGltf())
        return;
    support::TemporaryFolder const folder;
    folder.write("corners.bin", floatBytes(triangleCorners));
    std::string const start = triangleScene("{\"mesh\":0}", "0") + ",\"uri\":\"";
    auto const readFrom = [&](std::string const& uri) {
        std::string const path = folder.write("a.gltf", start + uri + "\"}]}");
        CompactMesh mesh;
        ReadReport report;
        FileOutcome const outcome = readMesh(path, mesh, report);
        CHECK(bool(outcome) == (mesh.getNumTriangles() == 1));
        return outcome;
    };
    CHECK(readFrom("corners.bin"));
    CHECK(readFrom("data:application/octet-stream;base64,AAAAAAAAAAAAAAAAAACAPwAAAAAAAAAAAAAAAAAAAE"
                   "AAAAAA"));
    folder.write("two corners.bin", floatBytes(triangleCorners));
    folder.write("50%.bin", floatBytes(triangleCorners));
    CHECK(readFrom("two%20corners.bin"));
    CHECK(readFrom("two corners.bin"));
    CHECK(readFrom("50%.bin"));
    CHECK(
        !readFrom("..%2F" + folder.path().substr(folder.path().rfind('/') + 1) + "%2fcorners.bin"));
    CHECK(!readFrom("corners.bin%00"));
    CHECK(!readFrom("absent.bin"));
    CHECK(!readFrom(folder.path("corners.bin")));
    CHECK(!readFrom("../" + folder.path().substr(folder.path().rfind('/') + 1) + "/corners.bin"));
}

TEST_CASE("scenesThatRepeatThemselvesAreRefusedBeforeTheyAreMade") {
    if (!readsGltf())
        return;
    std::string const corners = floatBytes(triangleCorners);
    auto const readChain = [&](int length, std::uint64_t maxMemory) {
        std::string chain;
        for (int i = 1; i < length; ++i)
            chain += "{\"children\":[" + std::to_string(i) + "," + std::to_string(i) + "]},";
        ReadOptions options;
        options.maxMemory = maxMemory;
        return readBytes(glbOf(triangleScene(chain + "{\"mesh\":0}", "0") + "}]}", corners),
                         "a.glb", options)
            .outcome;
    };
    CHECK(readChain(4, 0));
    for (int const length : {40, 2000}) {  // 2^39 triangles, and more than a double counts
        FileOutcome const outcome = readChain(length, 0);
        CHECK(outcome.failure == Failure::Limit);
        CHECK(outcome.message.find("with all that its nodes repeat") != std::string::npos);
    }
    CHECK(readChain(18, 64u << 20).failure == Failure::Limit);
}

TEST_CASE("numbersThatTheImporterMistakesAreNotTaken") {
    if (!readsGltf())
        return;
    std::string json = triangleScene("{\"mesh\":0}", "0") + "}]}";
    auto const readWith = [](std::string text, std::string const& from, std::string const& to) {
        text.replace(text.find(from), from.size(), to);
        return readBytes(glbOf(text, floatBytes(triangleCorners)), "a.glb");
    };
    FileOutcome const shorts = readWith(json, "5126", "5122").outcome;
    CHECK(shorts.failure == Failure::Unsupported);
    CHECK(shorts.message.find("without quantisation") != std::string::npos);
    FileOutcome const packed =
        readWith(json, "{\"asset\"",
                 "{\"extensionsRequired\":[\"EXT_meshopt_compression\"],\"asset\"")
            .outcome;
    CHECK(packed.message.find("'EXT_meshopt_compression', which is not read") != std::string::npos);
    // Whole numbers as texture coordinates, which the format allows: the surface comes without them.
    std::string const uvs = "],\"accessors\":[{\"bufferView\":0,\"componentType\":5123,"
                            "\"normalized\":true,\"count\":3,\"type\":\"VEC2\"},";
    json.replace(json.find("],\"accessors\":["), 15, uvs);
    auto const read = readWith(json, "\"POSITION\":0", "\"POSITION\":1,\"TEXCOORD_0\":0");
    CAPTURE(read.outcome.message);
    REQUIRE(read.outcome);
    CHECK(coordinatesOf(read.mesh) == triangleCorners);
    CHECK(read.mesh.getUVsRaw() == nullptr);
    CHECK(read.report.notes.size() == 1);
}

TEST_CASE("hostileScenesBreakNothing") {
    if (!readsGltf())
        return;
    std::string const bytes = bytesOf(dressed(support::triangle(), true), "a.glb");
    for (std::size_t size = 4; size < bytes.size(); size += 1 + size / 40)
        CHECK(!readBytes(bytes.substr(0, size), "a.glb").outcome);
    support::Random random(5);
    for (int i = 0; i < 150; ++i) {
        std::string damaged = bytes;
        for (int k = 0; k < 4; ++k) {
            int const at = random.index(static_cast<int>(bytes.size()));
            damaged[static_cast<std::size_t>(at)] = static_cast<char>('0' + random.index(12));
        }
        readBytes(damaged, "a.glb");
    }
    // What recursion without end would follow: brackets, and nodes in a ring and in a long chain.
    readBytes("{\"asset\":" + std::string(2000000, '['), "a.gltf");
    std::string chain;
    for (int i = 1; i < 200000; ++i)
        chain += "{\"children\":[" + std::to_string(i) + "]},";
    std::string const corners = floatBytes(triangleCorners);
    readBytes(glbOf(triangleScene(chain + "{\"mesh\":0}", "0") + "}]}", corners), "a.glb");
    readBytes(glbOf(triangleScene("{\"children\":[1]},{\"children\":[0]}", "0") + "}]}", corners),
              "a.glb");
    CHECK(readBytes(bytes, "a.glb").outcome);
}

TEST_CASE("workThatBreaksBreaksNothingHere") {
    std::string result;
    CHECK(runInChild([] { return std::string("fine"); }, {}, nullptr, result) == ChildEnd::Done);
    CHECK(result == "fine");
    std::string const large(3u << 20, 'x');
    CHECK(runInChild([&] { return large; }, {}, nullptr, result) == ChildEnd::Done);
    CHECK(result == large);
    CHECK(runInChild([]() -> std::string { std::abort(); }, {}, nullptr, result) ==
          ChildEnd::Broke);
    CHECK(runInChild([]() -> std::string { throw 1; }, {}, nullptr, result) == ChildEnd::Broke);
    auto const spin = []() -> std::string {
        for (unsigned volatile i = 0;;)
            i = i + 1;
    };
    ChildLimits limits;
    limits.seconds = 1;
    CHECK(runInChild(spin, limits, nullptr, result) == ChildEnd::PastLimit);
    koUtil::Progress progress;
    progress.cancel();
    CHECK(runInChild(spin, {}, &progress, result) == ChildEnd::Cancelled);
    limits.maxMemory = 64u << 20;
    auto const grow = [] { return std::string(1u << 30, 'x'); };
    // Sanitizers end the process where memory is not to be had.
    bool const isSanitized = support::hasAddressSanitizer || support::hasThreadSanitizer;
    CHECK(runInChild(grow, limits, nullptr, result) ==
          (isSanitized ? ChildEnd::Broke : ChildEnd::PastLimit));
}
