// The command's pictures: what is written, what is told, and what is refused.

#include "runCommand.h"
#include "support/builders.h"
#include "toolkit/writeMesh.h"

#include <doctest/doctest.h>

using commandTest::contentOf;
using commandTest::Run;
using commandTest::run;
using commandTest::TemporaryFolder;

namespace {

bool isPngOf(std::string const& bytes, unsigned width, unsigned height) {
    auto const number = [&bytes](std::size_t place) {
        unsigned value = 0;
        for (std::size_t i = place; i < place + 4; ++i)
            value = 256 * value + static_cast<unsigned char>(bytes[i]);
        return value;
    };
    return bytes.size() > 33 && bytes.substr(0, 8) == "\x89PNG\r\n\x1a\n" && number(16) == width &&
           number(20) == height;
}

struct Meshes : TemporaryFolder {
    std::string sphere = *this / "sphere.obj";
    std::string fin = *this / "fin.obj";
    std::string out = *this / "out.png";

    Meshes() {
        trimora::writeMesh(sphere, support::sphere(2));
        trimora::writeMesh(fin, support::threeOnAnEdge());
    }
};

}  // namespace

TEST_CASE("aPictureIsWrittenAndTold") {
    Meshes const meshes;
    Run const plain =
        run("render " + meshes.sphere + " " + meshes.out + " --size 64x48 --samples 1");
    CHECK(plain.code == 0);
    CHECK(plain.out.find("128 triangles drawn, 64 x 48 pixels") != std::string::npos);
    CHECK(isPngOf(contentOf(meshes.out), 64, 48));

    Run const json =
        run("render --json --size 80x40 --defects --shadow --edges --outlines --shading flat "
            "--view iso --up z --beside " +
            meshes.sphere + " " + meshes.fin + " " + meshes.out);
    REQUIRE(json.code == 0);
    CHECK(json.json()["key"][0]["colors"][3] == "1 non-manifold edge");
    CHECK(json.json()["key"][1]["title"] == "no defects");
    CHECK(isPngOf(contentOf(meshes.out), 80, 40));

    Run const piped = run("render - - --size 16x16 <" + meshes.sphere);
    CHECK(piped.code == 0);
    CHECK(isPngOf(piped.out, 16, 16));
}

TEST_CASE("surfacesAreColored") {
    Meshes const meshes;
    commandTest::writeFile(meshes / "some.txt", "0-9");
    for (std::string const& by :
         {std::string("curvature"), std::string("component"), "deviation:" + meshes.fin,
          "distance:" + meshes.fin, "selection:" + (meshes / "some.txt")}) {
        Run const told = run("render --json --size 32x32 --samples 1 --color-by " + by + " " +
                             meshes.sphere + " " + meshes.out);
        CAPTURE(by);
        REQUIRE(told.code == 0);
        CHECK(told.json()["key"][0]["title"] != "");
    }
    Run const selected =
        run("render --json --size 32x32 --color-by selection:" + (meshes / "some.txt") + " " +
            meshes.sphere + " " + meshes.out);
    CHECK(selected.json()["key"][0]["colors"][0] == "10 triangles");
}

TEST_CASE("whatCannotBeDrawnIsToldInALine") {
    Meshes const meshes;
    std::string const both = " " + meshes.sphere + " " + meshes.out;
    for (char const* const options : {"--size 0x5",
                                      "--size 5",
                                      "--size 99999x5",
                                      "--size 16384x16384",
                                      "--size -5x5",
                                      "--samples 0",
                                      "--samples 257",
                                      "--view up",
                                      "--view 1,95",
                                      "--view nan,0",
                                      "--up x",
                                      "--shading rough",
                                      "--color-by depth",
                                      "--color-by deviation",
                                      "--color-by curvature:x",
                                      "--defects --color-by curvature",
                                      "--angle 20",
                                      "--no-intersections",
                                      "--angle nan --defects",
                                      "--color-by selection:x --beside y"}) {
        CAPTURE(options);
        CHECK(run("render " + std::string(options) + both).failedWith(2));
    }
    CHECK(run("render --json " + meshes.sphere + " -").failedWith(2));
    CHECK(run("render " + meshes.sphere + " " + (meshes / "out.jpg")).failedWith(4));
    CHECK(run("render " + meshes.sphere + " " + (meshes / "none/out.png")).failedWith(4));
    CHECK(run("render " + (meshes / "none.obj") + " " + meshes.out).failedWith(3));
    CHECK(run("render --color-by deviation:" + (meshes / "none.obj") + both).failedWith(3));
    commandTest::writeFile(meshes / "points.obj", "v 0 0 0\nv 1 0 0\n");
    CHECK(run("render --quiet " + (meshes / "points.obj") + " " + meshes.out).failedWith(5));
    CHECK(run("render --size 8000x8000 --max-memory 64M" + both).failedWith(5));
    CHECK_FALSE(std::filesystem::exists(meshes.out));
}

TEST_CASE("checkAndRepairDrawWhatTheyFound") {
    Meshes const meshes;
    Run const checked = run("check " + meshes.fin + " --picture " + meshes.out);
    CHECK(checked.code == 1);
    CHECK(isPngOf(contentOf(meshes.out), 1280, 960));
    Run const repaired = run("repair " + meshes.fin + " " + (meshes / "done.obj") + " --picture " +
                             (meshes / "both.png"));
    CHECK(repaired.code == 0);
    CHECK(isPngOf(contentOf(meshes / "both.png"), 1600, 800));
    CHECK(run("check " + meshes.fin + " --picture " + (meshes / "out.gif")).failedWith(4));

    // no picture keeps the findings back
    commandTest::writeFile(meshes / "empty.obj", "# nothing\n");
    CHECK(run("check --quiet " + (meshes / "empty.obj") + " --picture " + meshes.out).code == 0);
    CHECK(isPngOf(contentOf(meshes.out), 1280, 960));
    commandTest::writeFile(meshes / "point.obj", "v 1 2 3\nf 1 1 1\n");
    CHECK(run("repair --quiet " + (meshes / "point.obj") + " " + (meshes / "none.obj") +
              " --picture " + meshes.out)
              .code == 0);
    CHECK(run("repair " + meshes.fin + " - --picture -").failedWith(2));
}

TEST_CASE("whatIsNotMarkedIsTold") {
    Meshes const meshes;
    commandTest::writeFile(meshes / "point.obj", "v 1 2 3\nf 1 1 1\n");
    Run const defects =
        run("render --defects --size 32x32 " + (meshes / "point.obj") + " " + meshes.out);
    CHECK(defects.out.find("1 degenerate triangle, not marked") != std::string::npos);
    trimora::writeMesh(meshes / "soup.obj", support::soup(support::sphere(2)));
    Run const soup = run("render --json --color-by component --size 32x32 " +
                         (meshes / "soup.obj") + " " + meshes.out);
    REQUIRE(soup.code == 0);
    CHECK(soup.json()["warnings"].size() == 1);
    CHECK(soup.json()["key"][0]["notes"][0] == "120 more; colors come again");
    Run const level = run("render --color-by deviation:" + meshes.sphere + " --size 32x32 " +
                          meshes.sphere + " " + meshes.out);
    CHECK(level.out.find("deviation is 0 everywhere") != std::string::npos);
}
