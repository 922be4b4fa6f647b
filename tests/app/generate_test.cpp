// generate from outside: every shape that it lists, what it writes and tells, and how it refuses.

#include "app/editRun.h"
#include "toolkit/polylines.h"

#include <doctest/doctest.h>

using namespace commandTest;

TEST_CASE("generateMakesEveryShapeThatItLists") {
    TemporaryFolder const folder;
    Run const list = run("generate --list --json");
    REQUIRE(list.code == 0);
    auto const shapes = list.json()["shapes"];
    CHECK(shapes.size() >= 20);
    std::string const text = run("generate --list").out;
    for (auto const& shape : shapes) {
        std::string const name = shape["name"];
        std::string const out = folder / name + ".obj";
        CAPTURE(name);
        CHECK(text.find(name + ": ") != std::string::npos);
        Run const result = run("generate --json " + name + " " + out);
        REQUIRE(result.code == 0);
        auto const json = result.json();
        CHECK(json["parameters"].size() == shape["parameters"].size());
        if (shape["lines"] == true) {
            std::vector<trimora::Polyline> lines;
            REQUIRE(trimora::readPolylines(out, lines));
            CHECK(lines.size() == json["chains"].get<std::size_t>());
            continue;
        }
        auto const info = run("info --json " + out).json();
        CHECK(info["vertices"] == json["vertices"]);
        CHECK(info["box"] == json["box"]);
        CHECK(info["read"]["faces"].get<int>() ==
              json["triangles"].get<int>() + json["polygons"].get<int>());
    }
}

TEST_CASE("generateTakesParametersByName") {
    TemporaryFolder const folder;
    std::string const out = folder / "out.obj";
    Run const sphere =
        run("generate sphere --json " + out + " --radius 2 --segments 4 --centre=-1,2,3");
    REQUIRE(sphere.code == 0);
    auto const json = sphere.json();
    CHECK(json["vertices"] == 4 * 4 * 7 + 2);
    CHECK(json["triangles"] == 2 * 4 * 4 * 7);
    CHECK(json["parameters"]["radius"] == 2.0);
    CHECK(json["parameters"]["segments"] == 4);
    CHECK(json["parameters"]["centre"][0] == -1.0);
    CHECK(json["box"]["maximum"][2] == 5.0);
    auto const check = checkOf(out);
    CHECK(check["closed"] == true);
    CHECK(check["oriented"] == true);

    Run const circle = run("generate circle " + out + " --axis x --segments 5 --center 0,0,1");
    CHECK(circle.code == 0);
    CHECK(circle.out.find("circle: 5 vertices, 5 lines in 1 chain") == 0);
    CHECK(circle.out.find("written to " + out) != std::string::npos);
    CHECK(contentOf(out).find("l 1 2 3 4 5 1\n") != std::string::npos);
    CHECK(run("generate --json circle " + out + " --axis y").json()["parameters"]["axis"] == "y");

    Run const strip =
        run("generate line-strip " + out + " --point 0,0,0 --point 1,0,0 --point 1,1,0 --closed");
    CHECK(strip.code == 0);
    CHECK(contentOf(out) == "v 0 0 0\nv 1 0 0\nv 1 1 0\nl 1 2 3 1\n");
    CHECK(run("generate quad-cube - --quiet").out.find("f 1 2 6 5\n") != std::string::npos);
    Run const piped = run("generate cube -");
    CHECK(piped.out.rfind("v ", 0) == 0);
    CHECK(piped.err.find("cube: 24 vertices, 12 triangles") == 0);
    CHECK(piped.err.find("16 vertices coincide with others") != std::string::npos);
    Run const cube = run("generate cube --quiet " + out);
    CHECK(run("check " + out).code == 0);
    CHECK(run("weld " + out + " " + out).out.find("16 vertices coincide") != std::string::npos);
    CHECK(run("generate sphere --list").out.rfind("sphere: ", 0) == 0);
    CHECK(run("generate --list --json cube").json()["shapes"].size() == 1);
}

TEST_CASE("generateRefusesInOneLine") {
    TemporaryFolder const folder;
    std::string const out = " " + (folder / "out.obj");
    refuses("generate", 2, "SHAPE and OUT");
    refuses("generate sphre" + out, 2, "is it 'sphere'?");
    refuses("generate teapot" + out, 2, "there is no shape 'teapot'");
    refuses("generate ''" + out, 2, "SHAPE and OUT");
    refuses("generate teapot --list", 2, "there is no shape");
    refuses("generate sphere", 2, "SHAPE and OUT");
    refuses("generate sphere --list" + out, 2, "--list writes no mesh");
    refuses("generate sphere" + out + " --inner 1", 2, "--inner: is no parameter of sphere");
    refuses("generate sphere" + out + " --closed", 2, "--closed: is no parameter");
    refuses("generate sphere" + out + " --radius 0", 2, "--radius: takes a length");
    refuses("generate sphere" + out + " --radius", 2, "--radius");
    refuses("generate sphere" + out + " --radius 1 --radius 2", 2, "more than once");
    refuses("generate sphere" + out + " --centre 1,2", 2, "takes x,y,z");
    refuses("generate sphere" + out + " --height 1", 2, "--height");
    refuses("generate sphere" + out + " --radius 3e38 --centre 3e38,0,0", 5, "3.4e38");
    refuses("generate polygon" + out + " --point 0,0 --point 1,0", 5, "turn left");
    refuses("generate sphere" + out + " --segments 9459 --max-memory 100M", 5, "--max-memory");
    refuses("generate circle" + out + " --segments 700000000 --max-memory 1G", 5, "needs about");
    refuses("generate octahedron" + out + " --levels 13 --max-memory 8G", 5, "octahedron: needs");
    refuses("generate sphere --json -", 2, "standard output");
    refuses("generate circle " + (folder / "out.stl"), 4, ".obj");
    refuses("generate sphere " + (folder / "out.xyz"), 4, "out.xyz");
    refuses("generate sphere " + (folder / "none/out.obj"), 4, "there is no folder");
    refuses("generate circle " + (folder / "none/out.obj"), 4, "there is no folder");
    CHECK(!fs::exists(folder / "out.obj"));
}
