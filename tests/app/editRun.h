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
    CAPTURE(result.err);
    CHECK(result.failedWith(code));
    CHECK(result.err.find(words) != std::string::npos);
}

}  // namespace commandTest
