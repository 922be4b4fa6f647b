#pragma once

#include "app/runCommand.h"
#include "toolkit/writeMesh.h"

#include <doctest/doctest.h>
#include <string>

/// What the tests of the editing commands have in common.
namespace commandTest {

inline void store(std::string const& path, koGeom::CompactMesh const& mesh) {
    REQUIRE(trimora::writeMesh(path, mesh));
}

inline nlohmann::json checkOf(std::string const& path) {
    Run const check = run("check --json " + path);
    REQUIRE(check.code <= 1);
    return check.json();
}

/// Checks for a failure of the given code whose one line holds the words.
inline void refuses(std::string const& arguments, int code, std::string const& words) {
    Run const result = run(arguments);
    CAPTURE(arguments);
    CAPTURE(result.err);
    CHECK(result.failedWith(code));
    CHECK(result.err.find(words) != std::string::npos);
}

/// Files that an edit must refuse, or get through, without harm: no triangle, degenerate, flat, not finite, tiny, huge, a
/// double, one corner of a box.
inline char const* const oddMeshes[] = {
    "v 1 2 3\n",
    "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 2\n",
    "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n",
    "v nan 0 0\nv 1 0 0\nv 0 inf 0\nv 0 0 1\nf 1 2 3\nf 2 3 4\n",
    "v 0 0 0\nv 1e-30 0 0\nv 0 1e-30 0\nf 1 2 3\nf 1 2 3\n",
    "v 0 0 0\nv 1e30 0 0\nv 0 1e30 0\nf 1 2 3\n",
    "v 0 0 0\nv 1 0 0\nv 2 0 0\nf 1 2 3\n",
    "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\nf 1 2 3\nf 1 4 2\nf 2 4 3\n"};

}  // namespace commandTest
