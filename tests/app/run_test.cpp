// A pipe of tasks against the same commands through files, and what it refuses.

#include "app/editRun.h"
#include "app/runCommand.h"
#include "support/builders.h"
#include "support/captureBinding.h"
#include "toolkit/sampleMeshes.h"

#include <doctest/doctest.h>

using namespace commandTest;

namespace {

/// Two quads and a pentagon, which a subdivision sees as such.
constexpr char polygonsText[] = "v 0 0 0\nv 1 0 0\nv 2 0 0\nv 2 1 0\nv 1 1 0\nv 0 1 0\nv 3 0.5 0\n"
                                "f 1 2 5 6\nf 2 3 4 5\nf 3 7 4\n";

std::vector<std::string> stagesOf(std::string const& task) {
    std::vector<std::string> stages;
    std::istringstream text(task);
    for (std::string stage; std::getline(text, stage, '|');)
        stages.push_back(stage);
    return stages;
}

std::string commandIn(std::string const& stage) {
    std::istringstream words(stage);
    std::string command;
    words >> command;
    return command;
}

bool isReport(std::string const& command) {
    return command == "check" || command == "measure" || command == "info" || command == "verify";
}

struct Outcome {
    std::vector<int> codes;
    std::string bytes;
};

/// Each stage as a command of its own, with a file behind it.
Outcome throughFiles(TemporaryFolder const& folder, std::string const& input,
                     std::string const& task) {
    Outcome outcome;
    std::string last = input;
    int number = 0;
    for (std::string const& stage : stagesOf(task)) {
        std::string const command = commandIn(stage);
        std::string const options = stage.substr(stage.find(command) + command.size());
        std::string const next = folder / ("step-" + std::to_string(number++) + ".obj");
        bool const reports = isReport(command);
        Run const result =
            run(command + " " + last + " " + (reports ? "" : next) + options + " --threads 1");
        outcome.codes.push_back(result.code);
        last = reports ? last : next;
    }
    outcome.bytes = contentOf(last);
    return outcome;
}

}  // namespace

TEST_CASE("pipesWriteTheBytesThatFilesBetweenWouldHaveGiven") {
    TemporaryFolder const folder;
    store(folder / "scan.obj", trimora::makeDamagedScan(4, 1));
    writeFile(folder / "polygons.obj", polygonsText);
    writeFile(folder / "far.obj",
              "v 4321234.5678 512345.678 100.25\nv 4321235.5678 512345.678 100\n"
              "v 4321234.5678 512346.678 100.5\nv 4321235.1 512346.1 101.125\n"
              "f 1 2 3\nf 2 4 3\n");
    std::pair<char const*, char const*> const cases[] = {
        {"scan.obj", "repair --self-intersections | fill --quality fair | reduce --tolerance 0.1%"},
        {"scan.obj", "weld | smooth --laplacian 3 | check | reduce --collapse 50% | measure"},
        {"scan.obj", "info | repair | cut --plane 1,0.2,0.1,0.01 --no-measure | fill --holes all "
                     "--quality flat | verify"},
        {"scan.obj", "repair | fill --holes all | offset --distance 1% --no-intersections"},
        {"scan.obj", "repair | strips --max-length 30 | smooth --laplacian 1 | info"},
        {"polygons.obj", "weld | extrude --selection all --distance 0.1 | strips --max-length 30"},
        {"polygons.obj", "subdivide | subdivide --levels 2"},
        {"polygons.obj", "convert | verify | subdivide | check | weld"},
        {"polygons.obj", "flatten | smooth --laplacian 1 | subdivide"},
        {"far.obj", "weld | subdivide | check"}};
    for (auto const& [name, task] : cases) {
        CAPTURE_BINDING(name);
        CAPTURE_BINDING(task);
        std::string const input = folder / name;
        std::string const output = folder / "out.obj";
        Outcome const expected = throughFiles(folder, input, task);
        Run const pipe =
            run("run --json --threads 1 " + input + " " + output + " --task '" + task + "'");
        CAPTURE(pipe.err);
        REQUIRE(pipe.code <= 1);
        CHECK((contentOf(output) == expected.bytes));
        CHECK(!expected.bytes.empty());
        auto const stages = pipe.json()["stages"];
        REQUIRE(stages.size() == expected.codes.size());
        for (std::size_t i = 0; i < stages.size(); ++i) {
            CAPTURE(i);
            CHECK(stages[i]["command"] == commandIn(stagesOf(task)[i]));
            CHECK(stages[i]["exitCode"] == expected.codes[i]);
            CHECK(stages[i]["file"] == input);
        }
    }
}

TEST_CASE("aPipeTellsWhatItsStagesTell") {
    TemporaryFolder const folder;
    store(folder / "scan.obj", trimora::makeDamagedScan(3, 1));
    std::string const files = (folder / "scan.obj") + " " + (folder / "out.obj");

    auto const json =
        run("run --json " + files + " --task 'repair  |  reduce --fraction \"50%\"'").json();
    CHECK(json["file"] == folder / "scan.obj");
    CHECK(json["output"] == folder / "out.obj");
    CHECK(json["task"] == "repair | reduce --fraction 50%");
    CHECK(json["stages"][0]["output"].is_null());
    CHECK(json["stages"][0]["fullyRepaired"] == true);
    CHECK(json["stages"][1]["output"] == folder / "out.obj");
    CHECK(json["stages"][1]["options"] == "--fraction 50%");
    CHECK(json["stages"][0]["after"]["triangles"] == json["stages"][1]["before"]["triangles"]);

    Run const text = run("run " + files + " --task 'repair | check'");
    CHECK(text.out.find("stage 1 (repair)") != std::string::npos);
    CHECK(text.out.find("  written to " + (folder / "out.obj")) != std::string::npos);
    CHECK(run("run --quiet " + files + " --task repair").out.empty());

    Run const stream = run("run - - --task 'repair | weld'", "cat " + (folder / "scan.obj") + " |");
    REQUIRE(stream.code == 0);
    CHECK(run("run " + files + " --task 'repair | weld'").code == 0);
    CHECK((stream.out == contentOf(folder / "out.obj")));
    CHECK(stream.err.find("stage 2 (weld)") != std::string::npos);
}

// What was reported of a mesh that a later stage changed does not count.
TEST_CASE("theCodeOfAPipeIsThatOfItsResult") {
    TemporaryFolder const folder;
    store(folder / "scan.obj", trimora::makeDamagedScan(3, 1));
    auto const codeOf = [&folder](std::string const& task) {
        return run("run " + (folder / "scan.obj") + " " + (folder / "out.obj") + " --task '" +
                   task + "'")
            .code;
    };
    CHECK(codeOf("check") == 1);
    CHECK(fs::exists(folder / "out.obj"));
    CHECK(codeOf("check | repair") == 0);
    CHECK(codeOf("check | repair | weld") == 0);
    CHECK(codeOf("verify | repair | verify") == 0);
    CHECK(codeOf("weld | check | info") == 1);
    // Holes that stay open count although the mesh was changed later.
    CHECK(codeOf("repair | fill --holes all --max-triangles 1 --quality flat | weld") ==
          run("fill " + (folder / "scan.obj") + " " + (folder / "o.obj") +
              " --holes all --max-triangles 1 --quality flat")
              .code);
}

TEST_CASE("tasksAreQuotedAsInAShell") {
    TemporaryFolder const folder;
    store(folder / "in.obj", trimora::makeScan(2, 1));
    writeFile(folder / "first two.txt", "0-1\n");
    std::string const files = (folder / "in.obj") + " " + (folder / "out.obj");
    std::string const path = folder.path();
    std::string const expected = [&] {
        run("smooth --laplacian 1 --selection \"" + path + "/first two.txt\" " + files);
        return contentOf(folder / "out.obj");
    }();
    REQUIRE(!expected.empty());
    for (std::string const& selection : std::vector<std::string>{
             "'" + path + "/first two.txt'", "\\\"" + path + "/first two.txt\\\"",
             path + "/first\\\\ two.txt", path + "/fi'rst two'.txt"}) {
        CAPTURE(selection);
        fs::remove(folder / "out.obj");
        Run const result =
            run("run " + files + " --task \"smooth\t--laplacian 1 --selection " + selection + "\"");
        CAPTURE(result.err);
        CHECK(result.code == 0);
        CHECK((contentOf(folder / "out.obj") == expected));
    }
}

// The input is not there: code 3 would tell that it was looked for.
TEST_CASE("faultsOfATaskAreToldBeforeAnythingIsRead") {
    TemporaryFolder const folder;
    std::string const files = (folder / "missing.obj") + " " + (folder / "out.obj") + " --task ";
    std::pair<char const*, char const*> const cases[] = {
        {"''", "stage 1 names no command"},
        {"'repair ||weld'", "stage 2 names no command"},
        {"'repair |'", "stage 2 names no command"},
        {"\"repair 'x\"", "ends within"},
        {"'repair \"x'", "ends within"},
        {"'repair \\'", "ends with a backslash"},
        {"'frobnicate'", "stage 1: 'frobnicate' is no command for a pipe"},
        {"'repair | render'", "stage 2: 'render' is no command for a pipe"},
        {"'run'", "is no command for a pipe"},
        {"'repair | batch'", "is no command for a pipe"},
        {"'repair | fill --no-such'", "stage 2 (fill)"},
        {"'repair other.obj'", "stage 1 (repair)"},
        {"'weld | repair --no-such 1 x'", "not expected: --no-such 1 x;"},
        {"'weld | reduce'", "stage 2 (reduce): reduce takes exactly one of"},
        {"'weld | reduce --tolerance x'", "stage 2 (reduce)"},
        {"'reduce --fraction= | weld'", "stage 1 (reduce)"},
        {"'repair --help'", "stage 1 (repair): a stage shows no help"},
        {"'repair --threads 2'", "stage 1 (repair): --threads is of the whole run"},
        {"'check --picture x.png'", "stage 1 (check): --picture"},
        {"'repair --dry-run'", "stage 1 (repair): --dry-run hands no mesh on"},
        {"'fill --list'", "stage 1 (fill): --list hands no mesh on"},
        {"'weld | cut --plane 0,0,1,0 --split'", "stage 2 (cut): --split"},
        {"'weld | convert --weld'", "stage 2 (convert): --weld"}};
    for (auto const& [task, words] : cases) {
        CAPTURE_BINDING(task);
        refuses("run " + files + task, 2, words);
    }
    refuses("run " + files + "weld", 3, "missing.obj");
    refuses("run " + (folder / "missing.obj") + " " + (folder / "out.xyz") + " --task weld", 4,
            "xyz");
    refuses("run --json " + (folder / "missing.obj") + " - --task weld", 2, "--json");
}

TEST_CASE("aRefusalInAStageEndsThePipeAndNothingIsWritten") {
    TemporaryFolder const folder;
    store(folder / "in.obj", trimora::makeScan(2, 1));
    writeFile(folder / "out.obj", "before\n");
    std::string const files = (folder / "in.obj") + " " + (folder / "out.obj") + " --task ";
    // No hole of a closed surface has that number.
    std::string const task =
        "'measure | weld | extrude --selection " + (folder / "none.txt") + " --distance 1 | weld'";
    refuses("run " + files + task, 3, "stage 3 (extrude)");
    CHECK((contentOf(folder / "out.obj") == "before\n"));

    writeFile(folder / "flat.obj", "v 1 2 3\n");
    Run const refused = run("run --json " + (folder / "flat.obj") + " " + (folder / "out.obj") +
                            " --task 'info | weld | stitch'");
    CHECK(refused.code == 5);
    auto const json = refused.json();
    CHECK(json["stage"] == 3);
    CHECK(json["command"] == "stitch");
    CHECK(json["file"] == folder / "flat.obj");
    CHECK(json["stages"].size() == 2);
    CHECK(json["refusal"].get<std::string>().find("no triangles") != std::string::npos);
    CHECK(refused.err.find(": stage 3 (stitch): ") != std::string::npos);
    CHECK((contentOf(folder / "out.obj") == "before\n"));

    refuses("run --max-memory 38K " + files + "'weld | check'", 5, "--max-memory");
    refuses("run --timeout 0.000001 " + files + "'weld | check'", 6, "timed out");
    CHECK((contentOf(folder / "out.obj") == "before\n"));
}

TEST_CASE("oddMeshesGetThroughAPipeOrAreRefused") {
    TemporaryFolder const folder;
    for (char const* const text : oddMeshes) {
        CAPTURE(text);
        writeFile(folder / "odd.obj", text);
        for (char const* const task :
             {"weld | repair --self-intersections | check", "subdivide | check | subdivide",
              "smooth --laplacian 2 | reduce --collapse 50% | measure", "repair | flatten",
              "fill --holes all | offset --distance 1% | strips --max-length 9"}) {
            CAPTURE(task);
            Run const result = run("run --json " + (folder / "odd.obj") + " " +
                                   (folder / "out.obj") + " --task '" + task + "'");
            CAPTURE(result.err);
            CHECK((result.code <= 1 || result.code == 5));
            CHECK(result.json().is_object());
        }
    }
}

TEST_CASE("aLineThatGoesOnBeginsNoWord") {
    TemporaryFolder const folder;
    store(folder / "in.obj", trimora::makeScan(2, 1));
    std::string const files = (folder / "in.obj") + " " + (folder / "out.obj") + " --json --task ";
    auto const taskOf = [&files](std::string const& task) {
        Run const result = run("run " + files + "'" + task + "'");
        return result.code <= 1 ? result.json()["task"].get<std::string>() : result.err;
    };
    CHECK(taskOf("repair \\\n| weld") == "repair | weld");
    CHECK(taskOf("\\\nre\\\npair|\\\n weld \\\n") == "repair | weld");
    CHECK(taskOf("weld \"\"").find("stage 1") != std::string::npos);  // an empty word is one
}
