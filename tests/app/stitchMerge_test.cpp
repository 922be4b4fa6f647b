// stitch and merge from outside: what they write, what they tell, and how they refuse.

#include "app/editRun.h"
#include "support/builders.h"
#include "support/corpus.h"
#include "toolkit/sampleMeshes.h"
#include "toolkit/writeMesh.h"

#include <doctest/doctest.h>

using namespace commandTest;

namespace {

/// The parts of a mesh, cut in two by a plane through its middle across the y axis, in one file, the second `gap` up.
void cutApart(TemporaryFolder const& folder, std::string const& mesh, std::string const& gap) {
    auto const box = run("info --json " + mesh).json()["box"];
    double const middle = 0.5 * (box["minimum"][1].get<double>() + box["maximum"][1].get<double>());
    Run const cut = run("cut " + mesh + " " + (folder / "part.obj") +
                        " --split --json --plane=0,1,0," + std::to_string(-middle));
    REQUIRE(cut.code == 0);
    auto const parts = cut.json()["parts"];
    REQUIRE(parts.size() == 2);
    auto const isUpper = [&](std::string const& path) {
        auto const part = run("info --json " + path).json()["box"];
        return part["minimum"][1].get<double>() > middle - 1e-3;
    };
    std::string const upper = isUpper(parts[0]["output"]) ? "1" : "2";
    Run const merge =
        run("merge --json " + (folder / "apart.obj") + " " + (folder / "part-1.obj") + " " +
            (folder / "part-2.obj") + " --matrix " + upper + ":1,0,0,0,1,0,0,0,1,0," + gap + ",0");
    REQUIRE(merge.code == 0);
    CHECK(merge.json()["verticesMerged"] == 0);
    CHECK(merge.json()["after"]["components"] == 2);
}

}  // namespace

TEST_CASE("partsThatWereCutApartAreStitchedAgain") {
    TemporaryFolder const folder;
    std::string const scan = folder / "scan.obj";
    REQUIRE(trimora::writeMesh(scan, trimora::makeScan(5, 1)));
    cutApart(folder, scan, "0.01");
    std::string const apart = folder / "apart.obj ";

    Run const suggested = run("stitch --json " + apart + (folder / "out.obj"));
    CHECK(suggested.code == 2);
    CHECK(suggested.err.find("--distance") != std::string::npos);
    auto const suggestion = suggested.json();
    double const distance = suggestion["suggestedDistance"].get<double>();
    CHECK(distance > 0.01);
    CHECK(distance < 0.05);
    CHECK(suggestion["neighbours"].size() == 2);
    CHECK(!fs::exists(folder / "out.obj"));

    Run const stitched = run("stitch --json " + apart + (folder / "out.obj") + " --distance " +
                             std::to_string(distance));
    REQUIRE(stitched.code == 0);
    auto const json = stitched.json();
    CHECK(json["sewn"] == 1);
    CHECK(json["notSewn"] == 0);
    CHECK(json["seams"][0]["circular"] == true);
    CHECK(json["seams"][0]["sewnLength"] == json["seams"][0]["stretchLength"]);
    CHECK(json["seams"][0]["endDistance"] == 0);
    CHECK(json["sewnLength"] == json["seams"][0]["sewnLength"]);
    CHECK(json["attempts"] == 1);
    CHECK(json["usedDistance"] == json["distance"]);
    CHECK(json["seams"][0]["outcome"] == "sewn");
    CHECK(json["seams"][0]["words"].is_null());
    CHECK(json["boundaries"].size() == 2);
    CHECK(json["boundaries"][0]["leftOut"].is_null());
    CHECK(json["gapsLeft"].empty());
    CHECK(json["after"]["boundaries"] == 0);
    auto const check = checkOf(folder / "out.obj");
    CHECK(check["clean"] == true);
    CHECK(check["closed"] == true);
    CHECK(check["components"] == 1);

    Run const text = run("stitch " + apart + (folder / "again.obj") + " --distance 1%");
    CHECK(text.code == 0);
    CHECK(text.out.find("1 of 1 seam sewn") != std::string::npos);

    Run const worse =
        run("stitch --json " + apart + (folder / "no.obj") + " --distance 0.03 --angle 179.9");
    CHECK(worse.code == 5);
    CHECK(worse.json()["worse"][0]["what"] == "foldedEdges");
    CHECK(worse.json()["seams"].size() == 1);
    CHECK(worse.json()["attempts"].get<int>() >= 1);
    CHECK(!fs::exists(folder / "no.obj"));
}

TEST_CASE("stitchSaysWhatItCannotDo") {
    TemporaryFolder const folder;
    std::string const sheet = folder / "sheet.obj";
    std::string const ball = folder / "ball.obj";
    std::string const out = " " + (folder / "out.obj");
    REQUIRE(trimora::writeMesh(sheet, support::grid(4, 4)));
    REQUIRE(trimora::writeMesh(ball, support::sphere(2)));
    refuses("stitch " + sheet + out, 2, "has only one boundary");
    refuses("stitch " + sheet + out + " --distance 0", 2, "takes a length above 0");
    refuses("stitch " + sheet + out + " --distance 1 --boundaries 1,x", 2, "takes all, or numbers");
    refuses("stitch " + sheet + out + " --distance 1 --boundaries 2", 2, "there is no boundary 2");
    refuses("stitch " + sheet + out + " --distance 1 --tolerance nan", 2, "takes 0 to 0.5");
    refuses("stitch " + sheet + out + " --distance 1", 5, "has only one boundary");
    refuses("stitch " + sheet + out + " --distance 1e-9", 5, "has only one boundary");
    refuses("stitch " + sheet + out + " --distance 1e-5 --max-memory 1G", 5, "--max-memory");
    refuses("stitch " + sheet + out + " --distance 1 --timeout 1e-9", 6, "timed out");
    refuses("stitch " + (folder / "none.obj") + out, 3, "none.obj");
    writeFile(folder / "empty.obj", "v 0 0 0\n");
    Run const empty = run("stitch " + (folder / "empty.obj") + out + " --distance 1");
    CHECK(empty.code == 5);
    CHECK(empty.err.find("no triangles") != std::string::npos);
    CHECK(!fs::exists(folder / "out.obj"));

    for (char const* const distance : {" --distance 1", ""})  // nothing to close
        CHECK(run("stitch " + ball + out + distance).code == 0);
    CHECK(checkOf(folder / "out.obj")["closed"] == true);
}

TEST_CASE("mergePlacesAndWelds") {
    TemporaryFolder const folder;
    std::string const sheet = folder / "sheet.obj";
    std::string const out = folder / "out.obj ";
    REQUIRE(trimora::writeMesh(sheet, support::grid(2, 2)));
    std::string const two = "merge --json " + out + sheet + " " + sheet + " ";
    std::string const aside = "--matrix 2:1,0,0,0,1,0,0,0,1,2.01,0,0 ";

    Run const apart = run(two + aside);
    REQUIRE(apart.code == 0);
    CHECK(apart.json()["verticesMerged"] == 0);
    CHECK(apart.json()["inputs"][0]["matrix"][0] == 1);
    CHECK(apart.json()["inputs"][1]["matrix"][9] == doctest::Approx(2.01));

    Run const welded = run(two + aside + "--tolerance 1%");
    REQUIRE(welded.code == 0);
    CHECK(welded.json()["verticesMerged"] == 3);
    CHECK(welded.json()["degenerateTriangles"] == 0);
    CHECK(welded.json()["after"]["components"] == 1);
    CHECK(checkOf(folder / "out.obj")["clean"] == true);
    CHECK(run(two + "--tolerance 10").json()["degenerateTriangles"] == 16);

    refuses("merge " + out, 2, "IN");
    refuses("merge " + sheet + " " + sheet, 2, "would replace");
    refuses("merge " + out + "- -", 2, "only one input");
    refuses("merge " + out + sheet + " --tolerance -1", 2, "takes 0, a length");
    refuses("merge " + out + sheet + " --matrix 1:1,0,0", 2, "four rows of three");
    refuses("merge " + out + sheet + " --matrix 2:1,0,0,0,1,0,0,0,1,0,0,0", 2, "no input 2");
    refuses("merge " + out + sheet + " " + aside + aside + sheet, 2, "input 2 has two");
    refuses("merge " + out + sheet + " --matrix 1:1,0,0,0,1,0,0,0,1,1e39,0,0", 5,
            "range of floats");
    refuses("merge " + out + sheet + " " + (folder / "none.obj"), 3, "none.obj");
    writeFile(folder / "nan.obj", "v nan 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    Run const nonfinite = run("merge --quiet " + out + sheet + " " + (folder / "nan.obj"));
    CHECK(nonfinite.failedWith(5));
    CHECK(nonfinite.err.find("--drop-nonfinite") != std::string::npos);
}

TEST_CASE("aRealMeshIsCutMergedAndStitched") {
    std::string const mesh = support::corpusFile("rocker_arm.obj");
    if (mesh.empty())
        return;
    TemporaryFolder const folder;
    cutApart(folder, mesh, "0.002");
    Run const stitched =
        run("stitch --json " + (folder / "apart.obj ") + (folder / "out.obj") + " --distance 0.5%");
    CHECK(stitched.code == 0);
    auto const check = checkOf(folder / "out.obj");
    CHECK(check["components"] == 1);
    CHECK(check["nonManifoldEdges"] == 0);
    CHECK(check["oriented"] == true);
}
