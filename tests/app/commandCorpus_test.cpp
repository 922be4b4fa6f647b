// Every real mesh through check and repair: all faces are read, the repair ends, and what it wrote needs no repair.

#include "app/runCommand.h"
#include "support/corpus.h"

#include <doctest/doctest.h>

using namespace commandTest;

TEST_CASE("everyRealMeshIsCheckedAndRepaired") {
    TemporaryFolder const folder;
    std::string const repaired = folder / "repaired.obj";
    std::string const again = folder / "again.obj";
    for (std::string const& path : support::corpus()) {
        CAPTURE(path);
        Run const check = run("check --json " + path);
        REQUIRE(check.code <= 1);
        CHECK(check.json()["read"]["dropped"]["total"] == 0);

        Run const repair = run("repair --json " + path + " " + repaired);
        REQUIRE(repair.code == 0);
        CHECK(repair.json()["fullyRepaired"] == true);
        auto const after = repair.json()["after"];

        Run const unwelded = run("repair --no-weld --json " + repaired + " " + again);
        CHECK(unwelded.json()["steps"].empty());
        CHECK(contentOf(again) == contentOf(repaired));

        auto const second = run("repair --json " + repaired + " " + again).json()["after"];
        CHECK(second["vertices"] == after["vertices"]);
        CHECK(second["triangles"] == after["triangles"]);
    }
}
