// A task on many files: each ends as a line of the results, whatever it does to its process, and what is done stays done.

#include "app/batchFiles.h"
#include "support/captureBinding.h"
#include "toolkit/pendingOutput.h"

#include <doctest/doctest.h>
#include <set>

using namespace commandTest;

namespace {

/// A file on which many passes take far longer than the tests wait, so that its process is there to be found.
void storeSlow(std::string const& path) {
    store(path, trimora::makeScan(7, 2));
}
constexpr char slowTask[] = " --task 'smooth --laplacian 20000'";

}  // namespace

TEST_CASE("eachFileOfABatchHasALineAndAnOutput") {
    Files const files(
        {"a.obj", "sub/a.obj", "with space.obj", "it's \"quoted\".obj", "-dash.obj", "#hash.obj"});
    Run const first = files.batch("list --task 'weld | measure' --out out --jobs 3");
    CAPTURE(first.err);
    CAPTURE(first.out);
    REQUIRE(first.code == 0);
    CHECK(first.out.find("6 files: 6 done") != std::string::npos);
    CHECK(first.out.find("slowest: ") != std::string::npos);
    CHECK(first.out.find("largest memory: ") != std::string::npos);
    REQUIRE(numLines(files / "out/results.jsonl") == 6);
    auto const results = resultsIn(files / "out/results.jsonl");
    CHECK(results.count("./-dash.obj") == 1);
    for (auto const& [input, line] : results) {
        CAPTURE_BINDING(input);
        CHECK(line["status"] == "done");
        CHECK(line["exitCode"] == 0);
        CHECK(line["signal"].is_null());
        CHECK(line["task"] == "weld | measure");
        CHECK(line["hash"].get<std::string>().size() == 32);
        CHECK(line["seconds"] > 0.0);
        CHECK(line["peakMemory"] > 1000000);
        CHECK(line["run"]["stages"].size() == 2);
        CHECK(line["staleOutput"].is_null());
        CHECK(line["taskFiles"].empty());
        CHECK(line["outputSize"] ==
              fs::file_size(files / ("out/" + line["output"].get<std::string>())));
        // As the command by itself would have it.
        std::string const output = files / ("out/" + line["output"].get<std::string>());
        run("weld '" + files.path() + "/a.obj' " + (files / "expected.obj"));
        CHECK((contentOf(output) == contentOf(files / "expected.obj")));
    }

    SUBCASE("and nothing is done twice") {
        Run const again = files.batch("list --task ' weld|measure' --out out");
        CHECK(again.code == 0);
        CHECK(again.out.find("6 files: 6 done; 6 of them earlier") != std::string::npos);
        CHECK(numLines(files / "out/results.jsonl") == 6);
    }
    SUBCASE("but what has changed, is damaged, or is gone") {
        store(files / "a.obj", trimora::makeScan(3, 7));
        fs::remove(files / "out/sub/a.obj");
        std::string const damaged = files / "out/with space.obj";
        writeFile(damaged, "foo");
        std::string const flipped = files / "out/#hash.obj";
        std::string text = contentOf(flipped);
        text[text.size() / 2] ^= 1;
        writeFile(flipped, text);
        std::string const dry = files.batch("list --task 'weld | measure' --out out --dry-run").out;
        CHECK(std::count(dry.begin(), dry.end(), '\n') == 4);
        CHECK(files.batch("list --task 'weld | measure' --out out").code == 0);
        CHECK(numLines(files / "out/results.jsonl") == 10);
        CHECK(fs::exists(files / "out/sub/a.obj"));
        CHECK((contentOf(damaged) == contentOf(files / "expected.obj")));
        CHECK((contentOf(flipped) == contentOf(files / "expected.obj")));
        CHECK(resultsIn(files / "out/results.jsonl")["a.obj"]["hash"] !=
              results.at("a.obj")["hash"]);
    }
    SUBCASE("but for another task and back") {
        CHECK(files.batch("list --task 'smooth --laplacian 1' --out out").code == 0);
        CHECK(numLines(files / "out/results.jsonl") == 12);
        CHECK(files.batch("list --task 'weld | measure' --out out").code == 0);
        CHECK(numLines(files / "out/results.jsonl") == 18);
        CHECK((contentOf(files / "out/a.obj") == contentOf(files / "expected.obj")));
    }
    SUBCASE("and the tail of a line that was torn goes") {
        std::string const before = contentOf(files / "out/results.jsonl");
        std::size_t const lastLine = before.rfind('\n', before.size() - 2) + 1;
        for (std::size_t const cut : {before.size() - 1, lastLine + 40, lastLine + 1}) {
            writeFile(files / "out/results.jsonl", before.substr(0, cut));
            CHECK(files.batch("list --task 'weld | measure' --out out").code == 0);
            CHECK(numLines(files / "out/results.jsonl") == 6);
            CHECK(resultsIn(files / "out/results.jsonl").size() == 6);
        }
        writeFile(files / "out/results.jsonl",
                  "{\"input\":3,\"status\":[]}\nnull\n\x01\xff{{{\n" + before);
        CHECK(files.batch("list --task 'weld | measure' --out out").out.find("6 of them earlier") !=
              std::string::npos);
    }
}

TEST_CASE("aFileThatGoesWrongIsALineInTheResults") {
    Files const files({"good.obj"});
    writeFile(files / "text.obj", "no mesh at all\n");
    writeFile(files / "empty.obj", "");
    writeFile(files / "closed.obj", contentOf(files / "good.obj"));
    writeFile(files / "one.obj", "v 1 2 3\n");
    fs::create_directory(files / "folder.obj");
    mkfifo((files / "pipe.obj").c_str(), 0600);
    writeFile(files / "list",
              "text.obj\nmissing.obj\nempty.obj\nfolder.obj\npipe.obj\none.obj\ngood.obj\n"
              "closed.obj\ngood.obj" +
                  std::string(1, '\0') + "\n");
    Run const result = files.batch("list --json --task 'weld | stitch' --out out --timeout 60");
    CAPTURE(result.err);
    CHECK(result.code == 5);
    auto const results = resultsIn(files / "out/results.jsonl");
    auto const statusOf = [&results](char const* name) { return results.at(name)["status"]; };
    CHECK(statusOf("text.obj") == "unreadable");
    CHECK(statusOf("missing.obj") == "unreadable");
    CHECK(statusOf("empty.obj") == "unreadable");
    CHECK(statusOf("folder.obj") == "unreadable");
    CHECK(statusOf("pipe.obj") == "unreadable");
    CHECK(statusOf("one.obj") == "refused");
    CHECK(results.at("missing.obj")["hash"].is_null());
    CHECK(results.at("text.obj")["run"]["reason"] == "input");
    CHECK(results.at("one.obj")["run"]["command"] == "stitch");
    CHECK(results.at("one.obj")["exitCode"] == 5);
    CHECK(results.at("one.obj")["stderr"].back().get<std::string>().find("stage 2 (stitch)") !=
          std::string::npos);
    CHECK(results.at("one.obj")["output"].is_null());

    // Standard output has the same lines, and the summary.
    auto lines = linesOf(result.out);
    Json const summary = lines.back()["summary"];
    lines.pop_back();
    CHECK(lines.size() == numLines(files / "out/results.jsonl"));
    CHECK(summary["files"] == lines.size());
    CHECK(summary["counts"]["refused"] >= 1);

    // What would come to the same is not tried again; what was not there is.
    std::size_t const before = numLines(files / "out/results.jsonl");
    store(files / "missing.obj", trimora::makeScan(2, 1));
    CHECK(files.batch("list --task 'weld | stitch' --out out").code == 5);
    CHECK(resultsIn(files / "out/results.jsonl")["missing.obj"]["exitCode"].is_number());
    CHECK(numLines(files / "out/results.jsonl") > before);
}

TEST_CASE("limitsHoldForEachFileByItself") {
    Files const files({"small.obj"});
    store(files / "large.obj", trimora::makeScan(6, 1));
    writeFile(files / "list", "large.obj\nsmall.obj\n");

    CHECK(files.batch("list --task weld --out out --max-memory 400K").code == 5);
    auto results = resultsIn(files / "out/results.jsonl");
    CHECK(results["large.obj"]["status"] == "outOfMemory");
    CHECK(results["small.obj"]["status"] == "done");

    storeSlow(files / "large.obj");
    Run const timed = files.batch("list" + std::string(slowTask) + " --out out2 --timeout 0.01");
    CHECK(timed.code == 5);
    results = resultsIn(files / "out2/results.jsonl");
    CHECK(results["large.obj"]["status"] == "timedOut");
    CHECK(results["large.obj"]["run"].contains("cancelled"));
    CHECK(!fs::exists(files / "out2/large.obj"));

    // Both are tried again once the limit allows it.
    CHECK(files.batch("list --task weld --out out").code == 0);
    CHECK(resultsIn(files / "out/results.jsonl")["large.obj"]["status"] == "done");
    CHECK(numLines(files / "out/results.jsonl") == 3);
}

TEST_CASE("defectsThatAreLeftAreTold") {
    Files const files({"clean.obj"});
    store(files / "damaged.obj", trimora::makeDamagedScan(3, 1));
    writeFile(files / "list", "clean.obj\ndamaged.obj\n");
    CHECK(files.batch("list --task check --out out").code == 1);
    auto const results = resultsIn(files / "out/results.jsonl");
    CHECK(results.at("damaged.obj")["status"] == "defects");
    CHECK(results.at("damaged.obj")["exitCode"] == 1);
    CHECK(fs::exists(files / "out/damaged.obj"));
    CHECK(files.batch("list --task check --out out").code == 1);  // all of it earlier
}

TEST_CASE("whatASoundRunWarnsOfIsTold") {
    Files const files({"a.obj"});
    writeFile(files / "cut.off", "OFF\n4 3 0\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n3 0 1 2\n3 0 3 1\n");
    writeFile(files / "map.obj", "v 0 0 0\nv 1 0 0\nv 1 1 0\nvt 0 0\nf 1/1 2/1 3/1\n");
    writeFile(files / "list", "a.obj\ncut.off\nmap.obj\n");
    std::string const arguments = "list --task measure --out out --extension stl --jobs 1";
    Run const first = files.batch(arguments);
    CHECK(first.out.find("trimora: warning: cut.off: is cut short") != std::string::npos);
    CHECK(first.out.find("stl files do not hold: texture coordinates") != std::string::npos);
    CHECK(first.out.find("warning: a.obj") == std::string::npos);
    CHECK(first.out.find("; 2 with warnings\n") != std::string::npos);
    auto const results = resultsIn(files / "out/results.jsonl");
    CHECK(results.at("a.obj")["warnings"] == 0);
    CHECK(results.at("cut.off")["warnings"] == 1);
    CHECK(results.at("cut.off")["status"] == results.at("a.obj")["status"]);
    // Those of earlier calls count.
    CHECK(linesOf(files.batch(arguments + " --json").out).back()["summary"]["withWarnings"] == 2);
}

TEST_CASE("reportsOfAnyLengthAreOfADoneFile") {
    Files const files({});
    std::string triangles;
    constexpr int count = 1100;
    for (int i = 0; i < count; ++i) {
        std::string const x = std::to_string(3 * i);
        triangles += "v " + x + " 0 0\nv " + x + ".5 0 0\nv " + x + " 1 0\nf -3 -2 -1\n";
    }
    writeFile(files / "loose.obj", triangles);
    writeFile(files / "list", "loose.obj\n");
    std::string const stage = "fill --holes max-edges:2";
    CHECK(files.batch("list --task '" + stage + "' --out out").code <= 1);
    Json const told = resultsIn(files / "out/results.jsonl").at("loose.obj")["run"]["stages"][0];
    CHECK(told["holes"].size() == 1000);
    CHECK(told["entriesLeftOut"]["holes"] == count - 1000);

    // So many stages that even this is more than is taken.
    std::string task = stage;
    for (int i = 1; i < 95; ++i)
        task += " | " + stage;
    Run const cut = files.batch("list --task '" + task + "' --out out2");
    CHECK(cut.code <= 1);
    Json const line = resultsIn(files / "out2/results.jsonl").at("loose.obj");
    CHECK(line["run"].is_null());
    CHECK(line["stderr"].back().get<std::string>().find("too large") != std::string::npos);
    CHECK(line["staleOutput"].is_null());
    CHECK(line["outputHash"].is_string());
    CHECK(files.batch("list --task '" + task + "' --out out2").out.find("1 of them earlier") !=
          std::string::npos);
}

TEST_CASE("whatKilledProcessesLeftBesideOutputsGoes") {
    Files const files({"a.obj", "sub/b.obj"});
    pid_t const gone = fork();
    if (gone == 0)
        _exit(0);
    waitpid(gone, nullptr, 0);
    std::string const own = trimora::newPassingStem();
    std::string const number = "-" + std::to_string(getpid()) + "-";
    std::string dead = own;
    dead.replace(own.find(number), number.size(), "-" + std::to_string(gone) + "-");
    std::string foreign = dead;
    foreign.replace(0, std::string(".trimora-").size(), ".trimora-x");
    for (char const* const folder : {"out/", "out/sub/"}) {
        fs::create_directories(files / folder);
        for (std::string const& stem : {own, dead, foreign})
            writeFile(files / (folder + stem + "0.tmp"), "half");
    }
    CHECK(files.batch("list --task weld --out out").code == 0);
    for (char const* const folder : {"out/", "out/sub/"}) {
        CHECK(!fs::exists(files / (folder + dead + "0.tmp")));
        CHECK(fs::exists(files / (folder + own + "0.tmp")));      // this process may still fill it
        CHECK(fs::exists(files / (folder + foreign + "0.tmp")));  // another machine's
    }
}

TEST_CASE("aProcessThatIsKilledIsALineInTheResults") {
    Files const files({"small.obj"});
    storeSlow(files / "slow.obj");
    writeFile(files / "list", "slow.obj\nsmall.obj\n");
    for (int const signal : {SIGSEGV, SIGKILL}) {
        fs::remove_all(files / "out");
        fs::create_directory(files / "out");
        Running batch("batch " + (files / "list") + slowTask + " --jobs 1 --out " + (files / "out"),
                      "cd " + files.path() + " && ");
        std::vector<pid_t> children;
        REQUIRE(comesTrue([&] { return !(children = childrenOf(batch.id())).empty(); }));
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        // What another machine writes there has the number of this process, too, by chance.
        std::string const foreign =
            files / ("out/.trimora-" + std::to_string(children.front()) + "-0.tmp");
        writeFile(foreign, "another's");
        kill(children.front(), signal);
        Run const result = batch.wait();
        CHECK(contentOf(foreign) == "another's");
        fs::remove(foreign);
        CHECK(result.code == 5);
        auto const results = resultsIn(files / "out/results.jsonl");
        CHECK(results.at("slow.obj")["status"] == "crashed");
        CHECK(results.at("small.obj")["status"] == "done");
        for (auto const& entry : fs::recursive_directory_iterator(files / "out"))
            CHECK(entry.path().filename().string().rfind(".trimora-", 0) != 0);
    }
}

TEST_CASE("aBatchThatWasKilledGoesOn") {
    Files const files({"a.obj", "b.obj", "c.obj"});
    storeSlow(files / "slow.obj");
    writeFile(files / "list", "a.obj\nb.obj\nslow.obj\nc.obj\n");
    std::string const arguments = (files / "list") + slowTask + " --jobs 1 --out out";
    Running batch("batch " + arguments, "cd " + files.path() + " && ");
    REQUIRE(comesTrue([&] {
        return fs::exists(files / "out/results.jsonl") &&
               numLines(files / "out/results.jsonl") == 2;
    }));
    std::vector<pid_t> children;
    REQUIRE(comesTrue([&] { return !(children = childrenOf(batch.id())).empty(); }));

    // Nobody else may write there meanwhile.
    Run const second = files.batch(arguments);
    CHECK(second.failedWith(4));
    CHECK(second.err.find("another batch") != std::string::npos);

    batch.signal(SIGKILL);
    batch.wait();
    CHECK(comesTrue([&] { return isGone(children.front()); }));  // with it
    std::string const before = contentOf(files / "out/results.jsonl");
    CHECK(linesOf(before).size() == 2);
    writeFile(files / "out/results.jsonl", before + "{\"input\":\"slow.obj\",\"out");

    Run const again = files.batch(arguments + " --timeout 5");
    CHECK(again.code == 5);
    CHECK(again.out.find("2 of them earlier") != std::string::npos);
    CHECK(contentOf(files / "out/results.jsonl").rfind(before, 0) == 0);
    auto const results = resultsIn(files / "out/results.jsonl");
    CHECK(results.size() == 4);
    CHECK(results.at("slow.obj")["status"] == "timedOut");
    CHECK(results.at("c.obj")["status"] == "done");
}

TEST_CASE("anInterruptedBatchEndsItsChildrenAndGoesOnLater") {
    Files const files({"a.obj"});
    storeSlow(files / "slow.obj");
    writeFile(files / "list", "a.obj\nslow.obj\n");
    std::string const arguments = (files / "list") + slowTask + " --jobs 2 --out out";
    Running batch("batch " + arguments, "cd " + files.path() + " && ");
    std::vector<pid_t> children;
    REQUIRE(comesTrue([&] {
        children = childrenOf(batch.id());
        return fs::exists(files / "out/results.jsonl") &&
               numLines(files / "out/results.jsonl") == 1 && children.size() == 1;
    }));
    auto const start = std::chrono::steady_clock::now();
    batch.interrupt();
    Run const result = batch.wait();
    CHECK(std::chrono::steady_clock::now() - start < std::chrono::seconds(10));
    CHECK(result.code == 6);
    CHECK(result.err.find("1 of 2 files are done") != std::string::npos);
    CHECK(isGone(children.front()));
    CHECK(numLines(files / "out/results.jsonl") == 1);
    CHECK(!fs::exists(files / "out/slow.obj"));
    CHECK(files.batch(arguments + " --dry-run").out == "slow.obj -> out/slow.obj\n");
}

TEST_CASE("shardsPartitionAListWhateverItsOrder") {
    std::vector<std::string> names;
    for (int i = 0; i < 40; ++i)
        names.push_back("m/" + std::to_string(i * 37 % 40) + ".obj");
    Files const files(names);
    std::string reversed;
    for (auto name = names.rbegin(); name != names.rend(); ++name)
        reversed += *name + "\n";
    writeFile(files / "reversed", reversed);
    std::set<std::string> all;
    for (int const count : {1, 2, 3, 7}) {
        std::size_t total = 0;
        std::set<std::string> seen;
        for (int i = 1; i <= count; ++i) {
            std::string const shard = " --task weld --out out --dry-run --json --shard " +
                                      std::to_string(i) + "/" + std::to_string(count);
            std::set<std::string> inputs;
            std::set<std::string> inputsReversed;
            for (Json const& line : linesOf(files.batch("list" + shard).out))
                inputs.insert(line["input"]);
            for (Json const& line : linesOf(files.batch("reversed" + shard).out))
                inputsReversed.insert(line["input"]);
            CHECK(inputs == inputsReversed);
            CHECK(inputs.size() < (count == 1 ? 41u : 39u));
            total += inputs.size();
            seen.insert(inputs.begin(), inputs.end());
        }
        CHECK(total == 40);
        CHECK(seen.size() == 40);
    }
    CHECK(!fs::exists(files / "out"));  // nothing was written

    // Each has a file of results, and what all of them have done is done.
    CHECK(files.batch("list --task weld --out out --shard 1/2").code == 0);
    CHECK(files.batch("list --task weld --out out --shard 2/2").code == 0);
    CHECK(numLines(files / "out/results-1-of-2.jsonl") +
              numLines(files / "out/results-2-of-2.jsonl") ==
          40);
    CHECK(files.batch("list --task weld --out out").out.find("40 of them earlier") !=
          std::string::npos);
    for (char const* const shard : {"0/2", "3/2", "1", "1/0", "a/b", "1/2/3", "-1/2"})
        refuses("batch x --task weld --out y --shard " + std::string(shard), 2, "--shard");
}

TEST_CASE("hostileListsAreRead") {
    Files const files({"a.obj", "b b.obj"});
    auto const inputsOf = [&files](std::string const& text) {
        writeFile(files / "list", text);
        Run const result = files.batch("list --task weld --out out --dry-run --json");
        CHECK(result.code == 0);
        std::vector<std::string> inputs;
        for (Json const& line : linesOf(result.out))
            inputs.push_back(line["input"]);
        return inputs;
    };
    using Names = std::vector<std::string>;
    CHECK(inputsOf("").empty());
    CHECK(inputsOf("\n\n\r\n").empty());
    CHECK(inputsOf("a.obj") == Names{"a.obj"});
    CHECK(inputsOf("\xEF\xBB\xBF"
                   "a.obj\r\nb b.obj\r\n") == Names{"a.obj", "b b.obj"});
    CHECK(inputsOf("a.obj\n./a.obj\nsub/../a.obj\na.obj\n") == Names{"a.obj"});
    CHECK(inputsOf(" a.obj\n-\n--json\n") == Names{" a.obj", "./-", "./--json"});
    CHECK(inputsOf(std::string(100000, 'x') + "\n").size() == 1);
    CHECK(inputsOf((files / "a.obj") + "\na.obj\n") == Names{files / "a.obj"});
    CHECK(inputsOf("caf\xe9.obj\n") == Names{"caf\xEF\xBF\xBD"
                                             "e9.obj"});

    Run const repeated = files.batch("list --task weld --out out");
    CHECK(repeated.code == 5);
    writeFile(files / "list", "a.obj\na.obj\n");
    CHECK(files.batch("list --task weld --out out").err.find("1 line names a file") !=
          std::string::npos);
    CHECK(run("batch - --task weld --out out", "cd " + files.path() + " && echo a.obj |").code ==
          0);
    CHECK(files.batch("nowhere --task weld --out out").failedWith(3));
    writeFile(files / "list", "a.obj\n");
    CHECK(files.batch("list --task 'weld | frobnicate' --out out3").failedWith(2));
    CHECK(files.batch("list --task weld --out list").failedWith(4));
    CHECK(files.batch("list --task weld --out ''").failedWith(2));
    CHECK(files.batch("'' --task weld --out out3").failedWith(2));
    // A mesh in place of a list.
    fs::copy(files / "a.obj", files / "unnamed");
    run("convert " + (files / "a.obj") + " " + (files / "a.stl"));
    for (char const* const mesh : {"a.obj", "a.stl", "unnamed"})
        CHECK(files.batch(mesh + std::string(" --task weld --out out3")).failedWith(2));
    CHECK(run("batch - --task weld --out " + (files / "out3"), "cat " + (files / "a.stl") + " |")
              .failedWith(2));
    fs::copy(files / "list", files / "list.obj");
    CHECK(files.batch("list.obj --task weld --out out --dry-run").code == 0);
    CHECK(files.batch("list --task weld --out out3 --extension xyz").failedWith(2));
    CHECK(!fs::exists(files / "out3"));
}

TEST_CASE("aFolderStandsForTheMeshesInIt") {
    Files const files({"m/b.obj", "m/deep/a.obj", "m/.hidden.obj", "m/.git/c.obj", "m/out/d.obj"});
    writeFile(files / "m/notes.txt", "x\n");
    CHECK(files.batch("m --task weld --out m/out").code == 0);
    auto const results = resultsIn(files / "m/out/results.jsonl");
    REQUIRE(results.size() == 2);
    CHECK(results.at("m/b.obj")["output"] == "b.obj");
    CHECK(results.at("m/deep/a.obj")["output"] == "deep/a.obj");
    CHECK(fs::exists(files / "m/out/deep/a.obj"));
    CHECK(files.batch("m --task weld --out m/out").out.find("2 files: 2 done; 2 of them earlier") !=
          std::string::npos);
}

TEST_CASE("outputsNeverMeetNorReplaceAnInput") {
    Files const files({"a/x.obj"});
    writeFile(files / "list",
              "a/x.obj\nb/x.obj\nx.obj\nx.off\nx.stl\n./y/../x.OBJ\nx.obj.obj\n../x.obj\n"
              "up/x.obj\n../../up.obj\n/x.obj\n/tmp/../x.off\nx\nx.\n.obj\na\n");
    Run const dry = files.batch("list --task weld --out out --dry-run --json --extension obj");
    REQUIRE(dry.code == 0);
    std::set<std::string> outputs;
    auto const lines = linesOf(dry.out);
    CHECK(lines.size() == 16);
    for (Json const& line : lines) {
        std::string const output = line["output"];
        CAPTURE(output);
        CHECK(outputs.insert(output).second);
        CHECK(fs::path(output).lexically_normal().string().rfind("out/", 0) == 0);
        CHECK(fs::path(output).extension() == ".obj");
    }
    CHECK(outputs.count("out/a/x.obj") == 1);
    CHECK(outputs.count("out/b/x.obj") == 1);

    writeFile(files / "list", "a/x.obj\n");
    std::string const before = contentOf(files / "a/x.obj");
    CHECK(files.batch("list --task 'smooth --laplacian 1' --out .").failedWith(2));
    CHECK(files.batch("a --task 'smooth --laplacian 1' --out a/../a").failedWith(2));
    CHECK(files.batch("a --task 'smooth --laplacian 1' --out .").failedWith(2));
    CHECK(files.batch("a --task 'smooth --laplacian 1' --out a --extension ply").failedWith(2));
    CHECK((contentOf(files / "a/x.obj") == before));

    // Nor by links below the folder of outputs, made before or meanwhile.
    fs::create_directories(files / "out/b");
    fs::create_directory_symlink("../a", files / "out/a");
    CHECK(files.batch("list --task 'smooth --laplacian 1' --out out").failedWith(2));
    fs::remove(files / "out/a");
    fs::create_directory(files / "out/a");
    fs::create_symlink("../../a/x.obj", files / "out/a/x.obj");
    CHECK(files.batch("list --task 'smooth --laplacian 1' --out out").failedWith(2));
    fs::remove_all(files / "out/a");
    fs::create_directory_symlink("b", files / "out/a");
    fs::create_directory(files / "b");
    fs::copy(files / "a/x.obj", files / "b/x.obj");
    writeFile(files / "list", "a/x.obj\nb/x.obj\n");
    Run const one = files.batch("list --task 'smooth --laplacian 1' --out out");
    CHECK(one.failedWith(2));
    CHECK(one.err.find("are one file") != std::string::npos);
    CHECK((contentOf(files / "a/x.obj") == before));
    // A second name of an input in that place is replaced, and the input is not.
    fs::remove(files / "out/a");
    fs::create_directory(files / "out/a");
    fs::create_hard_link(files / "a/x.obj", files / "out/a/x.obj");
    CHECK(files.batch("list --task 'smooth --laplacian 1' --out out").code == 0);
    CHECK((contentOf(files / "a/x.obj") == before));
    CHECK((contentOf(files / "out/a/x.obj") != before));
}

TEST_CASE("aLinkThatComesUpMeanwhileCostsNoInput") {
    Files const files({"a/x.obj"});
    storeSlow(files / "slow.obj");
    writeFile(files / "list", "slow.obj\na/x.obj\n");
    std::string const before = contentOf(files / "a/x.obj");
    Running batch("batch list" + std::string(slowTask) + " --jobs 1 --timeout 2 --out out",
                  "cd " + files.path() + " && ");
    REQUIRE(comesTrue([&] { return !childrenOf(batch.id()).empty(); }));
    fs::create_directory_symlink("../a", files / "out/a");
    CHECK(batch.wait().code == 5);
    CHECK(resultsIn(files / "out/results.jsonl").at("a/x.obj")["status"] == "unwritten");
    CHECK((contentOf(files / "a/x.obj") == before));
}
