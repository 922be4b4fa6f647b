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
    refuses("convert --format-out docx " + files, 2, "no format is named 'docx'");
    refuses("convert --format-in nope " + files, 2, "the formats are: obj, stl");
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
                                                 "colours of 1 face"});
    CHECK(toStl.err.find("stl files do not hold: texture coordinates, colours") !=
          std::string::npos);
    Run const toObj = run("convert " + (folder / "a.off") + " " + (folder / "a.obj"));
    CHECK(toObj.out.find("  lost: colours; colours of 1 face\n") != std::string::npos);
    CHECK(contentOf(folder / "a.obj").find("f 1/1 2/2 3/3 4/4\n") != std::string::npos);
    CHECK(run("convert --json " + (folder / "a.obj") + " " + (folder / "b.off")).json()["lost"] ==
          nlohmann::json::array());
    CHECK(contentOf(folder / "b.off").substr(0, 6) == "STOFF\n");
}

TEST_CASE("convertTellsWhatTheFileHadAndTheMeshHasNot") {
    TemporaryFolder const folder;
    std::string const square = "v 0 0 0\nv 1 0 0\nv 0 1 0\n";
    struct Case {
        char const* from;
        std::string text;
        char const* to;
        std::vector<std::string> lost;
    };
    for (Case const& file : std::vector<Case>{
             {"a.obj",
              "v 0 0 0 1 2 3 4\nv 1 0 0 .5\nv 0 1 0\nf 1 2 3\nl 1 2\np 3\n",
              "b.ply",
              {"values behind the third, weights or colours, of 2 vertices",
               "2 other elements: points, lines or the like"}},
             {"a.off",
              "OFF\n3 1 0\n0 0 0 255 0 0 255\n1 0 0\n0 1 0\n3 0 1 2\n",
              "b.ply",
              {"values behind the third, weights or colours, of 1 vertex"}},
             {"a.off",
              "COFF\n3 1 0\n0 0 0 255 0 0 255\n1 0 0\n0 1 0 9 9 9\n3 0 1 2\n",
              "b.ply",
              {"colours, since 1 vertex has none"}},
             {"a.obj", square + "v 9 9 9\nf 1 2 3\n", "b.stl", {"1 vertex of no triangle"}},
             {"a.obj", square + "v 9 9 9\nf 1 2 3\n", "b.off", {}},
             {"a.obj", "v 1 2 3\n", "b.stl", {"1 vertex of no triangle"}},
             {"a.obj",
              square + "vt 0 0\nvt 1 0\nf 1/1 2/2 3\n",
              "b.ply",
              {"texture coordinates, since 1 vertex has none"}},
             {"a.obj",
              square + "vt 0 0\nvt 1 0\nf 1/1 2/2 3/1\nf 3/2 2/2 1/1\n",
              "b.ply",
              {"texture coordinates, since 1 vertex has several"}},
             {"a.obj",
              square + "vn 0 0 1\nf 1 2 3\n",
              "b.ply",
              {"normals, since 3 vertices have none"}}}) {
        CAPTURE(file.text);
        writeFile(folder / file.from, file.text);
        std::string const files = (folder / file.from) + " " + (folder / file.to);
        Run const told = run("convert --json " + files);
        REQUIRE(told.code == 0);
        CHECK(told.json()["lost"] == nlohmann::json(file.lost));
        std::string const text = run("convert " + files).out;
        for (std::string const& what : file.lost)
            CHECK(text.find(what) != std::string::npos);
    }
}

TEST_CASE("whatIsWrongWithAFileIsAWarningOfEveryCommand") {
    TemporaryFolder const folder;
    store(folder / "cube.stl", support::cube());
    std::string const cube = contentOf(folder / "cube.stl");
    std::string const facet = "facet\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\nendfacet\n";
    struct Case {
        char const* name;
        std::string bytes;
        char const* words;  // behind the name of the file
    };
    for (Case const& file : std::vector<Case>{
             {"a.stl", cube, ""},
             {"a.stl", cube.substr(0, 84 + 50 * 7 + 20),
              "is cut short: it holds 7 of 12 triangles; copy it again or write it anew\n"},
             {"a.stl", cube + "more",
              "goes on for 4 bytes behind the last of its 12 triangles; they "
              "were not read\n"},
             {"a.off", "OFF\n3 2 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n",
              "is cut short: it holds 1 of 2 faces; copy it again or write it anew\n"},
             {"a.off", "OFF\n3 1 0\n0 0\n1 0 x\n0 1 0\n3 0 1 2\n",
              "2 vertices lack a coordinate, which is 0 here, or has one that is no number\n"},
             {"a.stl", "solid\n" + facet,
              "ends without endsolid: it may have been cut short behind a facet\n"},
             {"a.stl", "solid\nx\n" + facet + "y\nendsolid\n",
              "2 problems, the first at line 2: a word that means nothing in this format; line "
              "skipped; `trimora info` lists them\n"},
             {"a.ply",
              "ply\nformat ascii 2.0\nelement vertex 1\nproperty float x\nproperty float y\n"
              "property float z\nend_header\n0 0 0\n",
              "is of version 2.0 of the format, which is not known; it was read as version "
              "1.0\n"}}) {
        CAPTURE(file.bytes);
        std::string const path = folder / file.name;
        writeFile(path, file.bytes);
        Run const told = run("info --json " + path);
        CAPTURE(told.err);
        REQUIRE(told.code == 0);
        CHECK(told.err.empty() == (*file.words == '\0'));
        if (!told.err.empty())
            CHECK(told.err.find(path + ": " + file.words) != std::string::npos);
        CHECK(run("info --quiet " + path).err.empty());

        bool const isCut = told.err.find("is cut short:") != std::string::npos;
        Run const converted = run("convert " + path + " " + (folder / "out.obj"));
        CHECK(converted.code == 0);
        CHECK((converted.err.find("is cut short:") != std::string::npos) == isCut);
        auto const doctor = run("doctor --json " + path).json();
        CHECK((doctor["findings"].at(0)["kind"] == "cutShort") == isCut);
        CHECK(doctor["read"]["cutShort"].size() == (isCut ? 1 : 0));
        auto const check = run("check --json " + path);
        CHECK(check.json()["clean"] == !isCut);
        CHECK(check.code == (isCut ? 1 : 0));
    }
    writeFile(folder / "a.off", "OFF\n3 2 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n");
    CHECK(run("info - <" + (folder / "a.off")).err.find("warning: standard input: is cut short") !=
          std::string::npos);
    for (char const* name : {"empty.obj", "empty.stl", "empty.ply"}) {
        writeFile(folder / name, "");
        refuses("info " + (folder / name), 3, "is empty");
    }
    CHECK(run("info - </dev/null").failedWith(3));
}

TEST_CASE("infoTellsWhatBecameOfEverythingInTheFile") {
    TemporaryFolder const folder;
    writeFile(folder / "a.obj",
              "v 0 0 0 1 1 1\nv nan 0 0\nv 1 0\nv 0 1 0\nf 1 3 4\nf 1 3 9\nl 1 2\n"
              "what\n");
    Run const text = run("info " + (folder / "a.obj"));
    for (char const* const words :
         {"  area            0.5\n", "  attributes      vertices\n", "  file            65 bytes\n",
          "not kept: values behind the third, weights or colours, of 1 vertex",
          "not kept: 1 other element: points, lines or the like",
          "1 vertex with a coordinate that is absent (0) or no number (NaN)",
          "1 vertex that is NaN or infinite", "1 line that means nothing in the format",
          "1 face dropped", "line 6: face at a vertex"}) {
        CAPTURE(text.out);
        CAPTURE(words);
        CHECK(text.out.find(words) != std::string::npos);
    }
    CHECK(text.out.find("null") == std::string::npos);

    store(folder / "a.stl", support::cube());
    std::string bytes = contentOf(folder / "a.stl");
    bytes[84 + 48] = 1;
    writeFile(folder / "a.stl", bytes);
    auto const stl = run("info --json " + (folder / "a.stl")).json();
    CHECK(stl["bytes"] == 84 + 12 * 50);
    CHECK(stl["read"]["ignoredProperties"].size() == 1);
    CHECK(stl["read"]["welded"].is_null());
    writeFile(folder / "a.ply", "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\n"
                                "property float y\nproperty float z\nproperty uchar red\n"
                                "property uchar green\nproperty uchar blue\nproperty float heat\n"
                                "end_header\n0 0 0 1 2 3 4\n");
    auto const ply = run("info --json " + (folder / "a.ply")).json()["read"];
    CHECK(ply["colours"]["kept"] == true);
    CHECK(ply["keptSets"] == nlohmann::json{"heat"});
}

TEST_CASE("convertTellsWhichCornerBecameWhichVertex") {
    TemporaryFolder const folder;
    writeFile(folder / "a.stl",
              "solid\nfacet\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\nendfacet\n"
              "facet\nvertex 1 0 0\nvertex 1 1 0\nvertex 0 1 0\nendfacet\nendsolid\n");
    std::string const files = (folder / "a.stl") + " " + (folder / "b.ply");
    auto const welded = run("convert --json --weld " + files).json()["read"]["welded"];
    CHECK(welded["corners"] == 6);
    CHECK(welded["vertices"] == 4);
    CHECK(welded["vertexOfCorner"] == nlohmann::json{0, 1, 2, 1, 3, 2});
    Run const text = run("convert --weld " + files);
    CHECK(text.out.find("  welded: 6 corners to 4 vertices\n") != std::string::npos);
    CHECK(text.err.empty());
    Run const shared = run("convert --weld " + (folder / "b.ply") + " " + (folder / "c.ply"));
    CHECK(shared.code == 0);
    CHECK(shared.err.find("--weld changes nothing here") != std::string::npos);
    CHECK(
        run("convert --weld --quiet " + (folder / "b.ply") + " " + (folder / "c.ply")).err.empty());
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
