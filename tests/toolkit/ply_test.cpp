#include "formatChecks.h"
#include "plyTexts.h"

#include "trimora/contract/koUtil/ThreadPool.h"

#include <algorithm>
#include <array>
#include <limits>

using namespace trimora;
using namespace plyTexts;
using formatChecks::bytesOf;
using formatChecks::problemsOf;
using formatChecks::readBytes;
using koGeom::CompactMesh;
using koGeom::PointMesh;
using support::coordinatesOf;
using support::trianglesOf;
using Failure = FileOutcome::Failure;
using Encoding = WriteOptions::Encoding;
using Floats = std::vector<float>;
using Ints = std::vector<int>;
using Strings = std::vector<std::string>;

namespace {

Floats valuesOf(CompactMesh const& mesh, char const* name) {
    koGeom::MeshAttributes const* const set = mesh.getAttributes(name);
    return set == nullptr
               ? Floats()
               : Floats(set->asFloat(), set->asFloat() + set->dimension * set->getNumElements());
}

/// One property of the generated files, and its value at a vertex.
struct Property {
    std::string name;
    std::string type;
    bool isList = false;
};

double valueAt(std::string const& name, int vertex) {
    return static_cast<double>((name[0] * 7 + vertex * 3) % 100);
}

void shuffle(std::vector<Property>& properties, support::Random& random) {
    for (std::size_t i = properties.size(); i > 1; --i)
        std::swap(properties[i - 1],
                  properties[static_cast<std::size_t>(random.index(static_cast<int>(i)))]);
}

/// A file of properties in any order and of any types, with elements that mean nothing among the others.
std::string anyLayout(std::string const& form, std::uint64_t seed,
                      std::vector<Property>& vertices) {
    constexpr std::array types = {"char",  "uchar",  "short",   "ushort", "int",   "uint",
                                  "float", "double", "int8",    "uint8",  "int16", "uint16",
                                  "int32", "uint32", "float32", "float64"};
    constexpr std::array counts = {"char", "uchar", "short", "ushort",
                                   "int",  "uint",  "float", "double"};  // and indices
    support::Random random(seed);
    auto const anyOf = [&random](auto const& list) {
        return std::string(list[static_cast<std::size_t>(random.index(int(list.size())))]);
    };
    vertices.clear();
    for (char const* const name : {"x", "y", "z", "quality", "flags"})
        vertices.push_back({name, anyOf(types), false});
    if (random.index(2) == 0)
        vertices.push_back({"weights", anyOf(types), true});
    shuffle(vertices, random);
    std::vector<Property> faces = {{"vertex_indices", anyOf(counts), true},
                                   {"kind", anyOf(types), false}};
    if (random.index(2) == 0)
        faces.push_back({"parts", anyOf(types), true});
    shuffle(faces, random);
    bool const facesFirst = random.index(2) == 0;
    std::string const countType = anyOf(counts);

    PlyText ply(form);
    auto const declare = [&](std::string const& element, int count,
                             std::vector<Property> const& properties) {
        ply.line("element " + element + " " + std::to_string(count));
        for (Property const& property : properties)
            ply.line(property.isList
                         ? "property list " + countType + " " + property.type + " " + property.name
                         : "property " + property.type + " " + property.name);
    };
    std::vector<Property> const other = {{"a", "short", false}, {"b", "double", true}};
    declare("before", 3, other);
    if (facesFirst)
        declare("face", 3, faces);
    declare("vertex", 6, vertices);
    if (!facesFirst)
        declare("face", 3, faces);
    declare("behind", 2, other);
    ply.endHeader();

    auto const list = [&](std::string const& type, std::vector<int> const& items) {
        ply.number(countType, static_cast<double>(items.size()));
        for (int const item : items)
            ply.number(type, item);
    };
    auto const writeOther = [&](int count) {
        for (int i = 0; i < count; ++i) {
            ply.number("short", i);
            list("double", std::vector<int>(static_cast<std::size_t>(i), 7));
            ply.endItem();
        }
    };
    auto const writeFaces = [&] {
        for (Ints const& corners : {Ints{0, 1, 2}, Ints{0, 2, 3, 4}, Ints{5, 4, 3}}) {
            for (Property const& property : faces) {
                if (property.name == "vertex_indices")
                    list(property.type, corners);
                else if (property.isList)
                    list(property.type, Ints{1, 2});
                else
                    ply.number(property.type, 9);
            }
            ply.endItem();
        }
    };
    writeOther(3);
    if (facesFirst)
        writeFaces();
    for (int v = 0; v < 6; ++v) {
        for (Property const& property : vertices) {
            if (property.isList)
                list(property.type, Ints(static_cast<std::size_t>(v), 1));
            else
                ply.number(property.type, valueAt(property.name, v));
        }
        ply.endItem();
    }
    if (!facesFirst)
        writeFaces();
    writeOther(2);
    return ply.text();
}

/// All that vertices can have.
CompactMesh dressed(CompactMesh mesh, bool bytes) {
    support::Random random(3);
    auto const fill = [&](float* values, int dimension, bool areBytes) {
        for (int i = 0; i < dimension * mesh.getNumVertices(); ++i)
            values[i] = areBytes ? static_cast<float>(random.index(256)) / 255.0f
                                 : static_cast<float>(random.real(-2.0, 2.0));
    };
    mesh.allocNormalArray();
    fill(mesh.getNormalsRaw(), 3, false);
    mesh.allocUVArray();
    fill(mesh.getUVsRaw(), 2, false);
    fill(mesh.allocAttributes(PointMesh::ColoursName, 4)->asFloat(), 4, bytes);
    fill(mesh.allocAttributes("quality", 1)->asFloat(), 1, false);
    fill(mesh.allocAttributes(PointMesh::STsName, 2)->asFloat(), 2, false);
    fill(mesh.allocAttributes("stress", 3)->asFloat(), 3, false);
    fill(mesh.allocAttributes("plane", 4)->asFloat(), 4, false);
    return mesh;
}

std::vector<support::NamedMesh> dressedZoo() {
    std::vector<support::NamedMesh> all;
    for (support::NamedMesh const& named : support::zoo())
        if (named.mesh.getNumVertices() > 0)
            all.push_back({named.name, dressed(named.mesh, all.size() % 2 == 0)});
    all.push_back({"many", dressed(support::grid(300, 300), true)});
    return all;
}

}  // namespace

TEST_CASE("writesWhatAPlyFileIs") {
    CompactMesh mesh = support::meshOf({0, -0.5f, 0.1f, 1, 0, 0, 0, 1, 0}, {2, 1, 0});
    WriteOptions options = encoded(Encoding::Text);
    options.comment = "two\r\nlines";
    CHECK(bytesOf(mesh, "a.ply", options) ==
          "ply\nformat ascii 1.0\ncomment two\ncomment \ncomment lines\nelement vertex 3\n"
          "property float x\nproperty float y\nproperty float z\nelement face 1\n"
          "property list uchar int vertex_indices\nend_header\n"
          "0 -0.5 0.1\n1 0 0\n0 1 0\n3 2 1 0\n");
    std::string const head = "element vertex 3\n" + xyz + "element face 1\n" + faceList;
    std::string const little = bytesOf(mesh, "a.ply");
    CHECK(little.substr(0, 33) == "ply\nformat binary_little_endian 1");
    CHECK(little.substr(little.size() - 13) == std::string("\3\2\0\0\0\1\0\0\0\0\0\0\0", 13));
    std::string const big = bytesOf(mesh, "a.ply", encoded(Encoding::BigEndian));
    CHECK(big.substr(big.size() - 13) == std::string("\3\0\0\0\2\0\0\0\1\0\0\0\0", 13));
    CHECK(big.find("binary_big_endian 1.0\n" + head + "end_header\n") != std::string::npos);
}

TEST_CASE("namesEveryColumn") {
    CompactMesh mesh = dressed(support::triangle(), true);
    mesh.allocAttributes("nx", 1);         // a name with a meaning
    mesh.allocAttributes("two words", 2);  // no single word
    mesh.allocAttributes("hidden", 1)->setStoreable(false);
    std::string const text = bytesOf(mesh, "a.ply", encoded(Encoding::Text));
    std::string const columns =
        "x y z nx ny nz red green blue alpha s t quality sts_0 sts_1 stress_0 stress_1 stress_2 "
        "plane_0 plane_1 plane_2 plane_3 nx_ two_words_0 two_words_1 ";
    std::string found;
    for (std::size_t at = 0; (at = text.find("property ", at)) != std::string::npos; ++at) {
        std::string const line = text.substr(at, text.find('\n', at) - at);
        if (line.find("list") == std::string::npos)
            found += line.substr(line.rfind(' ') + 1) + " ";
    }
    CHECK(found == columns);
    CHECK(text.find("property uchar red\n") != std::string::npos);
    CHECK(bytesOf(dressed(support::triangle(), false), "a.ply").find("property float red\n") !=
          std::string::npos);
    WriteOptions options;
    options.normals = options.colours = options.textureCoordinates = options.vertexSets = false;
    CHECK(bytesOf(mesh, "a.ply", options).find("property float z\nelement face") !=
          std::string::npos);
}

TEST_CASE("everyPlyComesBackBitForBit") {
    for (Encoding const encoding : {Encoding::Usual, Encoding::BigEndian, Encoding::Text}) {
        formatChecks::checkRoundTrips("a.ply", encoded(encoding));
        formatChecks::checkRoundTrips(
            "a.ply", encoded(encoding), [](CompactMesh const& mesh) { return mesh; }, dressedZoo());
    }
}

TEST_CASE("takesEveryOrderAndType") {
    for (std::string const form : {"ascii", "binary_little_endian", "binary_big_endian"})
        for (std::uint64_t seed = 0; seed < 60; ++seed) {
            CAPTURE(form);
            CAPTURE(seed);
            std::vector<Property> properties;
            auto const read = readBytes(anyLayout(form, seed, properties), "a.ply");
            CAPTURE(read.outcome.message);
            REQUIRE(read.outcome);
            Floats expected;
            Floats quality;
            for (int v = 0; v < 6; ++v) {
                for (char const* const axis : {"x", "y", "z"})
                    expected.push_back(static_cast<float>(valueAt(axis, v)));
                quality.push_back(static_cast<float>(valueAt("quality", v)));
            }
            CHECK(coordinatesOf(read.mesh) == expected);
            CHECK(valuesOf(read.mesh, "quality") == quality);
            CHECK(trianglesOf(read.mesh) == Ints{0, 1, 2, 0, 2, 3, 0, 3, 4, 5, 4, 3});
            CHECK(read.report.trianglePolygon == Ints{0, 1, 1, 2});
            CHECK(read.report.faces == 3);
            CHECK(read.report.otherElements == 5);
            CHECK(read.report.numProblems == 0);
            CHECK(read.report.notes.empty());
            CHECK(read.report.keptSets.size() == 2);
            auto const& ignored = read.report.ignoredProperties;
            for (char const* const name : {"before", "behind", "face.kind"})
                CHECK(std::count(ignored.begin(), ignored.end(), name) == 1);
            CHECK(valuesOf(read.mesh, "weights").empty());
        }
}

TEST_CASE("aHeaderInCapitalsIsOneToo") {
    auto const read = readBytes("PLY\nFORMAT ASCII 1.0\nELEMENT VERTEX 3\nPROPERTY FLOAT X\n"
                                "PROPERTY FLOAT Y\nPROPERTY FLOAT Z\nELEMENT FACE 1\n"
                                "PROPERTY LIST UCHAR INT VERTEX_INDEX\nEND_HEADER\n"
                                "0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n",
                                "noname");
    REQUIRE(read.outcome);
    CHECK(read.report.format == "ply");
    CHECK(trianglesOf(read.mesh) == Ints{0, 1, 2});
}

TEST_CASE("takesEveryLineEndOfAHeader") {
    std::string const body("\0\0\0\0\0\0\x80\x3f\0\0\0\x40", 12);
    for (std::string const end : {"\n", "\r\n", "\r", " \t\n"}) {
        CAPTURE(end);
        std::string head;
        for (std::string const line :
             {"ply", "format binary_little_endian 1.0", "comment x y z", "obj_info y",
              "element vertex 1", "property float x", "property float y", "property float z",
              "element face 0", "property list uchar int vertex_index", "end_header"})
            head += line + end;
        auto const read = readBytes(head + body, "a.ply");
        REQUIRE(read.outcome);
        CHECK(coordinatesOf(read.mesh) == Floats{0, 1, 2});
        CHECK(read.report.numProblems == 0);
        CHECK(read.report.notes.empty());

        std::string text = textHeader("element vertex 1\n" + xyz) + "\n 1 2\t3 \n\n";
        if (end != " \t\n")
            for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos;
                 at += end.size())
                text.replace(at, 1, end);
        auto const lines = readBytes(text, "a.ply");
        CHECK(coordinatesOf(lines.mesh) == Floats{1, 2, 3});
        CHECK(lines.report.lines == 10);
        CHECK(lines.report.numProblems == 0);
    }
}

TEST_CASE("coloursAndTheOtherAttributesGoByTheirUsualNames") {
    auto const readVertex = [](std::string const& properties, std::string const& values) {
        return readBytes(textHeader("element vertex 1\n" + xyz + properties) + "1 2 3 " + values +
                             "\n",
                         "a.ply");
    };
    auto const colours = [&](std::string const& type, std::string const& values, bool alpha) {
        std::string properties;
        for (char const* const name : {"red", "green", "blue", "alpha"})
            if (alpha || std::string(name) != "alpha")
                properties.append("property ").append(type).append(" ").append(name).append("\n");
        return valuesOf(readVertex(properties, values).mesh, "colours");
    };
    CHECK(colours("uchar", "255 0 51 102", true) == Floats{1, 0, 51 / 255.0f, 102 / 255.0f});
    CHECK(colours("ushort", "65535 0 257", false) == Floats{1, 0, 257 / 65535.0f, 1});
    CHECK(colours("float", "0.5 2 -1", false) == Floats{0.5f, 2, -1, 1});
    for (std::string const names : {"s t", "u v", "texture_u texture_v"}) {
        std::size_t const gap = names.find(' ');
        auto const read = readVertex("property float " + names.substr(gap + 1) +
                                         "\nproperty double " + names.substr(0, gap) + "\n",
                                     "0.25 0.75");
        CHECK(valuesOf(read.mesh, "uvs") == Floats{0.75f, 0.25f});
        CHECK(read.report.textureCoordinates.kept);
        CHECK(read.report.keptSets.empty());
    }
    // Without all of them they are numbers like others.
    auto const part =
        readVertex("property float nx\nproperty float ny\nproperty uchar red\n", "4 5 200");
    CHECK(part.report.keptSets == Strings{"nx", "ny", "red"});
    CHECK(valuesOf(part.mesh, "red") == Floats{200});
    CHECK(part.mesh.getNormalsRaw() == nullptr);
}

TEST_CASE("setsAreJoinedAndNamesAreKeptApart") {
    auto const read = readBytes(
        textHeader("element vertex 1\n" + xyz +
                   "property float a_0\nproperty float a_1\nproperty float a_2\n"
                   "property int b_0\nproperty int c_1\nproperty int uvs\nproperty float d\n"
                   "property float d_0\nproperty float d_1\nproperty float d\n"
                   "property float e_0\nproperty float e_1\nproperty float e_2\n"
                   "property float e_3\nproperty float e_4\n") +
            "0 0 0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15\n",
        "a.ply");
    REQUIRE(read.outcome);
    CHECK(read.report.keptSets ==
          Strings{"a", "b_0", "c_1", "uvs_", "d", "d_0", "d_1", "e_0", "e_1", "e_2", "e_3", "e_4"});
    CHECK(valuesOf(read.mesh, "a") == Floats{1, 2, 3});
    CHECK(valuesOf(read.mesh, "d") == Floats{7});
    CHECK(valuesOf(read.mesh, "d_1") == Floats{9});
    CHECK(valuesOf(read.mesh, "e_4") == Floats{15});
    CHECK(problemsOf(read.report) ==
          Strings{"16: a second property of that name; the first one counts"});
}

TEST_CASE("whatFloatsDoNotHoldIsToldOfSets") {
    for (std::string const form : {"ascii", "binary_big_endian"}) {
        PlyText ply(form);
        ply.line("element vertex 2\nproperty double x\nproperty double y\nproperty double z\n"
                 "property int id\nproperty int small");
        ply.endHeader();
        for (double const id : {16777216.0, 16777217.0}) {
            for (int i = 0; i < 3; ++i)
                ply.number("double", 0.1);
            ply.number("int", id);
            ply.number("int", 16777216.0);
            ply.endItem();
        }
        auto const read = readBytes(ply.text(), "a.ply");
        CHECK(read.report.notes ==
              Strings{"values of its property 'id' were rounded to floats: 1 of them"});
        CHECK(coordinatesOf(read.mesh)[0] == 0.1f);
    }
}

TEST_CASE("whatIsWholeOfACutOffPlyIsKept") {
    CompactMesh const mesh = dressed(support::tetrahedron(), true);
    for (Encoding const encoding : {Encoding::Usual, Encoding::BigEndian, Encoding::Text})
        formatChecks::checkTruncations(bytesOf(mesh, "a.ply", encoded(encoding)), "a.ply");
    std::vector<Property> properties;
    for (std::uint64_t seed = 0; seed < 4; ++seed)
        formatChecks::checkTruncations(anyLayout("binary_little_endian", seed, properties),
                                       "a.ply");

    std::string const bytes = bytesOf(support::tetrahedron(), "a.ply");
    auto const read = readBytes(bytes.substr(0, bytes.size() - 14), "a.ply");
    CHECK(read.mesh.getNumTriangles() == 2);
    CHECK(problemsOf(read.report) ==
          Strings{std::to_string(bytes.size() - 26) +
                  ": the file ends after 2 of 4 of its elements 'face'"});
    auto const more = readBytes(bytes + "more", "a.ply");
    CHECK(more.mesh.getNumTriangles() == 4);
    CHECK(more.report.notes ==
          Strings{"goes on for 4 bytes behind the last of its elements; they were not read"});
}

TEST_CASE("refusesHeadersThatLeaveTheBodyOpen") {
    auto const refuses = [](std::string const& text, char const* part) {
        CAPTURE(text);
        FileOutcome const outcome = readBytes(text, "a.ply").outcome;
        CAPTURE(outcome.message);
        CHECK(outcome.failure == Failure::Unsupported);
        CHECK(outcome.message.find(part) != std::string::npos);
    };
    std::string const ascii = "ply\nformat ascii 1.0\n";
    refuses("", "is empty");
    refuses("plyx\n", "does not begin with 'ply'");
    refuses("ply\n", "ends within its header");
    refuses("ply\nelement vertex 0\n" + xyz + "end_header\n", "no line 'format'");
    refuses("ply\nformat binary 1.0\n", "line 2: the format is none of");
    refuses(ascii + "format ascii 1.0\n", "line 3: a second line");
    refuses(ascii + "property int x\n", "line 3: a property before any element");
    refuses(ascii + "element vertex\n", "line 3: an element takes");
    for (char const* const count : {"-1", "x", "1.5", "9223372036854775808"})
        refuses(ascii + "element vertex " + count + "\n", "line 3: an element takes");
    refuses(ascii + "element vertex 1\nproperty real x\n", "line 4: 'real' is no type");
    refuses(ascii + "element vertex 1\nproperty list uchar\n", "line 4: a property takes");
    refuses(ascii + "element face 1\n" + faceList + "end_header\n3 0 0 0\n", "no element 'vertex'");
    refuses(ascii + "element vertex 1\nproperty float x\nproperty float y\nend_header\n1 2\n",
            "no x, y and z");
    refuses(ascii + "comment " + std::string(64u << 20, 'x') + "\nend_header\n", "beyond 1 MiB");
    std::string many = ascii + "element vertex 1\n";
    for (int i = 0; i < 1001; ++i)
        many += "property char p" + std::to_string(i) + "\n";
    refuses(many, "more than 1000");
}

TEST_CASE("declaredSizesAreBelievedAsFarAsTheFileGoes") {
    ReadOptions options;
    options.maxMemory = 1u << 20;
    for (std::string const count : {"2147483647", "2147483648", "9223372036854775807"})
        for (std::string const form : {"ascii", "binary_little_endian", "binary_big_endian"}) {
            CAPTURE(count);
            CAPTURE(form);
            std::string const start = "ply\nformat " + form + " 1.0\n";
            std::string const vertices = "element vertex " + count + "\n" + xyz;
            std::string const faces = "element face " + count + "\n" + faceList;
            std::string const others = "element empty " + count + "\nelement other " + count +
                                       "\nproperty list uint double a\n";
            std::string const body = form == "ascii" ? "1 2 3\n4 5 6\n" : std::string(24, '\2');
            auto const read = readBytes(start + vertices + faces + others + "end_header\n" + body,
                                        "a.ply", options);
            REQUIRE(read.outcome);
            CHECK(read.mesh.getNumVertices() == 2);
            CHECK(read.mesh.getNumTriangles() == 0);
            auto const lists = readBytes(start + others + vertices +
                                             "property list uint double b\nend_header\n" + body,
                                         "a.ply", options);
            CHECK(lists.mesh.getNumVertices() <= 1);
        }
    // A list that is longer than the file.
    for (std::string const size : {"\xff\xff\xff\x7f", "\xff\xff\xff\xff", "\0\0\0\x80"}) {
        std::string const bytes = "ply\nformat binary_little_endian 1.0\nelement vertex 1\n" + xyz +
                                  "element face 1\nproperty list int int vertex_indices\n"
                                  "end_header\n" +
                                  std::string(12, '\0') + size.substr(0, 4) + std::string(40, '\0');
        auto const read = readBytes(bytes, "a.ply", options);
        REQUIRE(read.outcome);
        CHECK(read.mesh.getNumVertices() == 1);
        CHECK(read.mesh.getNumTriangles() == 0);
        CHECK(read.report.numProblems == 1);
    }
}

TEST_CASE("memoryForAPlyIsAskedForBeforeItIsTaken") {
    CompactMesh const mesh = dressed(support::grid(40, 40), false);
    for (Encoding const encoding : {Encoding::Usual, Encoding::Text})
        formatChecks::checkLimit(bytesOf(mesh, "a.ply", encoded(encoding)), "a.ply");
}

TEST_CASE("damagedPliesDoNoHarm") {
    CompactMesh const mesh = dressed(support::cube(), true);
    for (Encoding const encoding : {Encoding::Usual, Encoding::BigEndian, Encoding::Text})
        formatChecks::checkDamage(bytesOf(mesh, "a.ply", encoded(encoding)), "a.ply",
                                  "0123456789-.\n\r fixyzuchrlmntpoe_\xff\x80", 3000);
    std::vector<Property> properties;
    for (std::uint64_t seed = 0; seed < 6; ++seed)
        formatChecks::checkDamage(anyLayout("binary_big_endian", seed, properties), "a.ply",
                                  "0123456789 \n\x01\x02\xff", 500);
}

TEST_CASE("piecesOfATextDoNotShowInWhatIsRead") {
    // More lines than a piece holds, with problems in them.
    std::string text = textHeader("element vertex 60000\n" + xyz + "property float q\n" +
                                  "element face 60000\n" + faceList);
    for (int i = 0; i < 60000; ++i)
        text += std::to_string(i) + (i % 20000 == 7 ? " x 0 0\n" : " 0.5 -1e-3 7\n\n");
    for (int i = 0; i < 60000; ++i)
        text += i % 30000 == 9 ? "4 0 1 2 3\r\n" : i % 20000 == 5 ? "2 0 1\n" : "3 0 1 2\n";
    auto const expected = readBytes(text, "a.ply");
    REQUIRE(expected.outcome);
    CHECK(expected.report.incompleteVertices == 3);
    CHECK(expected.mesh.getNumTriangles() == 60000 - 3 + 2);
    CHECK(problemsOf(expected.report).size() == 6);
    support::withPools([&](int) {
        auto const read = readBytes(text, "a.ply");
        formatChecks::checkSame(read.mesh, expected.mesh);
        CHECK(problemsOf(read.report) == problemsOf(expected.report));
        CHECK(read.report.trianglePolygon == expected.report.trianglePolygon);
    });
}

TEST_CASE("farCoordinatesOfAPlyAreRecentred") {
    using formatChecks::surveyed;
    for (std::string const form : {"ascii", "binary_little_endian", "binary_big_endian"}) {
        CAPTURE(form);
        PlyText ply(form);
        ply.line("element vertex 4\nproperty double x\nproperty double y\nproperty double z");
        ply.endHeader();
        std::string text = ply.text();
        for (std::size_t i = 0; i < surveyed.size(); ++i) {
            char number[64];
            std::snprintf(number, sizeof number, "%.4f\n", surveyed[i]);
            if (form == "ascii" && i % 3 != 2)
                std::replace(number, number + sizeof number, '\n', ' ');
            if (form == "ascii")
                text += number;
            else
                ply.number("double", surveyed[i]);
        }
        auto const read = readBytes(form == "ascii" ? text : ply.text(), "a.ply");
        formatChecks::checkSurveyed(read);

        WriteOptions options = encoded(form == "ascii" ? Encoding::Text : Encoding::Usual);
        options.shift = read.report.shift;
        auto const again = readBytes(bytesOf(read.mesh, "a.ply", options), "a.ply");
        CHECK(again.report.shift == read.report.shift);
        CHECK(coordinatesOf(again.mesh) == coordinatesOf(read.mesh));
    }
    // Floats have no further digits, however far they lie.
    CompactMesh const far = support::meshOf({4321234, 0, 0, 4321235, 0, 0, 4321234, 1, 0}, {});
    CHECK(!readBytes(bytesOf(far, "a.ply"), "a.ply").report.isShifted());
    ReadOptions options;
    options.shift = {{4321234.0, -1.0, 0.0}};
    auto const moved = readBytes(bytesOf(far, "a.ply"), "a.ply", options);
    CHECK(coordinatesOf(moved.mesh) == Floats{0, 1, 0, 1, 1, 0, 0, 2, 0});
    CHECK(moved.report.isShifted());
}

TEST_CASE("aCancelledReadingOfAPlyLeavesNothing") {
    CompactMesh const mesh = support::grid(200, 200);
    for (Encoding const encoding : {Encoding::Usual, Encoding::Text}) {
        koUtil::Progress progress;
        progress.cancel();
        ReadOptions options;
        options.progress = &progress;
        auto const read = readBytes(bytesOf(mesh, "a.ply", encoded(encoding)), "a.ply", options);
        CHECK(read.outcome.failure == Failure::Cancelled);
    }
}
