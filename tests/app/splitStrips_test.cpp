// split and strips from outside: what they write, what they tell, and how they refuse.

#include "app/editRun.h"
#include "support/builders.h"
#include "toolkit/sampleMeshes.h"

#include <doctest/doctest.h>

using namespace commandTest;

namespace {

std::size_t filesIn(std::string const& folder) {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

}  // namespace

TEST_CASE("splitWritesPiecesOfBoundedSize") {
    TemporaryFolder const folder;
    std::string const scan = folder / "scan.obj";
    store(scan, trimora::makeScan(5, 1));
    Run const split = run("split --json " + scan + " " + (folder / "piece") + " --vertices 500");
    REQUIRE(split.code == 0);
    auto const json = split.json();
    CHECK(json["maxVertices"] == 500);
    CHECK(json["sharedVertices"].get<int>() > 0);
    CHECK(json["warnings"].empty());
    int triangles = 0;
    for (auto const& part : json["parts"]) {
        CHECK(part["vertices"].get<int>() <= 500);
        auto const info = run("info --json " + part["output"].get<std::string>()).json();
        CHECK(info["vertices"] == part["vertices"]);
        triangles += info["triangles"].get<int>();
    }
    CHECK(triangles == json["triangles"]);
    CHECK(json["parts"][0]["output"] == folder / "piece-001.obj");
    CHECK(filesIn(folder / "") == json["parts"].size() + 1);

    // Welded together again it is the surface that it was.
    std::string all;
    for (auto const& part : json["parts"])
        all += " " + part["output"].get<std::string>();
    REQUIRE(run("merge " + (folder / "whole.obj") + all).code == 0);
    auto const whole = run("info --json " + (folder / "whole.obj")).json();
    CHECK(whole["vertices"] == json["vertices"]);
    CHECK(whole["triangles"] == json["triangles"]);
    CHECK(checkOf(folder / "whole.obj")["closed"] == true);
}

TEST_CASE("splitWritesComponentsByTheirSize") {
    TemporaryFolder const folder;
    std::string const both = folder / "both.obj";
    store(both, support::joined(support::joined(support::triangle(), support::cube(), 5.0f),
                                support::meshOf({9, 9, 9}, {})));
    writeFile(folder / "part-003.obj", "an earlier run's");
    writeFile(folder / "part-0001.obj", "another one's");
    writeFile(folder / "part-1.obj", "of another form");
    writeFile(folder / "part-00x.obj", "of no form");
    Run const text = run("split " + both + " " + (folder / "part.obj") + " --components");
    REQUIRE(text.code == 0);
    CHECK(text.out.find("13 triangles in 2 components") != std::string::npos);
    CHECK(text.out.find("12 triangles written to " + (folder / "part-001.obj")) !=
          std::string::npos);
    CHECK(text.out.find("1 vertex that no triangle uses is in none") != std::string::npos);
    CHECK(text.out.find(
              "2 files of the same form from an earlier run stayed: " + (folder / "part-003.obj") +
              " to " + (folder / "part-0001.obj")) != std::string::npos);
    CHECK(contentOf(folder / "part-002.obj").find("f 1 2 3") != std::string::npos);
    CHECK(contentOf(folder / "part-003.obj") == "an earlier run's");
    CHECK(run("split --quiet - " + (folder / "in") + " --components", "cat " + both + " |").code ==
          0);
    CHECK(fs::exists(folder / "in-002.obj"));

    store(folder / "soup.obj", support::soup(support::sphere(4)));
    CHECK(run("split --quiet " + (folder / "soup.obj ") + (folder / "many") +
              " --components --max-parts 5000")
              .code == 0);
    CHECK(fs::exists(folder / "many-0001.obj"));
    CHECK(fs::exists(folder / "many-2048.obj"));
}

TEST_CASE("splitWritesAllOrNothing") {
    TemporaryFolder const folder;
    std::string const ball = folder / "ball.obj";
    store(ball, support::soup(support::sphere(2)));
    std::string const start = "split " + ball + " " + (folder / "part");
    refuses(start, 2, "exactly one of");
    refuses(start + " --components --vertices 10", 2, "exactly one of");
    for (char const* size : {"3", "0", "-1", "nan", "1e3", "4000000000", "''"})
        refuses(start + " --vertices " + size, 2, "--vertices");
    refuses(start + " --components --max-parts 0", 2, "--max-parts");
    refuses(start + " --components --max-parts 100", 5, "(--max-parts)");
    refuses(start + " --vertices 4 --max-parts 100", 5, "128 parts");
    refuses(start + " --components --max-memory 200K", 5, "--max-parts allows needs about");
    refuses("split " + ball + " - --components", 2, "name PREFIX");
    refuses("split " + ball + " '' --components", 4, "no name");
    refuses("split " + ball + " " + (folder / "none/part") + " --components", 4, "no folder");
    refuses("split " + ball + " " + (folder / "") + " --components", 4, "is a folder");
    refuses("split " + (folder / "none.obj ") + (folder / "part") + " --components", 3, "none.obj");
    fs::create_directory(folder / "part-007.obj");
    refuses(start + " --components", 4, "part-007.obj: is a folder");
    CHECK(filesIn(folder / "") == 2);
    store(folder / "own-002.obj", support::soup(support::cube()));
    refuses("split " + (folder / "own-002.obj ") + (folder / "own") + " --components", 5,
            "is the input");
    CHECK(filesIn(folder / "") == 3);
}

TEST_CASE("stripsTellWhatTheyCameTo") {
    TemporaryFolder const folder;
    std::string const scan = folder / "scan.obj";
    std::string const out = folder / "out.obj";
    store(scan, trimora::makeScan(4, 1));
    Run const plain = run("strips --json " + scan + " " + out + " --max-length 100");
    REQUIRE(plain.code == 0);
    auto const json = plain.json();
    CHECK(json["points"].get<int>() ==
          json["triangles"].get<int>() + 2 * json["strips"].get<int>());
    CHECK(json["longestStrip"].get<int>() <= 100);
    CHECK(json["compactness"].get<double>() ==
          doctest::Approx(2.0 * json["vertices"].get<double>() / json["points"].get<double>()));
    CHECK(json["vertexIncrease"].is_null());
    auto const check = checkOf(out);
    CHECK(check["closed"] == true);
    CHECK(check["oriented"] == true);
    CHECK(contentOf(out).find("\nf 1 2 3\nf 3 2 4\n") != std::string::npos);

    Run const cached =
        run("strips --json " + scan + " " + out + " --max-length 100 --single --cache 16");
    REQUIRE(cached.code == 0);
    CHECK(cached.json()["strips"] == 1);
    CHECK(cached.json()["joinedStrips"] == json["strips"]);
    CHECK(cached.json()["vertexIncrease"].get<double>() > 1.0);
    auto const info = run("info --json " + out).json();
    CHECK(info["vertices"] == cached.json()["writtenVertices"]);
    CHECK(info["triangles"] == json["triangles"]);
    REQUIRE(run("weld --quiet " + out + " " + (folder / "welded.obj")).code == 0);
    CHECK(run("info --json " + (folder / "welded.obj")).json()["vertices"] == json["vertices"]);

    Run const text = run("strips " + scan + " " + out + " --max-length 3 --cache 0");
    CHECK(text.out.find("2048 triangles in 2048 strips of 6144 points, the longest of 3") !=
          std::string::npos);
    CHECK(text.out.find("6144 with the copies for a cache of 0") != std::string::npos);
    CHECK(run("strips --quiet " + scan + " - --max-length 9").out.rfind("v ", 0) == 0);
}

TEST_CASE("stripsRefuseWhatTheyCannotUse") {
    TemporaryFolder const folder;
    std::string const sheet = folder / "sheet.obj";
    std::string const both = "strips " + sheet + " " + (folder / "out.obj");
    store(sheet, support::grid(3, 3));
    refuses(both, 2, "--max-length");
    for (char const* length : {"2", "0", "-3", "nan", "4000000000", "''"})
        refuses(both + " --max-length " + length, 2, "--max-length");
    for (char const* cache : {"-1", "x", "4000000000"})
        refuses(both + " --max-length 9 --cache=" + cache, 2, "--cache");
    refuses("strips --json " + sheet + " - --max-length 9", 2, "standard output");
    refuses("strips " + sheet + " " + (folder / "out.xyz") + " --max-length 9", 4, ".xyz");
    refuses("strips " + (folder / "none.obj ") + (folder / "out.obj") + " --max-length 9", 3,
            "none.obj");
    CHECK(!fs::exists(folder / "out.obj"));
}

TEST_CASE("splitAndStripsGetThroughOddMeshes") {
    TemporaryFolder const folder;
    std::string const odd = folder / "odd.obj ";
    for (char const* text : oddMeshes) {
        CAPTURE(text);
        writeFile(folder / "odd.obj", text);
        for (std::string const& command :
             {"split " + odd + (folder / "part") + " --components",
              "split " + odd + (folder / "part") + " --vertices 4",
              "strips " + odd + (folder / "out.obj") + " --max-length 3 --cache 0",
              "strips " + odd + (folder / "out.obj") + " --max-length 99 --single --cache 9"}) {
            CAPTURE(command);
            Run const result = run(command + " --quiet");
            CHECK((result.code == 0 || result.failedWith(5)));
        }
    }
}
