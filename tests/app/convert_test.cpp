#include "app/editRun.h"
#include "support/builders.h"
#include "toolkit/readMesh.h"

#include <doctest/doctest.h>
#include <sstream>
#include <string>

using namespace commandTest;

namespace {

std::string const geodetic =
    "v 4321234.5678 512345.678 123.4567\nv 4321334.6789 512345.7891 124.5\n"
    "v 4321334.1234 512445.2345 125.25\nf 1 2 3\n";

koGeom::CompactMesh readBack(std::string const& path) {
    koGeom::CompactMesh mesh;
    trimora::ReadReport report;
    REQUIRE(trimora::readMesh(path, mesh, report));
    return mesh;
}

}  // namespace

TEST_CASE("convertGoesFromEveryFormatToEveryOther") {
    TemporaryFolder const folder;
    store(folder / "a.obj", support::sphere(2));
    for (std::string const from : {"obj", "off", "stl"})
        for (std::string const to : {"obj", "off", "stl"}) {
            CAPTURE(from + to);
            REQUIRE(run("convert --quiet " + (folder / "a.obj") + " " + (folder / ("b." + from)))
                        .code == 0);
            Run const again = run("convert --json --weld " + (folder / ("b." + from)) + " " +
                                  (folder / ("c." + to)));
            REQUIRE(again.code == 0);
            CHECK(again.json()["triangles"] == 128);
            CHECK(again.json()["vertices"] == 66);
            CHECK(again.json()["format"] == to);
            CHECK(again.json()["read"]["format"] == from);
            CHECK(readBack(folder / ("c." + to)).getNumTriangles() == 128);
        }
}

TEST_CASE("convertWritesTheFormAndTheFormatThatIsAskedFor") {
    TemporaryFolder const folder;
    store(folder / "a.obj", support::triangle());
    std::string const files = (folder / "a.obj") + " " + (folder / "b.stl");
    CHECK(run("convert --text " + files).code == 0);
    CHECK(contentOf(folder / "b.stl").substr(0, 6) == "solid\n");
    CHECK(run("convert --binary " + files).code == 0);
    CHECK(contentOf(folder / "b.stl").size() == 134);
    CHECK(run("convert --text --binary " + files).failedWith(2));
    refuses("convert --big-endian " + files, 4, "stl files have no big-endian form");
    refuses("convert --format-out docx " + files, 4, "no format is named 'docx'");
    refuses("convert --format-in off " + files, 3, "no OFF file");
    CHECK(run("convert --format-out off " + files).code == 0);
    CHECK(contentOf(folder / "b.stl").substr(0, 4) == "OFF\n");

    // The content goes before the name, which is told.
    Run const misnamed = run("convert " + (folder / "b.stl") + " " + (folder / "c.obj"));
    CHECK(misnamed.code == 0);
    CHECK(misnamed.err.find("its content is off") != std::string::npos);
    CHECK(contentOf(folder / "c.obj").substr(0, 2) == "v ");
    CHECK(run("convert - " + (folder / "d.obj") + " <" + (folder / "b.stl")).code == 0);
    CHECK(contentOf(folder / "d.obj") == contentOf(folder / "c.obj"));
    CHECK(run("convert " + (folder / "a.obj") + " - --format-out off --quiet").out.substr(0, 4) ==
          "OFF\n");
}

TEST_CASE("convertTellsWhatIsLost") {
    TemporaryFolder const folder;
    writeFile(folder / "a.off", "STCOFF\n4 1 0\n0 0 0 255 0 0 0 0\n1 0 0 0 0 0 1 0\n"
                                "1 1 0 0 0 0 1 1\n0 1 0 9 9 9 0 1\n4 0 1 2 3 255 0 0\n");
    Run const toStl = run("convert --json " + (folder / "a.off") + " " + (folder / "a.stl"));
    REQUIRE(toStl.code == 0);
    CHECK(toStl.json()["lost"] == nlohmann::json{"texture coordinates", "colours",
                                                 "1 polygon, cut into triangles",
                                                 "colours of 1 faces"});
    CHECK(toStl.err.find("stl files do not hold: texture coordinates, colours") !=
          std::string::npos);
    Run const toObj = run("convert " + (folder / "a.off") + " " + (folder / "a.obj"));
    CHECK(toObj.out.find("  lost: colours, colours of 1 faces\n") != std::string::npos);
    CHECK(contentOf(folder / "a.obj").find("f 1/1 2/2 3/3 4/4\n") != std::string::npos);
    CHECK(run("convert --json " + (folder / "a.obj") + " " + (folder / "b.off")).json()["lost"] ==
          nlohmann::json::array());
    CHECK(contentOf(folder / "b.off").substr(0, 6) == "STOFF\n");
}

TEST_CASE("convertKeepsTheNameOfASolidAndWeldsOnRequest") {
    TemporaryFolder const folder;
    store(folder / "a.obj", support::cube());
    REQUIRE(run("convert " + (folder / "a.obj") + " " + (folder / "soup.stl")).code == 0);
    CHECK(run("convert --json " + (folder / "soup.stl") + " " + (folder / "b.obj"))
              .json()["vertices"] == 36);
    CHECK(run("convert --json --weld " + (folder / "soup.stl") + " " + (folder / "b.obj"))
              .json()["vertices"] == 8);
    writeFile(folder / "named.stl", "solid my part\nfacet\nvertex 0 0 0\nvertex 1 0 0\n"
                                    "vertex 0 1 0\nendfacet\nendsolid\n");
    CHECK(run("convert " + (folder / "named.stl") + " " + (folder / "out.stl")).code == 0);
    CHECK(contentOf(folder / "out.stl").substr(0, 8) == std::string("my part\0", 8));
}

TEST_CASE("coordinatesFarOffComeThroughTheCommands") {
    TemporaryFolder const folder;
    writeFile(folder / "far.obj", geodetic);
    Run const converted = run("convert --json " + (folder / "far.obj") + " " + (folder / "b.obj"));
    CHECK(converted.json()["read"]["shift"] == nlohmann::json{4321300, 512400, 0});
    CHECK(contentOf(folder / "b.obj") == geodetic);
    CHECK(converted.err.find("far from the origin") != std::string::npos);
    CHECK(run("convert --quiet " + (folder / "far.obj") + " " + (folder / "b.obj")).err.empty());

    Run const rounded = run("convert " + (folder / "far.obj") + " " + (folder / "b.stl"));
    CHECK(rounded.code == 0);
    CHECK(rounded.err.find("rounded to floats") != std::string::npos);
    CHECK(run("convert --text " + (folder / "far.obj") + " " + (folder / "c.stl"))
              .err.find("rounded") == std::string::npos);
    CHECK(contentOf(folder / "c.stl").find("4321234.5678 512345.678 123.4567") !=
          std::string::npos);
    CHECK(run("weld " + (folder / "far.obj") + " " + (folder / "d.obj")).code == 0);
    CHECK(contentOf(folder / "d.obj") == geodetic);

    // The second mesh stands where the first one does.
    writeFile(folder / "exact.obj", "v 4321234 512345 123\nv 4321334 512345 124\n"
                                    "v 4321334 512445 125\nf 1 2 3\n");
    REQUIRE(run("merge " + (folder / "both.obj") + " " + (folder / "far.obj") + " " +
                (folder / "exact.obj"))
                .code == 0);
    CHECK(contentOf(folder / "both.obj").find("v 4321234.5678 512345.678 123.4567\n") !=
          std::string::npos);
    CHECK(contentOf(folder / "both.obj").find("v 4321334 512445 125\n") != std::string::npos);
    Run const apart =
        run("deviation --json " + (folder / "far.obj") + " " + (folder / "exact.obj"));
    CHECK(apart.code == 0);
    CHECK(apart.err.find("exact.obj: lies so far") == std::string::npos);
}
