// reduce, cut, subdivide, extrude and verify from outside: what they write, what they tell, and how they refuse.

#include "app/editRun.h"
#include "support/builders.h"
#include "support/corpus.h"
#include "toolkit/sampleMeshes.h"

#include <cmath>
#include <doctest/doctest.h>

using namespace commandTest;

TEST_CASE("reduceTellsWhatItCost") {
    TemporaryFolder const folder;
    std::string const in = folder / "scan.obj";
    std::string const out = folder / "out.obj";
    store(in, trimora::makeScan(5, 1));

    for (std::string const goal : {"--fraction 0.2", "--tolerance 0.3%", "--collapse 0.2"}) {
        CAPTURE(goal);
        Run const reduce = run("reduce --json " + in + " " + out + " " + goal);
        REQUIRE(reduce.code == 0);
        CHECK(reduce.err.empty());
        auto const json = reduce.json();
        for (char const* const key : {"file",
                                      "output",
                                      "method",
                                      "goal",
                                      "before",
                                      "after",
                                      "seconds",
                                      "passes",
                                      "stopped",
                                      "maxDeviation",
                                      "measured",
                                      "turnedTriangles",
                                      "unusedVertices",
                                      "coincidentVertices",
                                      "flattenedPieces",
                                      "tolerance",
                                      "nonManifoldEdges",
                                      "droppedVertexSets",
                                      "warnings",
                                      "read"}) {
            CAPTURE(key);
            CHECK(json.contains(key));
        }
        CHECK(json["before"]["triangles"] == 8192);
        auto const check = checkOf(out);
        CHECK(check["triangles"] == json["after"]["triangles"]);
        CHECK(check["vertices"] == json["after"]["vertices"]);
        CHECK(check["closed"] == true);
        CHECK(check["nonManifoldEdges"] == 0);
        CHECK(check["eulerCharacteristic"] == 2);
        auto const measured = json["measured"];
        for (char const* const way : {"inputToResult", "resultToInput"}) {
            CHECK(measured[way]["largest"] >= measured[way]["rms"]);
            CHECK(measured[way]["rms"] >= measured[way]["mean"]);
            CHECK(measured[way]["largestRelative"].get<double>() *
                      measured["diagonal"].get<double>() ==
                  doctest::Approx(measured[way]["largest"].get<double>()));
        }
        CHECK(measured["inputToResult"]["largestRelative"] < 0.05);
        bool const isTolerance = json["method"] == "tolerance";
        CHECK(json["maxDeviation"].is_null() == !isTolerance);
        CHECK(json["passes"].is_null() == (json["method"] == "collapse"));
        CHECK(json["tolerance"].is_null() == !isTolerance);
        if (isTolerance) {
            double const tolerance = json["tolerance"];
            CHECK(json["goal"] == tolerance);
            CHECK(tolerance == doctest::Approx(0.003 * measured["diagonal"].get<double>()));
            CHECK(measured["inputToResult"]["largest"] <= tolerance * 1.000001);
        } else {
            CHECK((json["stopped"] == "target" || json["stopped"] == "onePercent"));
            CHECK(json["after"]["triangles"] < 1700);
        }
    }
    Run const text = run("reduce " + in + " " + out + " --fraction 0.5");
    CHECK(text.out.find("triangles reduced to") != std::string::npos);
    CHECK(text.out.find("the target is reached") != std::string::npos);
    CHECK(text.out.find("input to result") != std::string::npos);
    CHECK(run("reduce --json --no-measure " + in + " " + out + " --fraction 0.5")
              .json()["measured"]
              .is_null());
    CHECK(
        run("reduce " + in + " " + out + " --tolerance 0.3%").out.find(" (0.3% of the diagonal ") !=
        std::string::npos);
    REQUIRE(run("reduce " + in + " " + out + " --fraction 50%").code == 0);
    Run const piped = run("reduce - - --fraction 0.5 <" + in);
    CHECK(piped.out == contentOf(out));
    CHECK(piped.err.find("written to standard output") != std::string::npos);
}

TEST_CASE("reduceDoesNotDependOnThreads") {
    TemporaryFolder const folder;
    store(folder / "scan.obj", trimora::makeScan(4, 2));
    for (std::string const goal : {"--fraction 0.3", "--tolerance 0.5%", "--collapse 0.3"}) {
        std::string const arguments = "reduce " + (folder / "scan.obj") + " - " + goal;
        CHECK(run(arguments + " --threads 1").out == run(arguments + " --threads 3").out);
    }
}

TEST_CASE("reduceExplainsWhereItCannotGoOn") {
    TemporaryFolder const folder;
    store(folder / "soup.obj", support::soup(support::sphere(2)));
    Run const soup =
        run("reduce " + (folder / "soup.obj") + " " + (folder / "out.obj") + " --fraction 0.5");
    CHECK(soup.code == 0);
    CHECK(soup.out.find("weld the mesh first") != std::string::npos);
    store(folder / "sheet.obj", support::grid(4, 4));
    std::string sheet = contentOf(folder / "sheet.obj");
    std::istringstream lines(sheet);
    for (std::string line, a, b, c, word; std::getline(lines, line);) {
        if (line[0] == 'f' && std::istringstream(line) >> word >> a >> b >> c)
            sheet += "f " + a + " " + c + " " + b + "\n";
    }
    writeFile(folder / "doubled.obj", sheet);
    auto const doubled = run("reduce --json " + (folder / "doubled.obj") + " " +
                             (folder / "out.obj") + " --collapse 0.5")
                             .json();
    CHECK(doubled["warnings"].dump().find("repair the mesh first") != std::string::npos);
    CHECK(doubled["turnedTriangles"] == 0);
    Run const unmeasured = run("reduce --no-measure --json " + (folder / "soup.obj") + " " +
                               (folder / "out.obj") + " --fraction 0.5");
    CHECK(unmeasured.json()["coincidentVertices"] == 384 - 66);

    std::string const in = folder / "sphere.obj";
    std::string const out = folder / "out2.obj";
    store(in, support::sphere(2));
    refuses("reduce " + in + " " + out, 2, "exactly one of");
    refuses("reduce " + in + " " + out + " --fraction 0.5 --collapse 0.5", 2, "exactly one of");
    refuses("reduce " + in + " " + out + " --fraction 0", 2, "above 0");
    refuses("reduce " + in + " " + out + " --fraction 1.5", 2, "at most 1");
    refuses("reduce " + in + " " + out + " --fraction 150%", 2, "or like 50%");
    refuses("reduce " + in + " " + out + " --collapse %", 2, "'trimora reduce --help'");
    refuses("reduce " + in + " " + out + " --fraction=", 2, "--fraction takes a value");
    refuses("reduce " + in + " " + out + " --fraction= --quiet", 2, "--fraction takes a value");
    refuses("reduce " + in, 2, "OUT is required; 'trimora reduce --help' explains the options");
    refuses("reduce " + in + " " + out + " --fraction nan", 2, "--fraction");
    refuses("reduce " + in + " " + out + " --tolerance -1", 2, "--tolerance");
    refuses("reduce " + in + " " + out + " --tolerance 5%%", 2, "--tolerance");
    refuses("reduce " + in + " " + out + " --collapse 0.02", 5, "the target of 2 triangles");
    refuses("reduce --json " + in + " - --collapse 0.5", 2, "standard output");
    refuses("reduce --max-memory 20K " + in + " " + out + " --collapse 0.5", 5, "--max-memory");
    CHECK_FALSE(fs::exists(out));
}

TEST_CASE("cutPartsAMeshAlongAPlane") {
    TemporaryFolder const folder;
    std::string const in = folder / "scan.obj";
    store(in, trimora::makeScan(4, 1));
    Run const cut =
        run("cut --json " + in + " " + (folder / "cut.obj") + " --plane -0.1,0.2,1,0.05");
    REQUIRE(cut.code == 0);
    auto const json = cut.json();
    CHECK(json["curves"] == 1);
    CHECK(json["closedCurves"] == 1);
    CHECK(json["before"]["components"] == 1);
    CHECK(json["after"]["components"] == 2);
    CHECK(json["after"]["boundaries"] == 2);
    CHECK(json["areaAfter"].get<double>() ==
          doctest::Approx(json["areaBefore"].get<double>()).epsilon(0.01));
    auto const check = checkOf(folder / "cut.obj");
    CHECK(check["components"] == 2);
    CHECK(check["nonManifoldEdges"] == 0);
    CHECK(check["oriented"] == true);
    CHECK(run("verify " + (folder / "cut.obj")).code == 0);

    Run const split = run("cut --json --split " + in + " " + (folder / "part.v1.obj") +
                          " --plane -0.1,0.2,1,0.05");
    REQUIRE(split.code == 0);
    auto const parts = split.json()["parts"];
    REQUIRE(parts.size() == 2);
    CHECK(parts[0]["output"] == folder / "part.v1-1.obj");
    CHECK(parts[1]["output"] == folder / "part.v1-2.obj");
    CHECK_FALSE(fs::exists(folder / "part.v1.obj"));
    CHECK(parts[0]["triangles"].get<int>() + parts[1]["triangles"].get<int>() ==
          json["after"]["triangles"]);
    CHECK(checkOf(folder / "part.v1-2.obj")["components"] == 1);
}

TEST_CASE("cutFollowsDrawnCurves") {
    TemporaryFolder const folder;
    std::string const in = folder / "grid.obj";
    store(in, support::grid(8, 8));
    writeFile(folder / "loop.txt",
              "# a square\n2.2 2.3 1\n5.6 2.4 1\n5.5 5.7 1\n2.4 5.3 1\n2.2 2.3 1\n");
    Run const loop =
        run("cut --json " + in + " " + (folder / "loop.obj") + " --curve " + (folder / "loop.txt"));
    REQUIRE(loop.code == 0);
    CHECK(loop.json()["after"]["components"] == 2);
    CHECK(loop.json()["after"]["boundaries"] == 3);
    CHECK(loop.json()["farthestPoint"] == 1.0);
    CHECK(loop.json()["areaAfter"].get<double>() == doctest::Approx(64.0));

    writeFile(folder / "cross.obj", "v -1 3.3 0\nv 9 4.6 0\nv 3.2 -1 0\nv 4.4 9 0\nl 1 2\nl 3 4\n");
    Run const cross = run("cut " + in + " " + (folder / "four.obj") + " --split --curve - <" +
                          (folder / "cross.obj"));
    REQUIRE(cross.code == 0);
    CHECK(fs::exists(folder / "four-4.obj"));
    CHECK_FALSE(fs::exists(folder / "four-5.obj"));
    CHECK(cross.out.find("four-1.obj") != std::string::npos);
}

TEST_CASE("cutRefusesInWords") {
    TemporaryFolder const folder;
    std::string const in = folder / "grid.obj";
    store(in, support::grid(4, 4));
    std::string const start = "cut " + in + " " + (folder / "out.obj") + " ";
    refuses(start, 2, "exactly one of");
    refuses(start + "--plane 1,0,0", 2, "a,b,c,d");
    refuses(start + "--plane 0,0,0,1", 2, "a,b,c,d");
    refuses(start + "--plane 1,0,0,-9", 5,
            "misses the mesh, which lies on one side of it; with the "
            "same a, b and c take d between -4 and 0, not -9");
    refuses(start + "--plane 2,0,0,0", 5, "only touches the mesh");
    refuses(start + "--plane 2,0,0,0", 5, "between -8 and 0, not 0");
    refuses(start + "--plane 0,0,3,0", 5, "the whole mesh lies in the plane");
    refuses(start + "--plane 1e308,1e308,1e308,1", 5, "move it");
    writeFile(folder / "points.obj", "v 0 0 0\nv 1 1 1\n");
    Run const noFaces = run("cut --quiet " + (folder / "points.obj") + " " + (folder / "out.obj") +
                            " --plane 1,0,0,0");
    CHECK(noFaces.failedWith(5));
    CHECK(noFaces.err.find("holds no triangles to cut") != std::string::npos);
    refuses(start + "--curve " + (folder / "absent.txt"), 3, "absent.txt");
    auto const refusesCurve = [&](std::string const& points, int code, std::string const& words) {
        writeFile(folder / "curve.txt", points);
        refuses(start + "--curve " + (folder / "curve.txt"), code, words);
    };
    refusesCurve("0 0 0\n1 x 0\n", 3, "line 2");
    refusesCurve("0 0 0\n\x1b[31m 1 0\n", 3, "not '\\x1b[31m'");
    refuses(start + "--plane $(printf '1,\\033[31m,2,3')", 2, "not '1,\\x1b[31m,2,3'");
    refusesCurve("0 2.3 0\n4 2.4 0\n0 2.3 0\n", 5, "draw each stretch once");
    refusesCurve("1.2 1.1 0\n2.8 2.1 0\n", 5, "border to border");
    refusesCurve("1.5 1.2 0\n1.8 1.2 0\n1.8 1.4 0\n1.5 1.2 0\n", 5,
                 "subdivide the mesh there first");
    refusesCurve("-1 1.3 0\n5 1.3 0\n\n1.6 -1 0\n1.6 5 0\n\n0.55 0 0\n4 3.45 0\n", 5,
                 "three curves");
    std::string dense;
    for (int i = 0; i < 6000; ++i)
        dense +=
            std::to_string(1.5 + 0.3 * (i % 2)) + " " + std::to_string(1.1 + i * 1e-5) + " 0\n";
    refusesCurve(dense, 5, "4997 at most");
    store(folder / "two.obj", support::joined(support::grid(2, 2), support::grid(2, 2), 5.0f));
    writeFile(folder / "curve.txt", "0.5 0.3 0\n6 0.4 0\n");
    refuses("cut " + (folder / "two.obj") + " " + (folder / "out.obj") + " --curve " +
                (folder / "curve.txt"),
            5, "the surface ends");
    store(folder / "fin.obj", support::threeOnAnEdge());
    refuses("cut " + (folder / "fin.obj") + " " + (folder / "out.obj") + " --plane 1,0.1,0.1,-0.4",
            5, "repair the mesh first");
    refuses("cut --split " + in + " - --plane 1,0,0,-1.5", 2, "--split");
    refuses("cut - " + (folder / "out.obj") + " --curve -", 2,
            "cannot both come from standard input");
    store(folder / "drawn.obj", support::grid(1, 1));
    refuses("cut " + in + " " + (folder / "drawn.obj") + " --curve " + (folder / "drawn.obj"), 2,
            "which the output would replace");
    CHECK_FALSE(fs::exists(folder / "out.obj"));
}

TEST_CASE("cutTellsHowFarItMovedTheSurface") {
    TemporaryFolder const folder;
    std::string const coarse = support::corpusFile("spot_quads.obj");
    if (coarse.empty())
        return;
    std::string const arguments =
        coarse + " " + (folder / "out.obj") + " --plane=1.768,-0.39877,-1.78021,-0.04986";
    auto const json = run("cut --json " + arguments).json();
    REQUIRE(json["removedVertices"] > 0);
    auto const measured = json["measured"];
    double const largest = measured["inputToResult"]["largest"];
    CHECK(largest > 0.0);
    CHECK(measured["inputToResult"]["largestRelative"].get<double>() * 1e6 *
              json["tolerance"].get<double>() ==
          doctest::Approx(largest));  // the whole mesh's diagonal
    CHECK(json["warnings"].size() == 1);
    CHECK(run("cut " + arguments).out.find("warning: the surface moved by up to ") !=
          std::string::npos);
    auto const unmeasured = run("cut --json --no-measure " + arguments).json();
    CHECK(unmeasured["measured"].is_null());
    CHECK(unmeasured["warnings"].empty());
    CHECK(unmeasured["removedVertices"] == json["removedVertices"]);
}

TEST_CASE("cutSaysWhenNothingWasOpened") {
    TemporaryFolder const folder;
    koGeom::CompactMesh sheet = support::grid(4, 4);
    sheet.allocUVArray();
    store(folder / "grid.obj", sheet);
    writeFile(folder / "border.txt", "0.5 0 0\n3.3 0 0\n");
    std::string const arguments =
        (folder / "grid.obj") + " " + (folder / "out.obj") + " --curve " + (folder / "border.txt");
    Run const text = run("cut " + arguments);
    CHECK(text.code == 0);
    CHECK(text.out.find("warning: nothing was opened") != std::string::npos);
    CHECK(contentOf(folder / "out.obj") == contentOf(folder / "grid.obj"));
    auto const json = run("cut --json " + arguments).json();
    CHECK(json["openedLength"] == 0.0);
    CHECK(json["warnings"].size() == 1);
    CHECK(json["droppedVertexSets"].empty());
    CHECK(json["parts"].empty());
    CHECK(json["output"] == folder / "out.obj");

    auto const across = run("cut --json " + (folder / "grid.obj") + " " + (folder / "out.obj") +
                            " --plane 1,0,0,-1.5")
                            .json();
    CHECK(across["openedLength"].get<double>() == doctest::Approx(4.0));
    CHECK(across["tolerance"].get<double>() == doctest::Approx(4.0 * std::sqrt(2.0) * 1e-6));
    CHECK(across["warnings"].empty());
    CHECK(across["droppedVertexSets"] == nlohmann::json({"uvs"}));
}

TEST_CASE("coordinatesThatAreNoNumbersNameTheOptionThatHelps") {
    TemporaryFolder const folder;
    writeFile(folder / "nan.obj", "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 nan 0\nf 1 2 3\nf 1 3 4\n");
    std::string const files = (folder / "nan.obj") + " " + (folder / "out.obj");
    refuses("extrude --quiet --selection all --distance 1 " + files, 5, "(--drop-nonfinite)");
    refuses("cut --quiet --plane 1,0,0,-0.5 " + files, 5, "(--drop-nonfinite)");
    CHECK(run("extrude --drop-nonfinite --selection all --distance 1 " + files).code == 0);
    CHECK(run("cut --drop-nonfinite --plane 1,0,0,-0.5 " + files).code == 0);
}

TEST_CASE("subdivideKeepsPolygons") {
    TemporaryFolder const folder;
    std::string const in = folder / "cube.obj";
    writeFile(in, "v -1 -1 -1\nv 1 -1 -1\nv 1 1 -1\nv -1 1 -1\nv -1 -1 1\nv 1 -1 1\nv 1 1 1\n"
                  "v -1 1 1\nf 4 3 2 1\nf 5 6 7 8\nf 1 2 6 5\nf 2 3 7 6\nf 3 4 8 7\nf 4 1 5 8\n");
    Run const once = run("subdivide --json " + in + " " + (folder / "once.obj"));
    REQUIRE(once.code == 0);
    CHECK(once.json()["before"]["faces"] == 6);
    CHECK(once.json()["after"]["faces"] == 24);
    std::string const text = contentOf(folder / "once.obj");
    std::size_t const face = text.find("\nf ") + 1;
    std::string const line = text.substr(face, text.find('\n', face) - face);
    CHECK(std::count(line.begin(), line.end(), ' ') == 4);

    Run const twice = run("subdivide " + in + " " + (folder / "twice.obj") + " --levels 2");
    CHECK(twice.code == 0);
    REQUIRE(run("subdivide " + (folder / "once.obj") + " " + (folder / "again.obj")).code == 0);
    CHECK(run("info --json " + (folder / "again.obj")).json()["read"]["polygons"] == 96);
    CHECK(run("verify " + (folder / "again.obj")).code == 0);

    refuses("subdivide " + in + " " + (folder / "o.obj") + " --levels 0", 2, "--levels");
    refuses("subdivide " + in + " " + (folder / "o.obj") + " --levels 1e0", 2, "takes 1 to 20");
    refuses("subdivide " + in + " " + (folder / "o.obj") + " --levels 20", 5, "fewer levels");
    refuses("subdivide --max-memory 1M " + in + " " + (folder / "o.obj") + " --levels 8", 5,
            "--max-memory");
}

TEST_CASE("extrudeMakesSolidsAndSteps") {
    TemporaryFolder const folder;
    std::string const in = folder / "grid.obj";
    store(in, support::grid(5, 5));
    Run const solid =
        run("extrude --json " + in + " " + (folder / "box.obj") + " --selection all --distance 2");
    REQUIRE(solid.code == 0);
    CHECK(solid.json()["freeRegions"] == 1);
    CHECK(solid.json()["walls"] == 20);
    auto const box = checkOf(folder / "box.obj");
    CHECK(box["clean"] == true);
    CHECK(box["closed"] == true);

    writeFile(folder / "middle.txt", "24-25  # the square in the middle\n");
    Run const step = run("extrude " + in + " " + (folder / "step.obj") + " --selection " +
                         (folder / "middle.txt") + " --distance -0.5 --direction 0,0,9");
    REQUIRE(step.code == 0);
    CHECK(step.out.find("2 triangles in 1 region") != std::string::npos);
    CHECK(checkOf(folder / "step.obj")["clean"] == true);
    CHECK(checkOf(folder / "step.obj")["boundaries"] == 1);

    writeFile(folder / "bad.txt", "1 2\n3-50\n");
    std::string const start = "extrude " + in + " " + (folder / "o.obj") + " --distance 1 ";
    refuses(start + "--selection " + (folder / "bad.txt"), 3,
            "line 2: there is no triangle 50; the mesh has 50, numbered from 0");
    refuses(start, 2, "--selection");
    refuses("extrude " + in + " " + (folder / "o.obj") + " --selection all", 2, "--distance");
    refuses(start + "--selection all --direction 0,0,0", 2, "--direction");
    refuses(start + "--selection ''", 2, "the selection has no name");
    refuses("extrude " + in + " " + (folder / "o.obj") + " --selection all --distance 1e39", 5,
            "beyond the range of floats");
    CHECK_FALSE(fs::exists(folder / "o.obj"));
    Run const flat = run("extrude " + in + " " + (folder / "flat.obj") +
                         " --selection all --distance 1 --direction 1e200,0,0");
    CHECK(flat.code == 0);
    CHECK(flat.out.find("warning: the direction lies within the plane of 1 region") !=
          std::string::npos);
    CHECK(flat.out.find("1 region became a closed solid\n") != std::string::npos);
    CHECK(run("extrude --json " + in + " " + (folder / "flat.obj") +
              " --selection all --distance 1 --direction 0,1,0")
              .json()["warnings"]
              .size() == 1);
    store(folder / "sphere.obj", support::sphere(2));
    refuses("extrude " + (folder / "sphere.obj") + " " + (folder / "o.obj") +
                " --selection all --distance 1",
            5, "closed surface");
}

TEST_CASE("verifyNamesTheChecksThatFail") {
    TemporaryFolder const folder;
    store(folder / "sphere.obj", support::sphere(3));
    Run const sound = run("verify --json " + (folder / "sphere.obj"));
    CHECK(sound.code == 0);
    CHECK(sound.json()["passed"] == true);
    CHECK(sound.json()["checks"].size() == 5);
    CHECK(sound.json()["failed"].empty());
    CHECK(run("verify " + (folder / "sphere.obj")).out.find(": sound") != std::string::npos);

    store(folder / "bow.obj", support::bowTie());
    Run const bow = run("verify --json " + (folder / "bow.obj"));
    CHECK(bow.code == 1);
    CHECK(bow.json()["failed"] == nlohmann::json({"vertexFans", "vertexEdges"}));
    Run const text = run("verify " + (folder / "bow.obj"));
    CHECK(text.code == 1);
    CHECK(text.out.find("vertexFans     FAILED") != std::string::npos);
    CHECK(run("verify " + (folder / "absent.obj")).failedWith(3));
}

TEST_CASE("piecesWithoutVolumeAreTold") {
    TemporaryFolder const folder;
    store(folder / "two.obj", support::joined(support::sphere(4), support::tetrahedron(), 5.0f));
    std::string const arguments =
        (folder / "two.obj") + " " + (folder / "out.obj") + " --tolerance 90%";
    CHECK(run("reduce --json " + arguments).json()["flattenedPieces"] == 2);
    CHECK(run("reduce " + arguments)
              .out.find("warning: 2 closed pieces came down to two triangles") !=
          std::string::npos);
}

TEST_CASE("oddMeshesEndInAClearOutcomeOfEveryEdit") {
    TemporaryFolder const folder;
    std::string const in = folder / "odd.obj";
    std::string const out = folder / "out.obj";
    for (std::string const text : oddMeshes) {
        CAPTURE(text);
        writeFile(in, text);
        for (std::string const work :
             {"reduce --fraction 0.5", "reduce --tolerance 1%", "reduce --collapse 0.9",
              "cut --plane 1,1,0,-0.3", "subdivide --levels 2",
              "extrude --selection all --distance 1", "verify"}) {
            CAPTURE(work);
            Run const result = run(work + " " + in + (work == "verify" ? "" : " " + out));
            CHECK((result.code == 0 || result.code == 1 || result.code == 5));
        }
    }
}

TEST_CASE("everyRealMeshIsReducedAndVerified") {
    TemporaryFolder const folder;
    std::string const out = folder / "out.obj";
    for (std::string const& path : support::corpus()) {
        CAPTURE(path);
        for (std::string const goal : {"--fraction 0.3", "--tolerance 0.5%", "--collapse 0.3"}) {
            CAPTURE(goal);
            Run const reduce = run("reduce --json " + path + " " + out + " " + goal);
            if (reduce.code == 5) {
                CHECK(goal == "--collapse 0.3");
                continue;
            }
            REQUIRE(reduce.code == 0);
            auto const json = reduce.json();
            CHECK(json["after"]["triangles"] <= json["before"]["triangles"]);
            if (json["method"] == "tolerance")
                CHECK(json["measured"]["inputToResult"]["largest"].get<double>() <=
                      json["goal"].get<double>() * 1.00001);
            CHECK(run("info --json " + out).code == 0);
        }
        CHECK(run("verify --json " + path).code <= 1);
    }
}
