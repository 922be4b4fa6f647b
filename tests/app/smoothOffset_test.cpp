// smooth, offset and silhouette from outside: what they write, what they tell, and how they refuse.

#include "app/editRun.h"
#include "support/builders.h"
#include "toolkit/polylines.h"
#include "toolkit/sampleMeshes.h"

#include <doctest/doctest.h>

using namespace commandTest;

TEST_CASE("smoothTellsWhatMoved") {
    TemporaryFolder const folder;
    std::string const scan = folder / "scan.obj";
    std::string const out = folder / "out.obj";
    store(scan, trimora::makeScan(4, 1));
    Run const laplacian = run("smooth --json " + scan + " " + out + " --laplacian 3");
    REQUIRE(laplacian.code == 0);
    auto const json = laplacian.json();
    CHECK(json["method"] == "laplacian");
    CHECK(json["passes"] == 3);
    CHECK(json["sigma"].is_null());
    CHECK(json["movedVertices"] == json["vertices"]);
    CHECK(json["fixedVertices"] == 0);
    CHECK(json["rmsMovement"].get<double>() < json["largestMovement"].get<double>());
    CHECK(json["volumeAfter"].get<double>() < json["volumeBefore"].get<double>());
    CHECK(json["warnings"].empty());
    CHECK(run("info --json " + out).json()["vertices"] == json["vertices"]);

    Run const suggested = run("smooth --json " + scan + " " + out + " --bilateral 2");
    CHECK(suggested.code == 2);
    double const sigma = suggested.json()["suggestedSigma"].get<double>();
    CHECK(sigma == doctest::Approx(json["meanEdge"].get<double>()));
    Run const bilateral = run("smooth --json " + scan + " " + out + " --bilateral 2 --sigma " +
                              std::to_string(sigma));
    REQUIRE(bilateral.code == 0);
    CHECK(bilateral.json()["movedVertices"].get<int>() > 0);

    writeFile(folder / "some.txt", "0-9 # the first ten\n");
    Run const some = run("smooth --json " + scan + " " + out + " --laplacian 1 --selection " +
                         folder / "some.txt");
    REQUIRE(some.code == 0);
    CHECK(some.json()["selectedTriangles"] == 10);
    CHECK(some.json()["freeVertices"].get<int>() <= 30);

    Run const narrow = run("smooth " + scan + " " + out + " --bilateral 1 --sigma 1e-9");
    CHECK(narrow.code == 0);
    CHECK(narrow.out.find("warning: no vertex moved") != std::string::npos);
    store(folder / "sheet.obj", support::grid(3, 3));
    Run const sheet =
        run("smooth " + (folder / "sheet.obj ") + out + " --laplacian 1 --keep-borders");
    CHECK(sheet.out.find("no volume") != std::string::npos);
}

TEST_CASE("smoothRefusesWhatItCannotUse") {
    TemporaryFolder const folder;
    std::string const sheet = folder / "sheet.obj";
    std::string const both = "smooth " + sheet + " " + (folder / "out.obj");
    store(sheet, support::grid(3, 3));
    refuses(both, 2, "exactly one of");
    refuses(both + " --laplacian 1 --bilateral 1", 2, "exactly one of");
    refuses(both + " --laplacian 0", 2, "--laplacian");
    refuses(both + " --laplacian -1", 2, "--laplacian");
    refuses(both + " --laplacian nan", 2, "--laplacian");
    refuses(both + " --laplacian 99999999999999", 2, "--laplacian");
    refuses(both + " --laplacian 1 --sigma 1", 2, "goes with --bilateral");
    refuses(both + " --bilateral 1", 2, "--sigma 1.113");
    for (char const* sigma : {"0", "-1", "nan", "inf", "1x", "''"})
        refuses(both + " --bilateral 1 --sigma " + sigma, 2, "--sigma");
    refuses(both + " --laplacian 1 --selection " + (folder / "none.txt"), 3, "none.txt");
    writeFile(folder / "far.txt", "18\n");
    refuses(both + " --laplacian 1 --selection " + (folder / "far.txt"), 3, "no triangle 18");
    refuses(both + " --laplacian 1 --selection " + (folder / "out.obj"), 3, "out.obj");
    refuses(both + " --laplacian 1000000 --timeout 0.2", 6, "timed out");
    CHECK(!fs::exists(folder / "out.obj"));
}

TEST_CASE("offsetMakesAWallOrAShell") {
    TemporaryFolder const folder;
    std::string const scan = folder / "scan.obj";
    std::string const out = folder / "out.obj";
    store(scan, trimora::makeScan(4, 1));
    for (std::string const distance : {"1%", "-1%"}) {
        CAPTURE(distance);
        Run const wall = run("offset --json " + scan + " " + out + " --distance " + distance);
        REQUIRE(wall.code <= 1);
        auto const json = wall.json();
        CHECK(
            (wall.code == 1) ==
            (json["newFoldedEdges"].get<int>() + json["newIntersectingTriangles"].get<int>() > 0));
        CHECK(json["removedVertices"].get<int>() + json["keptVertices"].get<int>() ==
              json["shellVertices"]);
        CHECK(json["after"]["vertices"].get<int>() ==
              json["before"]["vertices"].get<int>() + json["keptVertices"].get<int>());
        CHECK(json["nearestDistance"].get<double>() > 0.0);
        auto const check = checkOf(out);
        CHECK(check["closed"] == true);
        CHECK(check["oriented"] == true);
        CHECK(check["foldedEdges"] == json["defectsAfter"]["foldedEdges"]);
        std::string const own = contentOf(scan);
        std::string const vertices = own.substr(0, own.find("f "));
        CHECK(contentOf(out).rfind(vertices, 0) == 0);  // to the last digit
    }
    Run const shell = run("offset --json --no-intersections --shell-only " + scan + " " + out +
                          " --distance=-1%");
    REQUIRE(shell.code <= 1);
    CHECK(shell.json()["newIntersectingTriangles"].is_null());
    CHECK(shell.json()["after"]["vertices"] == shell.json()["keptVertices"]);
    store(folder / "sheet.obj", support::grid(3, 3));
    Run const text = run("offset " + (folder / "sheet.obj ") + out + " --distance 0.25");
    CHECK(text.code == 0);
    CHECK(text.out.find("0 of 16 vertices of the shell removed") != std::string::npos);

    store(folder / "ring.obj", support::torus(40, 20));
    Run const thick = run("offset " + (folder / "ring.obj ") + out + " --distance 0.7");
    CHECK(thick.code == 1);  // the tube is 0.5 thick
    CHECK(thick.out.find("warning: the wall has") != std::string::npos);
    CHECK(fs::exists(out));
}

TEST_CASE("offsetRefusesWhatItCannotUse") {
    TemporaryFolder const folder;
    std::string const both = "offset " + (folder / "mesh.obj ") + (folder / "out.obj");
    store(folder / "mesh.obj", support::cube());
    refuses(both, 2, "--distance");
    for (char const* distance : {"0", "0%", "-0", "nan", "inf", "1e400", "1x", "''", "1%%"})
        refuses(both + " --distance " + distance, 2, "--distance");
    refuses(both + " --distance 1e9", 5, "thousand diagonals");
    refuses(both + " --distance 1e-12", 5, "lost in the rounding");
    store(folder / "mesh.obj", support::threeOnAnEdge());
    refuses(both + " --distance 1", 5, "oriented manifold");
    store(folder / "mesh.obj", support::sphere(6));
    refuses(both + " --distance 0.01 --timeout 0.05", 6, "timed out");
    CHECK(!fs::exists(folder / "out.obj"));
}

TEST_CASE("silhouetteWritesLinesThatCutCanRead") {
    TemporaryFolder const folder;
    std::string const ball = folder / "ball.obj";
    std::string const out = folder / "lines.obj";
    store(ball, support::sphere(4));
    Run const seen = run("silhouette --json " + ball + " " + out + " --eye 5,2,1");
    REQUIRE(seen.code == 0);
    auto const json = seen.json();
    CHECK(json["curves"] == 1);
    CHECK(json["closedCurves"] == 1);
    CHECK(json["openCurves"] == 0);
    CHECK(json["direction"].is_null());
    CHECK(json["eye"][0] == 5);
    CHECK(json["trianglesAlongSight"] == 0);
    std::vector<trimora::Polyline> lines;
    REQUIRE(trimora::readPolylines(out, lines));
    REQUIRE(lines.size() == 1);
    CHECK(lines[0].size() == json["points"].get<std::size_t>());
    CHECK(lines[0].front() == lines[0].back());
    CHECK(run("cut " + ball + " " + (folder / "cut.obj") + " --curve " + out).code == 0);

    Run const text = run("silhouette " + ball + " " + out + " --direction=-1,0.2,0.3");
    CHECK(text.code == 0);
    CHECK(text.out.find("1 curve, 1 of them closed") != std::string::npos);
    Run const piped = run("silhouette --quiet " + ball + " - --direction 0,0,1");
    CHECK(piped.out.rfind("v ", 0) == 0);
    REQUIRE(run("silhouette " + ball + " " + (folder / "lines.ply") + " --eye 5,2,1").code == 0);
    auto const asPly = run("info --json " + (folder / "lines.ply")).json();
    CHECK(asPly["vertices"] == json["points"].get<int>() - 1);
    CHECK(asPly["read"]["otherElements"] ==
          asPly["vertices"]);  // a closed chain has an edge a point
    store(folder / "sheet.obj", support::grid(2, 2));
    Run const none = run("silhouette " + (folder / "sheet.obj ") + out + " --direction 1,0,0");
    CHECK(none.code == 0);
    CHECK(none.out.find("8 triangles lie along the sight") != std::string::npos);
    CHECK(none.out.find("no silhouette from there") != std::string::npos);
}

TEST_CASE("silhouetteRefusesWhatItCannotUse") {
    TemporaryFolder const folder;
    std::string const ball = folder / "ball.obj";
    std::string const both = "silhouette " + ball + " " + (folder / "out.obj");
    store(ball, support::sphere(2));
    refuses(both, 2, "exactly one of");
    refuses(both + " --eye 1,2,3 --direction 1,2,3", 2, "exactly one of");
    for (char const* place : {"1,2", "1,2,3,4", "a,b,c", "nan,0,0", "''", "1e400,0,0"}) {
        refuses(both + " --eye " + place, 2, "--eye");
        refuses(both + " --direction " + place, 2, "--direction");
    }
    refuses(both + " --direction 0,0,0", 2, "not all 0");
    refuses(both + " --eye 1e300,0,0", 5, "million diagonals");
    for (char const* name : {"out.stl", "out", "out.obj2"})
        refuses("silhouette " + ball + " " + (folder / name) + " --eye 5,0,0", 4, ".obj or .ply");
    refuses("silhouette --json " + ball + " - --eye 5,0,0", 2, "standard output");
    refuses("silhouette " + (folder / "none.obj ") + (folder / "out.obj") + " --eye 5,0,0", 3,
            "none.obj");
    CHECK(!fs::exists(folder / "out.obj"));
}

TEST_CASE("smoothOffsetAndSilhouetteGetThroughOddMeshes") {
    TemporaryFolder const folder;
    std::string const both = (folder / "odd.obj ") + (folder / "out.obj");
    for (char const* text : oddMeshes) {
        CAPTURE(text);
        writeFile(folder / "odd.obj", text);
        for (std::string const& command :
             {"smooth " + both + " --laplacian 2", "smooth " + both + " --bilateral 2 --sigma 10%",
              "offset " + both + " --distance 1%", "offset " + both + " --distance=-0.5",
              "silhouette " + both + " --eye 5,4,3",
              "silhouette " + both + " --direction 1e-30,0,0"}) {
            CAPTURE(command);
            Run const result = run(command + " --quiet");
            CHECK((result.code == 0 || result.code == 1 || result.failedWith(5)));
        }
    }
}
