// How edits end where they cannot do what was asked: refusals as objects, signals, times that are up, parts all or none.

#include "app/editRun.h"
#include "support/builders.h"
#include "toolkit/sampleMeshes.h"

#include <algorithm>
#include <doctest/doctest.h>

using namespace commandTest;

TEST_CASE("refusalsTellTheirPlaceInJson") {
    TemporaryFolder const folder;
    store(folder / "bow.obj", support::bowTie());
    Run const cut = run("extrude --json " + (folder / "bow.obj") + " " + (folder / "out.obj") +
                        " --selection all --distance 1");
    CHECK(cut.code == 5);
    CHECK(std::count(cut.err.begin(), cut.err.end(), '\n') == 1);
    CHECK(cut.json()["file"] == folder / "bow.obj");
    CHECK(cut.json()["refusal"].get<std::string>().find("(1 such vertex)") != std::string::npos);
    CHECK(cut.json()["problemPoint"].size() == 3);
    store(folder / "sphere.obj", support::sphere(2));
    Run const miss = run("cut --json " + (folder / "sphere.obj") + " " + (folder / "out.obj") +
                         " --plane 1,0,0,9");
    CHECK(miss.code == 5);
    CHECK(miss.json()["problemPoint"].is_null());

    writeFile(folder / "inside.txt", "0.9 0.1 0.1\n0.1 0.9 0.1\n");
    Run const inside = run("cut --json " + (folder / "sphere.obj") + " " + (folder / "out.obj") +
                           " --curve " + (folder / "inside.txt"));
    CHECK(inside.code == 5);
    CHECK(inside.json()["file"] == folder / "inside.txt");
    CHECK(inside.json()["problemPoint"].size() == 3);
    writeFile(folder / "nan.obj", "v 0 0 0\nv 1 0 0\nv 0 nan 0\nf 1 2 3\n");
    Run const nan = run("extrude --quiet --json " + (folder / "nan.obj") + " " +
                        (folder / "out.obj") + " --selection all --distance 1");
    CHECK(nan.json()["problemPoint"] == nlohmann::json({0.0, 0.0, 0.0}));
}

// Once, some refusals left standard output empty.
TEST_CASE("everyRefusalIsAnObjectWithJson") {
    TemporaryFolder const folder;
    std::string const in = folder / "g-1.obj";
    store(in, support::grid(4, 4));
    std::string const files = in + " " + (folder / "g.obj");
    for (std::string const& work :
         {"subdivide --levels 15 " + files, "subdivide --levels 9 --max-memory 1M " + files,
          "check --max-memory 10K " + in, "check --max-memory 1K " + in,
          "cut --split --plane 1,0,0,-1.5 " + files, "reduce --collapse 0.01 " + files}) {
        CAPTURE(work);
        Run const refused = run(work + " --json");
        REQUIRE(refused.code == 5);
        CHECK(refused.json()["file"] == in);
        CHECK(refused.json().contains("problemPoint"));
        CHECK(refused.err ==
              "trimora: " + in + ": " + refused.json()["refusal"].get<std::string>() + "\n");
    }
    CHECK(run("cut --json --plane 1 " + files).out.empty());  // no refusal
}

TEST_CASE("partsNeverHideWhatWasThere") {
    TemporaryFolder const folder;
    std::string const in = folder / "grid.obj";
    std::string const cut = " --split --plane 1,0,0,-1.5 ";
    store(in, support::grid(4, 4));
    for (char const* const name :
         {"p-2.obj", "p-9.obj", "p-10.obj", "p-010.obj", "p-x.obj", "q-3.obj"})
        writeFile(folder / name, "v 0 0 0\n");
    auto const json = run("cut --json" + cut + in + " " + (folder / "p.obj")).json();
    CHECK(json["output"].is_null());
    CHECK(json["parts"].size() == 2);
    CHECK(json["otherParts"] == nlohmann::json({folder / "p-9.obj", folder / "p-10.obj"}));
    CHECK(checkOf(folder / "p-2.obj")["triangles"] == json["parts"][1]["triangles"]);
    CHECK(fs::exists(folder / "p-9.obj"));
    CHECK(run("cut" + cut + in + " " + (folder / "p.obj"))
              .out.find("2 files of the same form from an earlier run stayed") !=
          std::string::npos);

    fs::copy_file(in, folder / "r-2.obj");
    refuses("cut" + cut + (folder / "r-2.obj") + " " + (folder / "r.obj"), 5, "is the input");
    CHECK_FALSE(fs::exists(folder / "r-1.obj"));
    store(folder / "soup.obj", support::soup(support::grid(4, 4)));
    refuses("cut --max-parts 35" + cut + (folder / "soup.obj") + " " + (folder / "s.obj"), 5,
            "--max-parts");
    CHECK_FALSE(fs::exists(folder / "s-1.obj"));
    CHECK(run("cut --max-parts 2" + cut + in + " " + (folder / "s.obj")).code == 0);
}

TEST_CASE("editsEndWithSixAndLeaveNothingWhenTimeIsUp") {
    TemporaryFolder const folder;
    std::string const in = folder / "big.obj";
    store(in, trimora::makeScan(8, 1));
    for (std::string const work : {"reduce --fraction 0.01", "reduce --collapse 0.01",
                                   "subdivide --levels 2", "reduce --tolerance 1%"}) {
        CAPTURE(work);
        Run const late = run(work + " --timeout 0.4 " + in + " " + (folder / "out.obj"));
        CHECK(late.code == 6);
        CHECK(std::count(late.err.begin(), late.err.end(), '\n') == 1);
        CHECK(folder.size() == 1);
    }
}

// Once, what was done between two looks of the watcher was written however late it was.
TEST_CASE("aTimeThatIsUpBeforeTheWorkEndsEveryEdit") {
    TemporaryFolder const folder;
    std::string const in = folder / "small.obj";
    store(in, support::grid(2, 2));
    for (std::string const work :
         {"reduce --fraction 0.5", "cut --plane 1,0,0,-0.5", "subdivide", "convert", "weld",
          "extrude --selection all --distance 1", "repair"}) {
        CAPTURE(work);
        CHECK(run(work + " --timeout 1e-9 " + in + " " + (folder / "out.obj")).failedWith(6));
        CHECK(folder.size() == 1);
    }
    CHECK(run("verify --timeout 1e-9 " + in).failedWith(6));
    CHECK(run("check --timeout 1e-9 " + in).failedWith(6));
}

// Where the progress is polled and where the process is what ends.
TEST_CASE("anInterruptEndsAnEditInTheMiddle") {
    TemporaryFolder const folder;
    std::string const in = folder / "big.obj";
    store(in, trimora::makeScan(8, 1));
    for (std::string const work : {"reduce --fraction 0.01", "reduce --collapse 0.01"}) {
        CAPTURE(work);
        Running running(work + " --progress always " + in + " " + (folder / "out.obj"));
        REQUIRE(running.says("reducing"));
        running.interrupt();
        Run const ended = running.wait();
        CHECK(ended.code == 6);
        CHECK(ended.out.empty());
        CHECK(ended.err.find("trimora: cancelled; nothing was written\n") != std::string::npos);
        CHECK(folder.size() == 1);
    }
}

TEST_CASE("aTimeThatIsUpInTheMiddleEndsAnEdit") {
    TemporaryFolder const folder;
    std::string const in = folder / "big.obj";
    store(in, trimora::makeScan(8, 1));
    // As long as it takes to read, and longer, until an edit was met at work.
    for (std::string const work : {"reduce --fraction 0.01", "reduce --collapse 0.01"}) {
        CAPTURE(work);
        bool wasMetAtWork = false;
        for (double seconds = 0.7; seconds < 60.0 && !wasMetAtWork; seconds *= 1.6) {
            Run const late = run(work + " --progress always --timeout " + std::to_string(seconds) +
                                 " " + in + " " + (folder / "out.obj"));
            REQUIRE(late.code == 6);
            CHECK(late.err.find("trimora: timed out; nothing was written") != std::string::npos);
            CHECK(folder.size() == 1);
            wasMetAtWork = late.err.find("reducing") != std::string::npos;
        }
        CHECK(wasMetAtWork);
    }
}

// Once, the parts before the one that did not fit had replaced what stood there.
TEST_CASE("partsThatCannotAllBeWrittenReplaceNone") {
    TemporaryFolder const folder;
    std::string const in = folder / "grid.obj";
    store(in, support::grid(60, 60));
    writeFile(folder / "p-1.obj", "old");
    writeFile(folder / "p-2.obj", "old too");
    // The limit holds the small part, not the large one, whichever comes first.
    for (std::string const plane : {"1,0,0,-2.5", "-1,0,0,57.5"}) {
        Run const full = run("cut --split --plane " + plane + " " + in + " " + (folder / "p.obj"),
                             "ulimit -f 40;");
        CHECK(full.failedWith(4));
        CHECK(contentOf(folder / "p-1.obj") == "old");
        CHECK(contentOf(folder / "p-2.obj") == "old too");
        CHECK(folder.size() == 3);
    }
    CHECK(run("cut --split --plane 1,0,0,-2.5 " + in + " " + (folder / "p.obj")).code == 0);
}
