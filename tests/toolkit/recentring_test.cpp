#include "formatChecks.h"
#include "toolkit/MeshFormat.h"
#include "toolkit/polylines.h"

#include <charconv>

using namespace trimora;
using formatChecks::bytesOf;
using formatChecks::readBytes;
using koGeom::CompactMesh;
using support::coordinatesOf;
using Floats = std::vector<float>;
using Shift = std::array<double, 3>;

namespace {

std::string textOf(double value) {
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

/// The surveyed field, two triangles, as text of a format.
std::string surveyedText(std::string const& format) {
    std::string text = format == "off" ? "OFF\n4 2 0\n" : format == "stl" ? "solid\n" : "";
    auto const point = [](std::size_t v) {
        std::vector<double> const& field = formatChecks::surveyed;
        return textOf(field[3 * v]) + " " + textOf(field[3 * v + 1]) + " " +
               textOf(field[3 * v + 2]) + "\n";
    };
    if (format == "stl") {
        for (std::size_t const first : {1u, 2u})
            text += "facet\nvertex " + point(0) + "vertex " + point(first) + "vertex " +
                    point(first + 1) + "endfacet\n";
        return text + "endsolid\n";
    }
    for (std::size_t v = 0; v < 4; ++v)
        text += (format == "obj" ? "v " : "") + point(v);
    return text + (format == "obj" ? "f 1 2 3\nf 1 3 4\n" : "3 0 1 2\n3 0 2 3\n");
}

Shift shiftOf(std::string const& obj) {
    auto const read = readBytes(obj, "a.obj");
    REQUIRE(read.outcome);
    return read.report.shift;
}

}  // namespace

TEST_CASE("coordinatesFarOffKeepTheirDigits") {
    for (std::string const format : {"obj", "off", "stl"}) {
        CAPTURE(format);
        ReadOptions options;
        options.weld = true;
        auto const read = readBytes(surveyedText(format), "a." + format, options);
        formatChecks::checkSurveyed(read);
        CHECK(read.report.shift == Shift{4321300, 512400, 0});
        CHECK(read.report.triangles == 2);
    }
}

TEST_CASE("theShiftIsPutBackDigitByDigit") {
    for (std::string const format : {"obj", "off", "stl"}) {
        CAPTURE(format);
        std::string const name = "a." + format;
        auto const read = readBytes(surveyedText(format), name);
        WriteOptions options;
        options.shift = read.report.shift;
        options.encoding = WriteOptions::Encoding::Text;
        std::string const written = bytesOf(read.mesh, name, options);
        for (double const coordinate : formatChecks::surveyed)
            CHECK(written.find(textOf(coordinate)) != std::string::npos);
        auto const again = readBytes(written, name);
        CHECK(again.report.shift == read.report.shift);
        formatChecks::checkSame(again.mesh, read.mesh);
    }
}

TEST_CASE("anyFloatsComeBackFromBehindAShift") {
    support::Random random(6);
    Floats coordinates;
    for (int i = 0; i < 3 * 5000; ++i)
        coordinates.push_back(static_cast<float>(random.real(-700, 700)));
    CompactMesh const mesh = support::meshOf(coordinates, {});
    WriteOptions options;
    options.shift = {4321000, -51200, 1e9};
    ReadOptions imposed;
    imposed.shift = options.shift;
    for (std::string const name : {"a.obj", "a.off"}) {
        auto const read = readBytes(bytesOf(mesh, name, options), name, imposed);
        REQUIRE(read.outcome);
        CHECK(read.report.shift == options.shift);
        for (std::size_t i = 0; i < coordinates.size(); ++i) {
            double const spacing = i % 3 == 2 ? 1.2e-7 : 0.0;  // of doubles near 1e9
            CHECK(std::abs(static_cast<double>(read.mesh.getVerticesRaw()[i]) -
                           static_cast<double>(coordinates[i])) <= spacing);
        }
    }
}

TEST_CASE("whatAFloatHoldsIsLeftWhereItIs") {
    Shift const none{};
    CHECK(shiftOf("v 100.5 0 0\nv 101.25 0 0\nv 100.5 1 0\nf 1 2 3\n") == none);
    // Floats as programs print them, far off: shortest, nine digits, six decimals.
    CHECK(shiftOf("v 4321234.5 512345.69 0\nv 4321235 512346.1 0\n") == none);
    CHECK(shiftOf("v 4321234.50 512345.688 0\nv 4321235.00 512346.125 0\n") == none);
    CHECK(shiftOf("v 200.123459 0 0\nv 201.5 1 0\n") == none);
    // Many digits, but the box reaches to the origin.
    CHECK(shiftOf("v 4321234.5678 512345.6789 0\nv 0 0 0\n") == none);
    CHECK(shiftOf("v 4321234.5678 inf 1\nv 4321234.5 2 nan\n") == Shift{4321235, 2, 1});
    CHECK(shiftOf("# nothing\n") == none);
    CHECK(shiftOf("v nan nan nan\n") == none);
    CHECK(shiftOf("v 1e30 1e30 1e30\nv 2e30 1e30 1e30\n") == none);
    // Points that floats would make one.
    CHECK(shiftOf("v 4321234.561 0 0\nv 4321234.562 0 0\n") == Shift{4321235, 0, 0});
    CHECK(shiftOf("v 0.1234567890123 0 0\nv 0.1234567890124 0 0\n") == none);
}

TEST_CASE("aMeshFarSmallerThanAFloatsStepThereIsFoundAllTheSame") {
    // Floats near 1e20 lie 9e12 apart, doubles 16384.
    auto const read =
        readBytes("v 1e20 0 0\nv 100000000000000100000 0 0\nv 1e20 100000 0\nf 1 2 3\n", "a.obj");
    REQUIRE(read.report.isShifted());
    float const* const p = read.mesh.getVerticesRaw();
    CHECK(std::abs(p[0]) < 2e5f);
    CHECK(p[3] - p[0] == 98304.0f);
    CHECK(p[6] == p[0]);
    WriteOptions options;
    options.shift = read.report.shift;
    CHECK(bytesOf(read.mesh, "a.obj", options).find("v 1e+20 0 0\n") == 0);
}

TEST_CASE("aShiftIsImposedEvenOnMeshesAtTheOrigin") {
    ReadOptions options;
    options.shift = {10, 20, 0.5};
    auto const read = readBytes("v 10 20 0.5\nv 11.5 x 1\nv 1\n", "a.obj", options);
    CHECK(read.mesh.getVertices()[0].x == 0.0f);
    CHECK(read.mesh.getVertices()[1].x == 1.5f);
    CHECK(std::isnan(read.mesh.getVertices()[1].y));
    CHECK(read.report.shift == *options.shift);
    options.shift = Shift{};
    CHECK(readBytes(surveyedText("obj"), "a.obj", options).report.shift == Shift{});

    CompactMesh const mesh =
        support::meshOf({100, 200, 300, 101, 200, 300, 100, 201, 300}, {0, 1, 2});
    options.shift = {100, 200, 300};
    auto const binary = readBytes(bytesOf(mesh, "a.stl"), "a.stl", options);
    CHECK(coordinatesOf(binary.mesh) == Floats{0, 0, 0, 1, 0, 0, 0, 1, 0});
    CHECK(binary.report.shift == *options.shift);
    WriteOptions writing;
    writing.shift = *options.shift;
    CHECK(bytesOf(binary.mesh, "a.stl", writing) == bytesOf(mesh, "a.stl"));
}

TEST_CASE("onlyFormsWithAllDigitsKeepAShift") {
    FileOutcome outcome;
    WriteOptions options;
    CHECK(keepsShift(*findMeshFormat("", "obj", outcome), options));
    CHECK(keepsShift(*findMeshFormat("", "off", outcome), options));
    CHECK_FALSE(keepsShift(*findMeshFormat("", "stl", outcome), options));
    options.encoding = WriteOptions::Encoding::Text;
    CHECK(keepsShift(*findMeshFormat("", "stl", outcome), options));
}

TEST_CASE("linesGetTheirShiftBackToo") {
    support::TemporaryFolder const folder;
    REQUIRE(writePolylines(folder.path("a.obj"), {{{0.25, 1, 2}, {1, 1, 2}}}, {4321000, 0, 0}));
    CHECK(folder.read("a.obj") == "v 4321000.25 1 2\nv 4321001 1 2\nl 1 2\n");
}

TEST_CASE("recentringDoesNotDependOnPiecesOrThreads") {
    std::string text;
    support::Random random(3);
    for (int i = 0; i < 60000; ++i)
        text += "v " + textOf(random.real(4321000, 4321500)) + " " +
                textOf(random.real(512000, 512500)) + " " + textOf(random.real(0, 30)) + "\n";
    Floats first;
    support::withPools([&](int) {
        auto const read = readBytes(text, "a.obj");
        CHECK(read.report.shift == Shift{4321300, 512300, 0});
        if (first.empty())
            first = coordinatesOf(read.mesh);
        CHECK(coordinatesOf(read.mesh) == first);
    });
}
