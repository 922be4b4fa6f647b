// The command from outside: exit codes, one line for each failure, JSON alone on standard output, and no output file
// that is half written.

#include "app/runCommand.h"
#include "support/builders.h"
#include "toolkit/sampleMeshes.h"
#include "toolkit/writeMesh.h"

#include <chrono>
#include <doctest/doctest.h>

using namespace commandTest;

namespace {

void store(std::string const& path, koGeom::CompactMesh const& mesh) {
    REQUIRE(trimora::writeMesh(path, mesh));
}

}  // namespace

TEST_CASE("checkTellsEveryDefectOfADamagedScan") {
    TemporaryFolder const folder;
    store(folder / "damaged.obj", trimora::makeDamagedScan(4, 1));

    Run const check = run("check --json " + (folder / "damaged.obj"));
    CHECK(check.code == 1);
    CHECK(check.err.empty());
    auto const json = check.json();
    for (char const* const key :
         {"file", "vertices", "triangles", "components", "boundaries", "boundaryEdges",
          "eulerCharacteristic", "closed", "duplicateTriangles", "degenerateTriangles",
          "nonManifoldEdges", "nonManifoldVertices", "oriented", "intersectingTriangles",
          "foldedEdges", "clean", "read"}) {
        CAPTURE(key);
        CHECK(json.contains(key));
    }
    CHECK(json["degenerateTriangles"] > 0);
    CHECK(json["coincidentVertices"] > 0);
    CHECK(json["clean"] == false);

    Run const text = run("check " + (folder / "damaged.obj"));
    CHECK(text.code == 1);
    CHECK(text.out.find("NOT clean") != std::string::npos);
    CHECK(run("check --quiet " + (folder / "damaged.obj")).out.empty());
}

TEST_CASE("repairLeavesACleanMeshAndTellsEachStep") {
    TemporaryFolder const folder;
    store(folder / "damaged.obj", trimora::makeDamagedScan(4, 1));

    Run const repair =
        run("repair --json " + (folder / "damaged.obj") + " " + (folder / "clean.obj"));
    REQUIRE(repair.code == 0);
    auto const json = repair.json();
    CHECK(json["fullyRepaired"] == true);
    CHECK(json["before"]["clean"] == false);
    CHECK(json["after"]["oriented"] == true);
    CHECK(json["after"]["nonManifoldEdges"] == 0);
    CHECK(json["after"]["nonManifoldVertices"] == 0);
    CHECK(json["after"]["duplicateTriangles"] == 0);
    int removed = 0;
    std::vector<std::string> names;
    for (auto const& step : json["steps"]) {
        removed += step["trianglesRemoved"].get<int>();
        names.push_back(step["what"]);
    }
    CHECK(json["before"]["triangles"].get<int>() - removed ==
          json["after"]["triangles"].get<int>());
    CHECK(names.front() == "weld coincident vertices");
    for (char const* const what :
         {"remove duplicate and degenerate triangles", "orient", "remove a Moebius strip",
          "remove surplus triangles on non-manifold edges"}) {
        CAPTURE(what);
        CHECK(std::find(names.begin(), names.end(), what) != names.end());
    }

    SUBCASE("a repaired file needs no repair") {
        Run const again =
            run("repair --no-weld --json " + (folder / "clean.obj") + " " + (folder / "again.obj"));
        CHECK(again.code == 0);
        CHECK(again.json()["steps"].empty());
        CHECK(contentOf(folder / "again.obj") == contentOf(folder / "clean.obj"));
        Run const welded =
            run("repair --json " + (folder / "clean.obj") + " " + (folder / "welded.obj"));
        CHECK(welded.json()["after"]["vertices"] == json["after"]["vertices"]);
        CHECK(welded.json()["after"]["triangles"] == json["after"]["triangles"]);
    }
    SUBCASE("a dry run writes nothing") {
        int const before = folder.size();
        CHECK(
            run("repair --dry-run " + (folder / "damaged.obj") + " " + (folder / "no.obj")).code ==
            0);
        CHECK(run("repair --dry-run " + (folder / "damaged.obj")).code == 0);
        CHECK(folder.size() == before);
    }
    SUBCASE("a pipe does what files do") {
        Run const piped = run("repair - - <" + (folder / "damaged.obj"));
        CHECK(piped.code == 0);
        CHECK(piped.out == contentOf(folder / "clean.obj"));
    }
}

TEST_CASE("refusesIntersectionsWithoutWeldingWhereVerticesCoincide") {
    TemporaryFolder const folder;
    store(folder / "soup.obj", support::soup(support::sphere(2)));
    CHECK(run("repair --no-weld --self-intersections " + (folder / "soup.obj") + " " +
              (folder / "out.obj"))
              .failedWith(5));
    store(folder / "spheres.obj",
          support::joined(support::sphere(2), support::sphere(2), 0.7f, 0.1f, 0.05f));
    Run const repair = run("repair --json --no-weld --self-intersections " +
                           (folder / "spheres.obj") + " " + (folder / "out.obj"));
    CHECK(repair.code == 0);
    CHECK(repair.json()["before"]["intersectingTriangles"] > 0);
    CHECK(repair.json()["after"]["intersectingTriangles"] == 0);
}

TEST_CASE("keepsAUnremovableMoebiusStripAndSaysSo") {
    TemporaryFolder const folder;
    store(folder / "strip.obj", support::moebius(9));
    Run const repair = run("repair --json " + (folder / "strip.obj") + " " + (folder / "out.obj"));
    CHECK(repair.code == 1);
    CHECK(repair.json()["fullyRepaired"] == false);
    CHECK(repair.json()["after"]["triangles"] == 18);
}

TEST_CASE("everyFailureHasItsCodeAndOneLine") {
    TemporaryFolder const folder;
    store(folder / "cube.obj", support::cube());
    std::string const cube = folder / "cube.obj";
    CHECK(run("").failedWith(2));
    CHECK(run("polish " + cube).failedWith(2));
    CHECK(run("check").failedWith(2));
    CHECK(run("check --angle 700 " + cube).failedWith(2));
    CHECK(run("check --max-memory lots " + cube).failedWith(2));
    CHECK(run("repair " + cube).failedWith(2));
    CHECK(run("convert --json " + cube + " -").failedWith(2));
    CHECK(run("check " + (folder / "absent.obj")).failedWith(3));
    CHECK(run("check " + (folder / ".")).failedWith(3));
    CHECK(run("check ''").failedWith(3));
    CHECK(run("weld " + cube + " ''").failedWith(4));
    CHECK(run("curvature " + cube + " ''").failedWith(4));
    CHECK(run("check " + (folder / "cube.xyz123")).failedWith(3));
    CHECK(run("convert " + cube + " " + (folder / "no/such/folder.obj")).failedWith(4));
    CHECK(run("convert " + cube + " " + (folder / "cube.xyz123")).failedWith(4));
    CHECK(run("check --timeout nan " + cube).failedWith(2));
    CHECK(run("check --max-memory 0.5 " + cube).failedWith(2));
    CHECK(run("check --max-memory 1K " + cube).failedWith(5));
    CHECK(folder.size() == 1);
    fs::create_symlink("/dev/full", folder / "full.obj");  // a format is needed to get that far
    Run const full = run("weld " + cube + " " + (folder / "full.obj"));
    CHECK(full.failedWith(4));
    CHECK(full.err.find("No space left") != std::string::npos);
}

TEST_CASE("repairTellsWhatItWasNotAskedToMend") {
    TemporaryFolder const folder;
    store(folder / "spheres.obj",
          support::joined(support::sphere(2), support::sphere(2), 0.7f, 0.1f, 0.05f));
    Run const repair = run("repair --dry-run " + (folder / "spheres.obj") + " -");
    CHECK(repair.code == 0);
    CHECK(repair.out.find("--self-intersections removes them") != std::string::npos);
}

TEST_CASE("checkShowsWhereNeighboursAreWoundAgainstEachOther") {
    TemporaryFolder const folder;
    writeFile(folder / "wound.obj", "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nf 1 2 3\nf 1 4 3\n");
    auto const json = run("check --json " + (folder / "wound.obj")).json();
    CHECK(json["oriented"] == false);
    // Triangle 0 runs 2-0 and so does triangle 1 (0 3 2).
    CHECK(json["first"]["oriented"][0]["elements"] == nlohmann::json({2, 0}));
}

TEST_CASE("oddFilesEndInAClearOutcome") {
    TemporaryFolder const folder;
    std::string const path = folder / "odd.obj";
    auto const checkCode = [&path](std::string const& text) {
        writeFile(path, text);
        return run("check --json " + path).code;
    };
    CHECK(checkCode("v 1 2 3\n") == 0);
    CHECK(checkCode("v 1 2 3\nv 4 5 6") == 0);
    CHECK(checkCode("v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 2\n") == 1);
    CHECK(checkCode("v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 9\nf 1 2 3\n") == 0);
    CHECK(checkCode("v nan 0 0\nv 1 0 0\nv 0 inf 0\nv 0 0 1\nf 1 2 3\nf 2 3 4\n") < 2);
    CHECK(checkCode("v 0 0 0\nv 1e-30 0 0\nv 0 1e-30 0\nf 1 2 3\n") == 0);
    CHECK(checkCode("v 0 0 0\nv 1e30 0 0\nv 0 1e30 0\nf 1 2 3\n") == 0);

    Run const kept = run("info --json " + path);
    CHECK(kept.code == 0);
    writeFile(path, "v nan 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\nf 1 2 3\nf 2 3 4\n");
    CHECK(run("info " + path).err.find("--drop-nonfinite") != std::string::npos);
    CHECK(run("info --json --drop-nonfinite " + path).json()["triangles"] == 1);
}

TEST_CASE("curvatureWritesOneValueAVertex") {
    TemporaryFolder const folder;
    store(folder / "sphere.obj", support::sphere(4));
    Run const text = run("curvature --kind gaussian --json " + (folder / "sphere.obj") + " " +
                         (folder / "k.txt"));
    REQUIRE(text.code == 0);
    CHECK(text.json()["mean"].get<double>() == doctest::Approx(1.0).epsilon(0.05));
    std::string const lines = contentOf(folder / "k.txt");
    CHECK(std::count(lines.begin(), lines.end(), '\n') == text.json()["vertices"].get<int>());
    REQUIRE(run("curvature " + (folder / "sphere.obj") + " " + (folder / "k.json")).code == 0);
    auto const json = nlohmann::json::parse(contentOf(folder / "k.json"));
    CHECK(json["values"].size() == json["vertices"].get<std::size_t>());
}

TEST_CASE("weldJoinsASoupAndConvertKeepsIt") {
    TemporaryFolder const folder;
    store(folder / "soup.obj", support::soup(support::sphere(2)));
    Run const weld =
        run("weld --json --threads 2 " + (folder / "soup.obj") + " " + (folder / "welded.obj"));
    CHECK(weld.code == 0);
    CHECK(weld.json()["verticesAfter"] == support::sphere(2).getNumVertices());
    CHECK(run("convert --quiet " + (folder / "welded.obj") + " " + (folder / "copy.obj")).code ==
          0);
    CHECK(contentOf(folder / "welded.obj") == contentOf(folder / "copy.obj"));
}

TEST_CASE("aDeadlineAndAnInterruptEndWithSixAndLeaveNothing") {
    TemporaryFolder const folder;
    store(folder / "big.obj", support::soup(support::sphere(8)));
    Run const late = run("repair --self-intersections --timeout 0.05 " + (folder / "big.obj") +
                         " " + (folder / "out.obj"));
    CHECK(late.code == 6);
    CHECK(std::count(late.err.begin(), late.err.end(), '\n') == 1);
    CHECK(folder.size() == 1);

    // How soon the process is up and how long it works depends on the machine and on sanitizers.
    bool wasCancelled = false;
    for (char const* const delay : {"0.15", "0.3", "0.6", "1.2", "2.4"}) {
        Run const stopped =
            run("repair --self-intersections " + (folder / "big.obj") + " " + (folder / "out.obj"),
                std::string("timeout --foreground --signal=INT ") + delay);
        wasCancelled = stopped.err.find("cancelled") != std::string::npos;
        if (wasCancelled) {
            CHECK(stopped.code == 124);  // what timeout(1) answers when it had to send its signal
            CHECK(folder.size() == 1);
            break;
        }
        fs::remove(folder / "out.obj");
    }
    CHECK(wasCancelled);
}

// The command waits for its input all the while, which it does not poll: the first interrupt alone would have half a second's grace.
TEST_CASE("aSecondInterruptEndsAtOnce") {
    Running command("check --progress always -");
    REQUIRE(command.says("reading"));
    for (int i = 0; i < 10; ++i) {  // two that come at once count as one
        command.interrupt();
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    Run const ended = command.wait();
    CHECK(ended.code == 6);
    CHECK(ended.out.empty());
    CHECK(ended.err.find("\r\033[Ktrimora: interrupted twice; ended at once\n") !=
          std::string::npos);
}

TEST_CASE("theBarGivesWayToWhatIsTold") {
    std::string const bar = "\r\033[Kreading";
    Running command("check --progress always --debug -");
    REQUIRE(command.says(bar));
    command.write("v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\nf 1 2 9\n");
    command.finishInput();
    Run const ended = command.wait();
    CHECK(ended.code == 0);
    CHECK(ended.err.find(
              "\r\033[Ktrimora: warning: standard input: 1 of 2 faces could not be used\n") !=
          std::string::npos);
    std::size_t const message = ended.err.find("meshManifold:  vertices 3  triangles 1");
    REQUIRE(message != std::string::npos);
    bool const beginsALine =
        ended.err[message - 1] == '\n' || ended.err.compare(message - 4, 4, "\r\033[K") == 0;
    CHECK(beginsALine);

    Running quiet("check --progress always --quiet -");
    std::this_thread::sleep_for(std::chrono::seconds(1));
    quiet.write("v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    quiet.finishInput();
    CHECK(quiet.wait().err.empty());
}

TEST_CASE("debugMessagesGoToStandardErrorAlone") {
    TemporaryFolder const folder;
    store(folder / "cube.obj", support::cube());
    Run const plain = run("check --json " + (folder / "cube.obj"));
    Run const debug = run("check --json --debug " + (folder / "cube.obj"));
    CHECK(plain.err.empty());
    CHECK(debug.err.find("meshManifold:  vertices 8  triangles 12") != std::string::npos);
    CHECK(debug.out == plain.out);
}

TEST_CASE("threadsChangeNoByte") {
    TemporaryFolder const folder;
    store(folder / "damaged.obj", trimora::makeDamagedScan(5, 2));
    auto const everything = [&folder](std::string const& threads) {
        std::string const common = " --json --threads " + threads + " " + (folder / "damaged.obj");
        std::string bytes = run("check" + common).out + run("info" + common).out;
        auto repair =
            run("repair --self-intersections --angle 20" + common + " " + (folder / "out.obj"))
                .json();
        for (auto& step : repair["steps"])
            step.erase("seconds");
        bytes += repair.dump() + contentOf(folder / "out.obj");
        bytes += run("curvature" + common + " " + (folder / "out.txt")).out;
        return bytes + contentOf(folder / "out.txt");
    };
    std::string const expected = everything("1");
    for (char const* const threads : {"2", "3", "7"}) {
        CAPTURE(threads);
        CHECK(everything(threads) == expected);
    }
}

TEST_CASE("anExistingOutputOutlivesAFailure") {
    TemporaryFolder const folder;
    store(folder / "mesh.obj", support::soup(support::sphere(6)));
    writeFile(folder / "out.obj", "old");
    std::string const files = (folder / "mesh.obj") + " " + (folder / "out.obj");
    CHECK(run("repair --self-intersections --timeout 0.001 " + files).failedWith(6));
    CHECK(contentOf(folder / "out.obj") == "old");

    Run const full = run("convert " + files, "ulimit -f 64;");
    CHECK(full.failedWith(4));
    CHECK(full.err.find("File too large") != std::string::npos);
    CHECK(contentOf(folder / "out.obj") == "old");
    CHECK(folder.size() == 2);
}

TEST_CASE("helpAndVersionAreNoFailures") {
    CHECK(run("--help").code == 0);
    CHECK(run("--version").code == 0);
    CHECK(run("repair --help").out.find("--dry-run") != std::string::npos);
}
