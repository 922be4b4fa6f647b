// What a batch counts as done when it is called again, and what a file, a drive or a reader that misbehaves costs it.

#include "app/batchFiles.h"
#include "support/captureBinding.h"

#include <doctest/doctest.h>
#include <set>

using namespace commandTest;

namespace {

constexpr char extruding[] = " --task 'extrude --selection sel.txt --distance 0.1' --out out";

bool areAllEarlier(Run const& run, int count) {
    std::string const number = std::to_string(count);
    return run.out.find("; " + number + " of them earlier") != std::string::npos;
}

Json lineOf(Files const& files, std::string const& input) {
    return resultsIn(files / "out/results.jsonl").at(input);
}

/// A file without contents on the disk, which takes long to read.
void storeHuge(std::string const& path) {
    writeFile(path, "");
    fs::resize_file(path, std::uintmax_t(30) << 30);
}

}  // namespace

TEST_CASE("theFilesThatATaskNamesBelongToIt") {
    Files const files({"a.obj", "b.obj"});
    writeFile(files / "sel.txt", "0\n1\n");
    REQUIRE(files.batch("list" + std::string(extruding)).code == 0);
    std::string const first = contentOf(files / "out/a.obj");
    CHECK(lineOf(files, "a.obj")["taskFiles"]["sel.txt"].get<std::string>().size() == 32);
    CHECK(areAllEarlier(files.batch("list" + std::string(extruding)), 2));

    writeFile(files / "sel.txt", "2\n");
    Run const changed = files.batch("list" + std::string(extruding));
    CHECK(changed.code == 0);
    CHECK(changed.out.find("earlier") == std::string::npos);
    CHECK((contentOf(files / "out/a.obj") != first));

    writeFile(files / "curve.obj", "0 0 0\n1 1 1\n");
    files.batch("list --task 'cut --curve curve.obj' --out out");
    CHECK(lineOf(files, "a.obj")["taskFiles"].contains("curve.obj"));

    fs::remove(files / "sel.txt");
    CHECK(files.batch("list" + std::string(extruding)).failedWith(3));
    CHECK(files.batch("list --task 'extrude --selection - --distance 1' --out out").failedWith(2));
    CHECK(files.batch("list --task 'smooth --laplacian 1 --selection all' --out out").code == 0);
    // An output is not to replace it.
    fs::create_directory(files / "s");
    fs::copy(files / "a.obj", files / "s/a.obj");
    CHECK(files.batch("list --task 'cut --curve s/a.obj' --out s").failedWith(2));
}

TEST_CASE("aFileOfTheTaskThatVanishesCondemnsNoInput") {
    Files const files({"a.obj"});
    store(files / "first.obj", trimora::makeScan(6, 2));
    writeFile(files / "list", "first.obj\na.obj\n");
    writeFile(files / "sel.txt", "0\n1\n");
    // The first file keeps the batch busy; meanwhile what the second one needs goes.
    std::string const task = "list --task 'smooth --laplacian 300 | extrude --selection sel.txt "
                             "--distance 0.1' --out out";
    Running batch("batch " + task + " --jobs 1", "cd " + files.path() + " && ");
    REQUIRE(comesTrue([&] { return !childrenOf(batch.id()).empty(); }));
    fs::rename(files / "sel.txt", files / "gone");
    CHECK(batch.wait().code == 5);
    Json const line = lineOf(files, "a.obj");
    CHECK(line["status"] == "noTaskFile");
    fs::rename(files / "gone", files / "sel.txt");
    CHECK(files.batch(task).code == 0);
    CHECK(lineOf(files, "a.obj")["status"] == "done");
}

TEST_CASE("anInputThatChangesDuringTheWorkIsWorkedOnAgain") {
    Files const files({});
    store(files / "a.obj", trimora::makeScan(6, 1));
    writeFile(files / "list", "a.obj\n");
    std::string const task = "list --task 'smooth --laplacian 600' --out out";
    Running batch("batch " + task, "cd " + files.path() + " && ");
    REQUIRE(comesTrue([&] { return !childrenOf(batch.id()).empty(); }));  // its hash is taken
    store(files / "a.obj", trimora::makeScan(2, 7));
    batch.wait();
    REQUIRE(lineOf(files, "a.obj")["hash"].is_null());
    CHECK(files.batch(task).code == 0);
    CHECK(lineOf(files, "a.obj")["hash"].is_string());
    CHECK(areAllEarlier(files.batch(task), 1));
}

TEST_CASE("anOutputOfOlderContentsIsNamedWhenItStays") {
    Files const files({"a.obj"});
    writeFile(files / "list", "a.obj\n");
    std::string const task = "list --task stitch --out out";
    REQUIRE(files.batch(task).code == 0);
    CHECK(lineOf(files, "a.obj")["staleOutput"].is_null());
    writeFile(files / "a.obj", "v 1 2 3\n");
    for (int call = 0; call < 2; ++call) {  // and when the refusal is one of an earlier call
        Run const refused = files.batch(task);
        CHECK(refused.code == 5);
        CHECK(refused.out.find("1 output of earlier runs") != std::string::npos);
    }
    CHECK(lineOf(files, "a.obj")["status"] == "refused");
    CHECK(lineOf(files, "a.obj")["staleOutput"] == "a.obj");
    CHECK(fs::exists(files / "out/a.obj"));
}

TEST_CASE("aFolderInThePlaceOfAnOutputIsNoOutputOfEarlier") {
    Files const files({"a.obj"});
    fs::create_directories(files / "out/a.obj/full");
    Run const result = files.batch("list --task weld --out out");
    CHECK(result.code == 5);
    CHECK(result.out.find("earlier") == std::string::npos);
    CHECK(lineOf(files, "a.obj")["staleOutput"].is_null());
}

TEST_CASE("aHugeFileHoldsUpNothing") {
    Files const files({"a.obj", "b.obj"});
    storeHuge(files / "huge.stl");
    writeFile(files / "list", "huge.stl\na.obj\nb.obj\n");
    auto const secondsSince = [](auto start) {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    // Too large for the memory: not even read.
    CHECK(files.batch("list --task weld --out out --max-memory 1G --jobs 2").code == 5);
    CHECK(lineOf(files, "huge.stl")["status"] == "outOfMemory");
    CHECK(lineOf(files, "b.obj")["status"] == "done");

    // Within it: the time limit holds, and the others go on.
    fs::remove_all(files / "out");
    auto start = std::chrono::steady_clock::now();
    CHECK(files.batch("list --task weld --out out --max-memory 100G --jobs 2 --timeout 0.5").code ==
          5);
    CHECK(lineOf(files, "huge.stl")["status"] == "timedOut");
    CHECK(resultsIn(files / "out/results.jsonl").size() == 3);
    CHECK(secondsSince(start) < 20.0);

    // Ctrl-C is heard, and what was done is kept.
    fs::remove_all(files / "out");
    Running batch("batch list --task weld --out out --max-memory 100G --jobs 2",
                  "cd " + files.path() + " && ");
    REQUIRE(comesTrue([&] { return numLines(files / "out/results.jsonl") == 2; }));
    start = std::chrono::steady_clock::now();
    batch.interrupt();
    Run const interrupted = batch.wait();
    CHECK(secondsSince(start) < 5.0);
    CHECK(interrupted.code == 6);
    CHECK(interrupted.err.find("2 of 3 files are done") != std::string::npos);
    CHECK(numLines(files / "out/results.jsonl") == 2);
}

TEST_CASE("anOutputThatCannotBeReadInTimeHasNoHash") {
    Files const files({});
    store(files / "a.obj", trimora::makeScan(5, 1));
    writeFile(files / "list", "a.obj\n");
    std::string const task = "list --task 'smooth --laplacian 100' --out out";
    Running batch("batch " + task + " --timeout 5", "cd " + files.path() + " && ");
    std::vector<pid_t> children;
    REQUIRE(comesTrue([&] { return !(children = childrenOf(batch.id())).empty(); }));
    // While the batch is held up, its child ends, and the output comes to be a file that takes long to read.
    batch.signal(SIGSTOP);
    REQUIRE(comesTrue([&] { return isGone(children.front()); }));
    REQUIRE(fs::exists(files / "out/a.obj"));
    fs::resize_file(files / "out/a.obj", std::uintmax_t(1) << 40);
    batch.signal(SIGCONT);
    Run const result = batch.wait();
    CHECK(result.code == 0);
    CHECK(result.out.find("made anew by the next call") != std::string::npos);
    CHECK(lineOf(files, "a.obj")["status"] == "done");
    CHECK(lineOf(files, "a.obj")["outputHash"].is_null());
    CHECK(files.batch(task).code == 0);
    CHECK(lineOf(files, "a.obj")["outputHash"].is_string());
}

TEST_CASE("namesOfAnyBytesAreToldApart") {
    Files const files({"t\xe8.obj", "t\xe9.obj", "t\xEF\xBF\xBD.obj",
                       "t\xEF\xBF\xBD"
                       "e8.obj",
                       "t\xc3\xa8.obj", "t\\xe8.obj"});
    REQUIRE(files.batch("list --task weld --out out").code == 0);
    auto const results = resultsIn(files / "out/results.jsonl");
    CHECK(results.size() == 6);
    CHECK(results.count("t\xEF\xBF\xBD"
                        "e8.obj") == 1);
    CHECK(results.count("t\xc3\xa8.obj") == 1);
    CHECK(results.count("t\\xe8.obj") == 1);
    std::set<std::string> outputs;
    for (auto const& [input, line] : results)
        outputs.insert(line["output"].get<std::string>());
    CHECK(outputs.size() == 6);
    CHECK(areAllEarlier(files.batch("list --task weld --out out"), 6));
}

TEST_CASE("aBatchNeedsNobodyToReadItsLines") {
    Files const files({"a.obj", "b.obj", "c.obj", "d.obj", "e.obj"});
    for (std::string const option : {"", " --json"}) {
        fs::remove_all(files / "out");
        Run const result =
            run("batch list --task weld --jobs 1 --out out" + option + "; echo $? >code) | head -1",
                "cd " + files.path() + " && (");
        CHECK(numLines(files / "out/results.jsonl") == 5);
        CHECK(contentOf(files / "code") == "0\n");
    }
    fs::remove_all(files / "out");
    Run const full =
        run("batch list --task weld --out out --json >/dev/full)", "cd " + files.path() + " && (");
    CHECK(full.code == 0);
    CHECK(numLines(files / "out/results.jsonl") == 5);
    CHECK(full.err.find("the results are in out/results.jsonl") != std::string::npos);
}

TEST_CASE("whatAFileIsCalledDoesNotTellHowItEnded") {
    Files const files({});
    std::vector<std::string> const names = {"timed out.obj", "bad_alloc.obj", "--max-memory.obj"};
    std::string list;
    for (std::string const& name : names) {
        writeFile(files / name, "v 1 2 3\n");
        list += name + "\n";
    }
    writeFile(files / "list", list);
    CHECK(files.batch("list --task stitch --out out").code == 5);
    for (auto const& [input, line] : resultsIn(files / "out/results.jsonl")) {
        CAPTURE_BINDING(input);
        CHECK(line["status"] == "refused");
        CHECK(line["run"]["reason"] == "refused");
    }
}
