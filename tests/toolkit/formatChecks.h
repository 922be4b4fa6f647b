#pragma once

#include "support/TemporaryFolder.h"
#include "support/builders.h"
#include "support/checks.h"
#include "toolkit/readMesh.h"
#include "toolkit/roundTrip.h"
#include "toolkit/writeMesh.h"

#include "trimora/contract/koGeom/CompactMesh.h"

#include <cmath>
#include <cstring>
#include <doctest/doctest.h>
#include <functional>
#include <string>
#include <vector>

/// What every file format owes: shared by the tests of each.
namespace formatChecks {

struct Read {
    koGeom::CompactMesh mesh;
    trimora::ReadReport report;
    trimora::FileOutcome outcome;
};

/// Reads bytes as a file of the given name; whatever comes of it has to be a sound mesh or an untouched one, with a message.
inline Read readBytes(std::string const& bytes, std::string const& name,
                      trimora::ReadOptions const& options = {}) {
    Read read;
    read.outcome = trimora::readMeshText(bytes, name, read.mesh, read.report, options);
    CHECK(support::faultOf(read.mesh) == "");
    CHECK(read.outcome.message.empty() == bool(read.outcome));
    if (!read.outcome)
        CHECK(read.mesh.getNumVertices() == 0);
    std::size_t const numTold = read.report.problems.size();
    CHECK(numTold <= trimora::ReadReport::maxProblems);
    CHECK(static_cast<std::int64_t>(numTold) <= read.report.numProblems);
    return read;
}

/// The bytes that writing gives, in a folder that then holds nothing else.
inline std::string bytesOf(koGeom::CompactMesh const& mesh, std::string const& name,
                           trimora::WriteOptions const& options = {}) {
    support::TemporaryFolder const folder;
    trimora::FileOutcome const outcome = trimora::writeMesh(folder.path(name), mesh, options);
    CAPTURE(outcome.message);
    REQUIRE(outcome);
    CHECK(folder.size() == 1);
    return folder.read(name);
}

inline std::vector<std::string> problemsOf(trimora::ReadReport const& report) {
    std::vector<std::string> lines;
    for (trimora::ReadReport::Problem const& problem : report.problems)
        lines.push_back(std::to_string(problem.byte < 0 ? problem.line : problem.byte) + ": " +
                        problem.text);
    return lines;
}

using formats::areSameFloats;

/// The same vertices, triangles, polygons and sets of floats, in the same order.
inline void checkSame(koGeom::CompactMesh const& mesh, koGeom::CompactMesh const& expected) {
    REQUIRE(mesh.getNumVertices() == expected.getNumVertices());
    auto const numVertices = static_cast<std::size_t>(expected.getNumVertices());
    CHECK(support::trianglesOf(mesh) == support::trianglesOf(expected));
    REQUIRE(mesh.getNumAttributes() == expected.getNumAttributes());
    for (int i = 0; i < expected.getNumAttributes(); ++i) {
        koGeom::MeshAttributes const& set = *expected.getAttributes(i);
        CAPTURE(std::string(set.getName().asChar()));
        koGeom::MeshAttributes const* const found = mesh.getAttributes(set.getName());
        REQUIRE(found != nullptr);
        REQUIRE(found->dimension == set.dimension);
        CHECK(areSameFloats(found->asFloat(), set.asFloat(),
                            numVertices * static_cast<std::size_t>(set.dimension)));
    }
}

/// Meshes of all kinds, and a cloud of floats of all bit patterns that are numbers, infinities included.
inline std::vector<support::NamedMesh> meshes() {
    std::vector<support::NamedMesh> all = support::zoo();
    support::Random random(4);
    std::vector<float> any;
    for (int i = 0; i < 3 * 3000; ++i) {
        auto const bits = static_cast<std::uint32_t>(random.next());
        float value = 0.0f;
        std::memcpy(&value, &bits, sizeof value);
        any.push_back(value);
    }
    std::vector<int> triangles;
    for (int i = 0; i < 3000; ++i)
        triangles.push_back(random.index(3000));
    all.push_back({"any floats", support::meshOf(any, triangles)});
    return all;
}

/// Writes each of the meshes, reads it, and compares with `expected` of it, on pools of several sizes.
inline void
checkRoundTrips(std::string const& fileName, trimora::WriteOptions const& options,
                std::function<koGeom::CompactMesh(koGeom::CompactMesh const&)> const& expected,
                std::vector<support::NamedMesh> const& all = meshes()) {
    support::withPools([&](int) {
        for (support::NamedMesh const& named : all) {
            CAPTURE(named.name);
            Read const read = readBytes(bytesOf(named.mesh, fileName, options), fileName);
            CAPTURE(read.outcome.message);
            REQUIRE(read.outcome);
            CHECK(!read.report.isShifted());
            checkSame(read.mesh, expected(named.mesh));
        }
    });
}

inline void checkRoundTrips(std::string const& fileName,
                            trimora::WriteOptions const& options = {}) {
    checkRoundTrips(fileName, options, [](koGeom::CompactMesh const& mesh) { return mesh; });
}

/// Reads every beginning of the bytes: none may do worse than a refusal. Those that are read never have more than the whole.
inline void checkTruncations(std::string const& bytes, std::string const& fileName) {
    Read const whole = readBytes(bytes, fileName);
    REQUIRE(whole.outcome);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        CAPTURE(size);
        Read const read = readBytes(bytes.substr(0, size), fileName);
        CHECK(read.mesh.getNumVertices() <= whole.mesh.getNumVertices());
        CHECK(read.mesh.getNumTriangles() <= whole.mesh.getNumTriangles());
    }
}

/// Reads the bytes with some of them changed, many times over.
inline void checkDamage(std::string const& bytes, std::string const& fileName,
                        std::string const& alphabet, int numTimes) {
    support::Random random(9);
    for (int i = 0; i < numTimes; ++i) {
        std::string const text = support::damaged(bytes, alphabet, 6, random);
        CAPTURE(text);
        readBytes(text, fileName);
    }
}

/// With a limit of memory below what the file needs it is refused, and nothing large was allocated before.
inline void checkLimit(std::string const& bytes, std::string const& fileName) {
    trimora::ReadOptions options;
    options.maxMemory = 40;
    Read const read = readBytes(bytes, fileName, options);
    CHECK(read.outcome.failure == trimora::FileOutcome::Failure::Limit);
}

/// Corners of a surveyed field with more digits than a float has there: x y z of each vertex.
inline std::vector<double> const surveyed = {4321234.5678, 512345.678,   123.4567,     4321334.6789,
                                             512345.7891,  124.5678,     4321334.1234, 512445.2345,
                                             125.0001,     4321234.8765, 512445.8765,  126.1234};

/// Whether the mesh is the surveyed field to a float's precision, once its shift is put back.
inline void checkSurveyed(Read const& read) {
    REQUIRE(read.outcome);
    REQUIRE(read.mesh.getNumVertices() * 3 == static_cast<int>(surveyed.size()));
    CHECK(read.report.isShifted());
    for (std::size_t i = 0; i < surveyed.size(); ++i) {
        double const shift = read.report.shift[i % 3];
        CHECK(shift == std::round(shift));
        double const back = static_cast<double>(read.mesh.getVerticesRaw()[i]) + shift;
        CHECK(std::abs(back - surveyed[i]) < 1e-5);
    }
}

}  // namespace formatChecks
