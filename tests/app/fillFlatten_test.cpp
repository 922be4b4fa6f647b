// fill and flatten from outside: what they write, what they tell, and how they refuse.

#include "app/editRun.h"
#include "support/builders.h"
#include "support/corpus.h"
#include "support/slitGrid.h"
#include "toolkit/sampleMeshes.h"
#include "toolkit/writeMesh.h"

#include <doctest/doctest.h>

using namespace commandTest;

namespace {

/// A scan without the triangles that `every` divides, from the first one on.
koGeom::CompactMesh scanWithHoles(int levels, int every) {
    koGeom::CompactMesh const scan = trimora::makeScan(levels, 1);
    std::vector<int> corners = support::trianglesOf(scan);
    for (int t = (scan.getNumTriangles() - 1) / every * every; t >= 0; t -= every)
        corners.erase(corners.begin() + 3 * t, corners.begin() + 3 * t + 3);
    return support::meshOf(support::coordinatesOf(scan), corners);
}

/// A grid of 6 x 6 squares with one of them missing: a hole of 4 edges, behind the outer border.
std::string gridWithAHole() {
    std::string text;
    for (int i = 0; i < 49; ++i)
        text += "v " + std::to_string(i % 7) + " " + std::to_string(i / 7) + " 0\n";
    for (int square = 0; square < 36; ++square) {
        int const a = square / 6 * 7 + square % 6 + 1;
        auto const corner = [a](int offset) { return " " + std::to_string(a + offset); };
        if (square != 14)
            text += "f" + corner(0) + corner(1) + corner(8) + corner(7) + "\n";
    }
    return text;
}

}  // namespace

TEST_CASE("fillListsWhatThereIs") {
    TemporaryFolder const folder;
    std::string const in = folder / "grid.obj";
    writeFile(in, gridWithAHole());
    Run const list = run("fill --list --json " + in);
    REQUIRE(list.code == 0);
    auto const holes = list.json()["holes"];
    REQUIRE(holes.size() == 2);
    for (char const* const key :
         {"number", "edges", "perimeter", "box", "outer", "predictedTriangles", "chosen"}) {
        CAPTURE(key);
        CHECK(holes[0].contains(key));
    }
    CHECK(holes[0]["outer"] == true);
    CHECK(holes[0]["chosen"] == false);
    CHECK(holes[1]["number"] == 2);
    CHECK(holes[1]["edges"] == 4);
    CHECK(holes[1]["perimeter"] == 4.0);
    CHECK(holes[1]["box"]["low"] == nlohmann::json({2.0, 2.0, 0.0}));
    CHECK(holes[1]["box"]["high"] == nlohmann::json({3.0, 3.0, 0.0}));
    CHECK(holes[1]["outer"] == false);
    CHECK(holes[1]["chosen"] == true);
    CHECK(holes[1]["predictedTriangles"]["flat"] == 2);

    Run const text = run("fill --list " + in);
    CHECK(text.code == 0);
    CHECK(text.out.find("looks like the outer border") != std::string::npos);
    store(folder / "cube.obj", support::cube());
    CHECK(run("fill --list " + (folder / "cube.obj")).out.find("0 holes") != std::string::npos);
    CHECK(folder.size() == 2);
}

TEST_CASE("fillClosesWhatIsChosenAtEachQuality") {
    TemporaryFolder const folder;
    std::string const in = folder / "scan.obj";
    std::string const out = folder / "out.obj";
    store(in, scanWithHoles(5, 911));
    for (std::string const quality : {"flat", "refined", "fair"}) {
        CAPTURE(quality);
        Run const fill = run("fill --json --quality " + quality + " " + in + " " + out);
        REQUIRE(fill.code == 0);
        CHECK(fill.err.empty());
        auto const json = fill.json();
        for (char const* const key :
             {"file", "output", "quality", "holes", "chosen", "filled", "notFilled", "timedOut",
              "before", "after", "seconds", "droppedVertexSets", "read"}) {
            CAPTURE(key);
            CHECK(json.contains(key));
        }
        CHECK(json["filled"] == 9);
        int added = 0;
        for (auto const& hole : json["holes"]) {
            CHECK(hole["outcome"] == "filled");
            CHECK(hole["reason"] == nullptr);
            added += hole["trianglesAdded"].get<int>();
        }
        CHECK(json["before"]["triangles"].get<int>() + added ==
              json["after"]["triangles"].get<int>());
        auto const check = checkOf(out);
        CHECK(check["closed"] == true);
        CHECK(check["oriented"] == true);
        CHECK(check["nonManifoldEdges"] == 0);
        CHECK(check["eulerCharacteristic"] == 2);
        CHECK(run("fill " + out + " -").out == contentOf(out));
    }

    CHECK(run("fill --json --holes 2,4-5 " + in + " " + out).json()["filled"] == 3);
    CHECK(checkOf(out)["boundaries"] == 6);
    CHECK(run("fill --json --holes max-edges:2 " + in + " " + out).json()["chosen"] == 0);
    CHECK(run("fill --json --holes max-edges:3 " + in + " " + out).json()["filled"] == 9);
    CHECK(run("fill --json --holes max-perimeter:50% " + in + " " + out).json()["filled"] == 9);
    CHECK(run("fill --json --holes max-perimeter:0.0001% " + in + " " + out).json()["filled"] == 0);
}

TEST_CASE("fillLeavesOuterBordersUnlessAsked") {
    TemporaryFolder const folder;
    std::string const in = folder / "grid.obj";
    std::string const out = folder / "out.obj";
    writeFile(in, gridWithAHole());
    Run const inner = run("fill " + in + " " + out);
    CHECK(inner.code == 0);
    CHECK(inner.out.find("1 of 1 chosen hole filled (fair)") != std::string::npos);
    CHECK(inner.out.find("stays open") != std::string::npos);
    CHECK(checkOf(out)["boundaries"] == 1);
    Run const all = run("fill --holes all --quality flat " + in + " " + out);
    CHECK(all.code == 0);
    CHECK(all.out.find("outer one") != std::string::npos);
    CHECK(checkOf(out)["closed"] == true);
    Run const none = run("fill " + out + " " + (folder / "copy.obj"));
    CHECK(none.code == 0);
    CHECK(none.out.find("has no holes") != std::string::npos);
    CHECK(contentOf(folder / "copy.obj") == contentOf(out));
}

TEST_CASE("fillWarnsOfHolesWithoutArea") {
    TemporaryFolder const folder;
    std::string const in = folder / "slit.obj";
    std::string const out = folder / "out.obj";
    store(in, support::slitGrid(0.0f));
    CHECK(run("fill --list " + in).out.find("a seam without area, weld first") !=
          std::string::npos);
    Run const seam = run("fill " + in + " " + out);
    CHECK(seam.code == 0);
    CHECK(seam.out.find("warning: 1 filled hole is a seam") != std::string::npos);
    CHECK(seam.out.find("trimora weld") != std::string::npos);
    auto const json = run("fill --json " + in + " " + out).json();
    REQUIRE(json["warnings"].size() == 1);
    CHECK(json["holes"][1]["seam"] == true);
    CHECK(json["holes"][1]["hasArea"] == false);
    CHECK(json["holes"][1]["verticesAdded"] == 0);
    CHECK(json["holes"][0]["hasArea"] == true);

    store(in, support::slitGrid(2.4e-7f));
    auto const slit = run("fill --json " + in + " " + out).json();
    REQUIRE(slit["warnings"].size() == 1);
    CHECK(slit["holes"][1]["seam"] == false);
    store(in, support::slitGrid(0.1f));
    CHECK(run("fill --json " + in + " " + out).json()["warnings"].empty());
}

TEST_CASE("fillRefusesInWords") {
    TemporaryFolder const folder;
    std::string const in = folder / "grid.obj";
    std::string const out = folder / "out.obj";
    writeFile(in, gridWithAHole());
    std::string const start = "fill " + in + " " + out + " ";
    refuses("fill " + in, 2, "trimora fill --help");
    refuses("fill --list " + in + " " + out, 2, "leave OUT away");
    refuses(start + "--holes 3", 2, "there is no hole 3; the mesh has 2 holes");
    refuses(start + "--holes 0", 2, "there is no hole 0");
    refuses(start + "--holes 1-99999999999", 2, "the mesh has 2 holes");
    for (std::string const bad : {"some", "1,", "2-1", "max-edges:0", "max-edges:x",
                                  "max-perimeter:-1", "-3", "1,,2", "99999999999999999999"})
        refuses(start + "--holes=" + bad, 2, "--holes");
    refuses(start + "--quality smooth", 2, "--quality");
    refuses(start + "--holes ''", 2, "takes inner, all, numbers");
    refuses(start + "--max-triangles 0", 2, "takes a count from 1 on, not '0'");
    refuses(start + "--keep-partial", 2, "--timeout");
    refuses(start + "--quality flat --max-triangles 1", 5, "--max-triangles");
    refuses(start + "--max-memory 20K", 5, "--max-memory");
    refuses("fill --json " + in + " -", 2, "standard output");
    refuses("fill " + (folder / "absent.obj") + " " + out, 3, "absent.obj");
    refuses("fill " + in + " " + (folder / "no/folder.obj"), 4, "no folder");
    store(folder / "fin.obj", support::threeOnAnEdge());
    refuses("fill --holes all " + (folder / "fin.obj") + " " + out, 5, "trimora repair");
    store(folder / "strip.obj", support::grid(5100, 1));
    refuses("fill --holes all " + (folder / "strip.obj") + " " + out, 5, "5000 at most");
    writeFile(folder / "points.obj", "v 0 0 0\n");
    refuses("fill --quiet " + (folder / "points.obj") + " " + out, 5, "no triangles");
    store(folder / "lone.obj", support::triangle());
    refuses("fill --holes all " + (folder / "lone.obj") + " " + out, 5, "its back side");
    CHECK_FALSE(fs::exists(out));

    // Beside one that can be filled, a hole that cannot is told and no failure of the whole.
    store(folder / "both.obj",
          support::joined(support::threeOnAnEdge(), scanWithHoles(3, 400), 9.0f));
    Run const both = run("fill --json --holes all " + (folder / "both.obj") + " " + out);
    CHECK(both.code == 1);
    CHECK(both.json()["filled"] == 2);
    CHECK(both.json()["holes"][0]["outcome"] == "refused");
    CHECK(both.json()["holes"][0]["reason"] == "badSurface");
    CHECK(
        run("fill --holes all " + (folder / "both.obj") + " " + out).out.find("hole 1 is open: ") !=
        std::string::npos);
}

TEST_CASE("fillKeepsWhatIsDoneOnlyWhenAsked") {
    TemporaryFolder const folder;
    std::string const in = folder / "scans.obj";
    std::string const out = folder / "out.obj";
    // Many small holes, filled in a moment, and one of 4800 edges, which takes long.
    store(in, support::joined(scanWithHoles(3, 100), support::grid(2399, 1), 9.0f));
    std::string const work = "fill --holes all --timeout 2 " + in + " " + out;
    Run const late = run(work);
    CHECK(late.failedWith(6));
    CHECK_FALSE(fs::exists(out));

    Run const partial = run(work + " --keep-partial --json");
    CHECK(partial.code == 6);
    CHECK(partial.json()["timedOut"] == true);
    int const numFilled = partial.json()["filled"];  // 6, but on a machine with much other work
    REQUIRE(numFilled > 0);
    CHECK(numFilled <= 6);
    CHECK(partial.err.find("timed out; " + std::to_string(numFilled) +
                           " of 7 chosen holes are filled") != std::string::npos);
    CHECK(partial.json()["holes"][6]["outcome"] == "cancelled");
    CHECK(checkOf(out)["boundaries"] == 7 - numFilled);
    // With --json an object in any case: of the holes once they are known.
    store(in, support::grid(2399, 1));
    Run const none = run(work + " --keep-partial --json");
    CHECK(none.code == 6);
    if (none.json().contains("timedOut")) {
        CHECK(none.json()["filled"] == 0);
        CHECK(none.json()["output"] == nullptr);
        CHECK(none.json()["holes"][0]["outcome"] == "cancelled");
    }
    Run const early = run("fill --timeout 1e-9 --json " + in + " " + (folder / "no.obj"));
    CHECK(early.code == 6);
    CHECK(early.json()["cancelled"].get<std::string>().find("timed out") == 0);
    Run const slow = run("fill --timeout 0.001 --keep-partial " + in + " " + (folder / "no.obj"));
    CHECK(slow.failedWith(6));
    CHECK_FALSE(fs::exists(folder / "no.obj"));
}

TEST_CASE("flattenWritesTextureCoordinatesThatReadBack") {
    TemporaryFolder const folder;
    std::string const in = folder / "grid.obj";
    std::string const out = folder / "out.obj";
    std::string const picture = folder / "map.svg";
    writeFile(in, gridWithAHole());
    Run const flatten = run("flatten --json --picture " + picture + " " + in + " " + out);
    REQUIRE(flatten.code == 0);
    auto const json = flatten.json();
    for (char const* const key : {"file",
                                  "output",
                                  "picture",
                                  "components",
                                  "genus",
                                  "boundaries",
                                  "cut",
                                  "solverCode",
                                  "iterations",
                                  "distortion",
                                  "flippedTriangles",
                                  "flippedAreaShare",
                                  "areaShare",
                                  "seams",
                                  "verticesAdded",
                                  "seamTriangles",
                                  "unusedVertices",
                                  "before",
                                  "after",
                                  "seconds",
                                  "charts",
                                  "read"}) {
        CAPTURE(key);
        CHECK(json.contains(key));
    }
    CHECK(json["genus"] == 0);
    CHECK(json["boundaries"] == 2);
    CHECK(json["cut"] == false);
    CHECK(json["distortion"]["largest"].get<double>() < 1.001);
    CHECK(json["areaShare"].get<double>() == doctest::Approx(35.0 / 36.0).epsilon(0.01));
    CHECK(run("info --json " + out).json()["read"]["textureCoordinates"]["kept"] == true);
    CHECK(contentOf(picture).rfind("<svg", 0) == 0);
    CHECK(run("flatten --quiet " + in + " -").out == contentOf(out));
}

TEST_CASE("flattenCutsClosedSurfaces") {
    TemporaryFolder const folder;
    std::string const in = folder / "torus.obj";
    std::string const out = folder / "out.obj";
    store(in, support::torus(30, 15));
    auto const split = run("flatten --json " + in + " " + out).json();
    CHECK(split["genus"] == 1);
    CHECK(split["cut"] == true);
    CHECK(split["verticesAdded"].get<int>() + 450 == split["after"]["vertices"].get<int>());
    CHECK(split["after"]["boundaries"] == 1);
    CHECK(checkOf(out)["coincidentVertices"] == split["verticesAdded"]);
    auto const kept = run("flatten --json --seams keep " + in + " " + out).json();
    CHECK(kept["verticesAdded"] == 0);
    CHECK(kept["seamTriangles"].get<int>() > 0);
    // What is told is what is written: the triangles across the map are in it.
    CHECK(kept["distortion"]["largest"] > split["distortion"]["largest"]);
    CHECK(kept["flippedTriangles"] > split["flippedTriangles"]);
    CHECK(checkOf(out)["closed"] == true);
    CHECK(run("flatten " + in + " " + out).out.find("cut open into a disk") != std::string::npos);

    store(folder / "two.obj", support::joined(support::torus(10, 8), support::grid(4, 4), 9.0f));
    auto const each = run("flatten --each --json " + (folder / "two.obj") + " " + out).json();
    CHECK(each["components"] == 2);
    CHECK(each["charts"][0]["genus"] == 1);
    CHECK(each["charts"][1]["cut"] == false);
    CHECK(each["charts"][1]["distortion"]["largest"].get<double>() < 1.001);
    CHECK(each["charts"][0]["distortion"]["largest"] == each["distortion"]["largest"]);
    CHECK(each["charts"][1]["flippedTriangles"] == 0);

    writeFile(in, "v 0 0 0\nv 1 0 0\nv 2 0 0\nf 1 2 3\n");
    auto const line = run("flatten --json " + in + " " + out).json();
    CHECK(line["distortion"]["mean"] == nullptr);
    CHECK(line["measuredTriangles"] == 0);
    CHECK(run("flatten " + in + " " + out).out.find("no figure for the distortion") !=
          std::string::npos);
}

TEST_CASE("flattenRefusesInWords") {
    TemporaryFolder const folder;
    std::string const in = folder / "in.obj";
    std::string const out = folder / "out.obj";
    auto const refusesMesh = [&](koGeom::CompactMesh const& mesh, std::string const& words) {
        store(in, mesh);
        refuses("flatten " + in + " " + out, 5, words);
    };
    refusesMesh(support::joined(support::grid(2, 2), support::grid(2, 2), 5.0f), "(--each)");
    refusesMesh(support::soup(support::sphere(1)), "weld the mesh first");
    refusesMesh(support::bowTie(), "repair the mesh first");
    refusesMesh(support::moebius(7), "wound against one another");
    writeFile(in, "v 0 0 0\nv 1 0 0\nv 0 nan 0\nf 1 2 3\n");
    Run const nonfinite = run("flatten " + in + " " + out);
    CHECK(nonfinite.code == 5);
    CHECK(nonfinite.err.find("(--drop-nonfinite)") != std::string::npos);
    store(in, support::grid(3, 3));
    refuses("flatten " + in + " " + out + " --seams none", 2, "--seams");
    refuses("flatten " + in + " " + out + " --picture " + (folder / "map.png"), 2, ".svg");
    refuses("flatten " + in + " " + out + " --picture " + (folder / "no/map.svg"), 4, "no folder");
    refuses("flatten " + in, 2, "trimora flatten --help");
    refuses("flatten " + in + " " + (folder / "out.docx"), 4, "formats");
    CHECK_FALSE(fs::exists(out));
}

TEST_CASE("fillAndFlattenDoNotDependOnThreads") {
    TemporaryFolder const folder;
    std::string const in = folder / "scan.obj";
    store(in, scanWithHoles(4, 500));
    for (std::string const work : {"fill", "flatten --seams keep", "flatten"}) {
        CAPTURE(work);
        std::string const arguments = work + " --quiet " + in + " -";
        CHECK(run(arguments + " --threads 1").out == run(arguments + " --threads 3").out);
    }
}

TEST_CASE("flattenEndsWithSixWhenTimeIsUp") {
    TemporaryFolder const folder;
    std::string const in = folder / "big.obj";
    store(in, trimora::makeScan(7, 1));
    Run const late = run("flatten --timeout 0.5 " + in + " " + (folder / "out.obj"));
    CHECK(late.code == 6);
    CHECK(std::count(late.err.begin(), late.err.end(), '\n') == 1);
    CHECK(folder.size() == 1);
}

TEST_CASE("oddMeshesEndInAClearOutcomeOfFillAndFlatten") {
    TemporaryFolder const folder;
    std::string const in = folder / "odd.obj";
    std::string const out = folder / "out.obj";
    for (std::string const text : oddMeshes) {
        CAPTURE(text);
        writeFile(in, text);
        for (std::string const work : {"fill --holes all", "fill --holes all --quality flat",
                                       "flatten", "flatten --each --seams keep"}) {
            CAPTURE(work);
            Run const result = run(work + " " + in + " " + out);
            CHECK((result.code == 0 || result.code == 1 || result.code == 5));
        }
        CHECK(run("fill --list " + in).code == 0);
    }
}

TEST_CASE("everyRealMeshIsFilledAndFlattened") {
    TemporaryFolder const folder;
    std::string const repaired = folder / "repaired.obj";
    std::string const out = folder / "out.obj";
    for (std::string const& path : support::corpus()) {
        CAPTURE(path);
        REQUIRE(run("repair --quiet " + path + " " + repaired).code <= 1);
        Run const fill = run("fill --json " + repaired + " " + out);
        REQUIRE(fill.code == 0);
        CHECK(fill.json()["notFilled"] == 0);
        CHECK(checkOf(out)["oriented"] == true);
        constexpr int mostTriangles = 5000;  // the solver takes minutes for the largest
        if (fill.json()["before"]["triangles"] > mostTriangles)
            continue;
        Run const flatten = run("flatten --each --json " + repaired + " " + out);
        REQUIRE((flatten.code == 0 || flatten.code == 5));
        if (flatten.code == 0) {
            CHECK(flatten.json()["distortion"]["mean"].get<double>() >= 1.0);
            CHECK(run("info --json " + out).json()["read"]["textureCoordinates"]["kept"] == true);
        }
    }
}
