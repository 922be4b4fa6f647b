// measure, deviation and collar from outside: what they tell, what they write, and how they refuse.

#include "app/editRun.h"
#include "support/builders.h"
#include "toolkit/sampleMeshes.h"

#include <cmath>

using namespace commandTest;

namespace {

koGeom::CompactMesh moved(koGeom::CompactMesh mesh, float size, float shift) {
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
        mesh.getVerticesRaw()[i] = size * mesh.getVerticesRaw()[i] + shift;
    return mesh;
}

/// The disk of 8 triangles round vertex 0, in the plane z = 0.
char const* const disk =
    "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv -1 1 0\nv -1 0 0\nv -1 -1 0\n"
    "v 0 -1 0\nv 1 -1 0\nf 1 2 3\nf 1 3 4\nf 1 4 5\nf 1 5 6\nf 1 6 7\nf 1 7 8\n"
    "f 1 8 9\nf 1 9 2\n";

}  // namespace

TEST_CASE("measureTellsTheSolidWhereverItIs") {
    TemporaryFolder const folder;
    store(folder / "box.obj", moved(support::cube(), 2.0f, 20.0f));  // ten sizes away
    Run const told = run("measure --json " + (folder / "box.obj"));
    REQUIRE(told.code == 0);
    auto const json = told.json();
    CHECK(json["area"].get<double>() == doctest::Approx(24.0).epsilon(1e-6));
    CHECK(json["volume"].get<double>() == doctest::Approx(8.0).epsilon(1e-6));
    CHECK(json["edges"] == 18);
    CHECK(json["longestEdge"].get<double>() == doctest::Approx(std::sqrt(8.0)));
    CHECK(json["enclosesVolume"] == true);
    CHECK(json["warnings"].empty());
    CHECK(!json.contains("components"));
    for (int axis = 0; axis < 3; ++axis) {
        CHECK(json["centreOfMass"][axis].get<double>() == doctest::Approx(21.0).epsilon(1e-9));
        CHECK(json["surfaceCentroid"][axis].get<double>() == doctest::Approx(21.0).epsilon(1e-9));
        CHECK(json["firstMoments"][axis].get<double>() == doctest::Approx(168.0).epsilon(1e-9));
        CHECK(json["centralSecondMoments"][axis].get<double>() ==
              doctest::Approx(8.0 / 3.0).epsilon(1e-6));
        CHECK(json["secondMoments"][axis].get<double>() ==
              doctest::Approx(8.0 / 3.0 + 8.0 * 441.0).epsilon(1e-9));
        CHECK(json["box"]["maximum"][axis] == 22.0);
    }
    Run const text = run("measure " + (folder / "box.obj"));
    CHECK(text.code == 0);
    CHECK(text.out.find("volume                   8\n") != std::string::npos);
    CHECK(run("measure - <" + (folder / "box.obj")).code == 0);
    CHECK(run("measure --quiet " + (folder / "box.obj")).out.empty());
}

TEST_CASE("measureWarnsOfWhatEnclosesNothing") {
    TemporaryFolder const folder;
    writeFile(folder / "disk.obj", disk);
    auto const open = run("measure --json " + (folder / "disk.obj")).json();
    CHECK(open["openEdges"] == 8);
    CHECK(open["enclosesVolume"] == false);
    CHECK(open["centreOfMass"].is_null());
    CHECK(open["warnings"].size() == 1);
    CHECK(
        run("measure " + (folder / "disk.obj")).out.find("warning: the surface is open, with 8") !=
        std::string::npos);
    store(folder / "turned.obj", support::flipped(support::sphere(2), 0.3, 4));
    CHECK(run("measure " + (folder / "turned.obj")).out.find("not oriented") != std::string::npos);
    store(folder / "inside.obj", support::flipped(support::cube(), 1.0, 4));
    CHECK(run("measure " + (folder / "inside.obj")).out.find("inside out") != std::string::npos);
}

TEST_CASE("measureTellsComponents") {
    TemporaryFolder const folder;
    store(folder / "two.obj", support::joined(support::cube(), support::octahedron(), 9.0f));
    auto const json = run("measure --json --components " + (folder / "two.obj")).json();
    REQUIRE(json["components"].size() == 2);
    CHECK(json["components"][0]["volume"].get<double>() == doctest::Approx(1.0));
    CHECK(json["components"][1]["volume"].get<double>() == doctest::Approx(4.0 / 3.0));
    CHECK(json["volume"].get<double>() == doctest::Approx(7.0 / 3.0));
    Run const text = run("measure --components " + (folder / "two.obj"));
    CHECK(text.out.find("2 components\n  1: 12 triangles") != std::string::npos);
}

TEST_CASE("deviationTellsHowFarASphereIsFromAnother") {
    TemporaryFolder const folder;
    std::string const reference = folder / "reference.obj";
    std::string const mesh = folder / "mesh.obj";
    store(reference, support::sphere(4));
    store(mesh, moved(support::sphere(2), 1.25f, 0.0f));
    Run const told =
        run("deviation --json --out " + (folder / "values.csv") + " " + mesh + " " + reference);
    REQUIRE(told.code == 0);
    auto const json = told.json();
    CHECK(json["measured"] == json["vertices"]);
    CHECK(json["minimum"]["deviation"].get<double>() == doctest::Approx(0.25).epsilon(0.02));
    CHECK(json["maximum"]["deviation"].get<double>() == doctest::Approx(0.25).epsilon(0.02));
    CHECK(json["mean"].get<double>() == doctest::Approx(json["rms"].get<double>()).epsilon(1e-3));
    CHECK(json["percentiles"].size() == 7);
    CHECK(json["percentiles"][3]["percent"] == 50.0);
    int counted = 0;
    for (auto const& bin : json["histogram"])
        counted += bin["vertices"].get<int>();
    CHECK(counted == json["vertices"].get<int>());
    std::string const values = contentOf(folder / "values.csv");
    CHECK(values.rfind("x,y,z,deviation\n", 0) == 0);
    CHECK(std::count(values.begin(), values.end(), '\n') == counted + 1);

    auto const flipped = run("deviation --json --flip " + mesh + " " + reference).json();
    CHECK(flipped["mean"].get<double>() == -json["mean"].get<double>());
    CHECK(flipped["output"].is_null());
    std::string const half = "0.5,0,0,0,0.5,0,0,0,0.5,0,0,0 ";
    auto const halved = run("deviation --json --matrix " + half + " --reference-matrix " + half +
                            mesh + " " + reference)
                            .json();
    CHECK(halved["mean"].get<double>() == doctest::Approx(0.5 * json["mean"].get<double>()));
    auto const one = run("deviation --json --threads 1 " + mesh + " " + reference).json();
    CHECK(one["rms"] == json["rms"]);
    Run const text = run("deviation " + mesh + " " + reference);
    CHECK(text.code == 0);
    CHECK(text.out.find("  50 % are up to 0.25") != std::string::npos);
}

TEST_CASE("deviationMeasuresWhatIsSelected") {
    TemporaryFolder const folder;
    writeFile(folder / "disk.obj", disk);
    writeFile(folder / "list.txt", "0, 2-3\n");
    std::string const both = (folder / "disk.obj") + " " + (folder / "disk.obj");
    Run const told = run("deviation --out - --selected " + (folder / "list.txt") +
                         " --matrix 1,0,0,0,1,0,0,0,1,0,0,-0.5 " + both);
    CHECK(told.code == 0);
    CHECK(told.out.rfind("0 0 0 -0.5\n1 0 0 nan\n1 1 0 -0.5\n0 1 0 -0.5\n-1 1 0 nan\n", 0) == 0);
    CHECK(told.err.find("3 vertices measured") != std::string::npos);
    writeFile(folder / "beyond.txt", "9\n");
    refuses("deviation --selected " + (folder / "beyond.txt") + " " + both, 3,
            "there is no vertex 9; the mesh has 9");
}

TEST_CASE("deviationRefusesWhatItCannotDo") {
    TemporaryFolder const folder;
    std::string const mesh = folder / "cube.obj";
    store(mesh, support::cube());
    writeFile(folder / "points.obj", "v 0 0 0\nv 1 0 0\n");
    std::string const both = mesh + " " + mesh;
    refuses("deviation --out " + (folder / "a.stl") + " " + both, 4, ".txt");
    refuses("deviation --out " + (folder / "none/a.txt") + " " + both, 4, "there is no folder");
    refuses("deviation --out " + mesh + " " + both, 2, "which the output would replace");
    refuses("deviation --json --out - " + both, 2, "--json");
    refuses("deviation - -", 2, "standard input");
    refuses("deviation --matrix 1,2,3 " + both, 2, "four rows of three numbers");
    refuses("deviation --matrix 1,0,0,0,1,0,0,0,nan,0,0,0 " + both, 2, "four rows");
    refuses("deviation --reference-matrix 0,0,0,0,0,0,0,0,0,0,0,0 " + both, 5, "flattens");
    refuses("deviation " + mesh, 2, "REFERENCE");
    refuses("deviation " + both + " --max-memory 1K", 5, "--max-memory");
    Run const empty = run("deviation --quiet " + mesh + " " + (folder / "points.obj"));
    CHECK(empty.failedWith(5));
    CHECK(empty.err.find("no triangles") != std::string::npos);
    CHECK(folder.size() == 2);
}

TEST_CASE("collarGivesThePointsOfABorder") {
    TemporaryFolder const folder;
    std::string const in = folder / "disk.obj";
    writeFile(in, disk);
    Run const told = run("collar --boundary 1 --points 4 --curvature --json " + in);
    REQUIRE(told.code == 0);
    CHECK(told.err.empty());
    auto const json = told.json();
    CHECK(json["edges"] == 8);
    CHECK(json["length"] == 8.0);
    REQUIRE(json["points"].size() == 4);
    auto const& second = json["points"][1];
    CHECK(second["position"] == nlohmann::json({0.0, 1.0, 0.0}));
    CHECK(second["distance"] == 2.0);
    CHECK(second["edge"] == nlohmann::json({3, 4}));
    CHECK(second["normal"] == nlohmann::json({0.0, 0.0, 1.0}));
    CHECK(second["outward"][1] == 1.0);
    CHECK(second["direction"][1] == 1.0);
    CHECK(second["curvature"] == 0.0);

    auto const all = run("collar --boundary 1 --json " + in).json();
    CHECK(all["points"].size() == 8);
    CHECK(!all["points"][0].contains("curvature"));
    // The library's own line for each curvature is none of the table's; --debug shows it.
    Run const table = run("collar --boundary 1 --points 4 --curvature --debug " + in);
    CHECK(table.out.find("curvature:") == std::string::npos);
    CHECK(table.err.find("curvature: 0.000000\n") != std::string::npos);
    CHECK(std::count(table.out.begin(), table.out.end(), '\n') == 6);
    CHECK(table.out.find("\n 2 0 1 0 0 0 1 0 1 0 0 1 0 0\n") != std::string::npos);
}

TEST_CASE("collarRefusesWhatItCannotDo") {
    TemporaryFolder const folder;
    std::string const in = folder / "disk.obj";
    writeFile(in, disk);
    refuses("collar --boundary 2 " + in, 2, "there is no boundary 2; the mesh has 1 boundary");
    refuses("collar " + in, 2, "--boundary");
    for (std::string const number : {"0", "-1", "x", "1.5", "99999999999999999999"})
        refuses("collar --boundary=" + number + " " + in, 2, "takes a number from 1 on");
    for (std::string const number : {"0", "-3", "2147483648", "1e3"})
        refuses("collar --boundary 1 --points=" + number + " " + in, 2, "takes a number from 1 on");
    refuses("collar --boundary 1 --points 2000000000 --max-memory 1G " + in, 5, "--max-memory");
    store(folder / "cube.obj", support::cube());
    refuses("collar --boundary 1 " + (folder / "cube.obj"), 2, "the mesh has 0 boundaries");
}

TEST_CASE("oddMeshesAreMeasuredOrRefusedWithoutHarm") {
    TemporaryFolder const folder;
    std::string const in = folder / "odd.obj";
    store(folder / "sphere.obj", support::sphere(2));
    for (char const* const text : oddMeshes) {
        CAPTURE(text);
        writeFile(in, text);
        for (std::string const& arguments :
             {"measure --components " + in, "deviation " + in + " " + (folder / "sphere.obj"),
              "deviation " + (folder / "sphere.obj") + " " + in,
              "collar --boundary 1 --curvature --points 5 " + in}) {
            for (std::string const option : {" --json", ""}) {
                CAPTURE(arguments);
                Run const result = run(arguments + option);
                CHECK((result.code == 0 || result.code == 2 || result.code == 5));
                if (result.code == 0 && !option.empty())
                    CHECK(result.json().is_object());
            }
        }
    }
}

TEST_CASE("measuringEndsAtItsDeadline") {
    TemporaryFolder const folder;
    std::string const in = folder / "scan.obj";
    store(in, trimora::makeScan(6, 1));
    for (std::string const& arguments : {"measure " + in, "deviation " + in + " " + in}) {
        CAPTURE(arguments);
        Run const late = run(arguments + " --timeout 1e-3");
        CHECK(late.failedWith(6));
        CHECK(late.err.find("--timeout") != std::string::npos);
    }
}
