// trimora_proof KIND [options]: runs meshes through pipelines of operations, each run in a process of its own with a limit of 60 seconds
// of processor time and 2 GiB, and says of each what became of it.
//
//   corpus   every mesh of the folder that TRIMORA_CORPUS names, through every pipeline
//   made     seeded meshes with the defects of real collections; each through some of the pipelines, in turn
//   damage   every mesh of the folder, spoilt in each of 24 ways, through the pipelines that do not begin with a repair, and "repairAll"
//
//   --seeds A-B       of made: from A to B
//   --each N          of made: pipelines a seed; 4
//   --seed S          of damage: chooses where it falls; 1
//   --only TEXT       runs whose mesh, damage or pipeline has the text in its name
//   --most-triangles  larger meshes of the folder are left out
//   --jobs N          runs at a time; one for each core
//   --threads N       of each run; 1
//   --quiet           only broken runs, and the summary
//
// A line a run: mesh, pipeline, what became of it, hash of the last mesh, seconds, MiB, steps that were refused. Exit code 1 when any
// run crashed, took too long or too much, or broke a rule.

#include "childRuns.h"
#include "pipelines.h"
#include "steps.h"
#include "support/TemporaryFolder.h"
#include "support/corpus.h"
#include "support/damage.h"
#include "support/madeMesh.h"
#include "toolkit/readMesh.h"

#include "trimora/contract/koUtil/ThreadPool.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <sstream>
#include <thread>

namespace {

using koGeom::CompactMesh;
using proof::ChildResult;
using proof::Pipeline;

struct Arguments {
    std::string kind;
    std::uint64_t firstSeed = 1;
    std::uint64_t lastSeed = 100;
    std::uint64_t each = 4;
    std::uint64_t seed = 1;
    std::string only;
    int mostTriangles = 0;
    int jobs = 0;
    int threads = 1;
    bool isQuiet = false;
};

/// A mesh that is made or read in the child.
struct Run {
    std::string name;
    Pipeline const* pipeline;
    std::function<CompactMesh()> makeMesh;
};

/// What the child said, taken apart again.
struct Told {
    std::string step;  // that was begun last
    std::string broken;
    std::string hash = "-";
    std::string refusals;
    int numRefused = 0;
};

Told parse(std::string const& said) {
    Told told;
    std::istringstream lines(said);
    for (std::string line; std::getline(lines, line);) {
        std::string const rest = line.size() > 2 ? line.substr(2) : std::string();
        switch (line.empty() ? ' ' : line[0]) {
        case '>':
            told.step = rest;
            break;
        case '-':
            ++told.numRefused;
            told.refusals += (told.refusals.empty() ? "" : "; ") + told.step + ": " + rest;
            break;
        case '!':
            told.broken = rest;
            break;
        case '=':
            told.hash = rest;
            break;
        default:
            break;
        }
    }
    return told;
}

std::string oneLine(std::string text) {
    for (char& c : text)
        if (c == '\n' || c == '\t')
            c = ' ';
    return text;
}

void runPipeline(Run const& run, int threads, std::function<void(std::string const&)> const& say) {
    koUtil::ThreadPool pool(threads);
    koUtil::ThreadPool::setShared(&pool);
    support::TemporaryFolder const folder;
    proof::State state;
    say("> making\n");
    state.mesh = run.makeMesh();
    state.original = state.mesh;
    state.folder = folder.path();
    std::istringstream names{std::string(run.pipeline->steps)};
    try {
        for (std::string name; names >> name;) {
            say("> " + name + "\n");
            std::string const refusal = proof::runStep(proof::findStep(name), state);
            if (!refusal.empty())
                say("- " + oneLine(refusal) + "\n");
        }
    } catch (proof::Broken const& broken) {
        say("! " + oneLine(broken.what()) + "\n");
    }
    char hash[32];
    std::snprintf(hash, sizeof hash, "= %016" PRIx64 "\n", proof::hashOf(state.mesh));
    say(hash);
    koUtil::ThreadPool::setShared(nullptr);
}

class Report {
public:
    explicit Report(bool isQuiet) : isQuiet_(isQuiet) {}

    void add(Run const& run, ChildResult const& result) {
        Told const told = parse(result.said);
        std::string const fault = faultOf(result, told);
        ++numRuns_;
        numRefused_ += told.numRefused;
        seconds_ += result.seconds;
        std::string const name = run.name + "\t" + std::string(run.pipeline->name);
        if (result.seconds > slowest_) {
            slowest_ = result.seconds;
            slowestRun_ = name;
        }
        if (result.mebibytes > largest_) {
            largest_ = result.mebibytes;
            largestRun_ = name;
        }
        if (!fault.empty())
            broken_.push_back(name + "\t" + fault);
        if (!isQuiet_ || !fault.empty())
            std::printf("%s\t%s\t%s\t%.2f\t%.0f\t%s\n", name.c_str(),
                        fault.empty() ? "done" : fault.c_str(), told.hash.c_str(), result.seconds,
                        result.mebibytes, told.refusals.c_str());
        std::fflush(stdout);
    }

    int finish() const {
        std::printf("\n%d runs, %d steps refused, %zu broken; %.0f s in all\n", numRuns_,
                    numRefused_, broken_.size(), seconds_);
        std::printf("slowest: %.1f s, %s\nlargest: %.0f MiB, %s\n", slowest_, slowestRun_.c_str(),
                    largest_, largestRun_.c_str());
        for (std::string const& line : broken_)
            std::printf("BROKEN\t%s\n", line.c_str());
        return broken_.empty() && numRuns_ > 0 ? 0 : 1;
    }

private:
    static std::string faultOf(ChildResult const& result, Told const& told) {
        std::string const at = " in " + told.step;
        switch (result.end) {
        case ChildResult::End::Crashed:
            return "crashed (signal " + std::to_string(result.signal) + ")" + at;
        case ChildResult::End::TooSlow:
            return "too slow" + at;
        case ChildResult::End::TooLarge:
            return "out of memory" + at;
        case ChildResult::End::Threw:
            return "threw" + at + ": " + oneLine(result.said.substr(result.said.rfind('\n') + 1));
        case ChildResult::End::Done:
            break;
        }
        return told.broken.empty() ? "" : told.broken + at;
    }

    bool isQuiet_;
    int numRuns_ = 0;
    int numRefused_ = 0;
    double seconds_ = 0.0;
    double slowest_ = 0.0;
    double largest_ = 0.0;
    std::string slowestRun_;
    std::string largestRun_;
    std::vector<std::string> broken_;
};

CompactMesh readCorpus(std::string const& path) {
    CompactMesh mesh;
    trimora::ReadReport report;
    auto const outcome = trimora::readMesh(path, mesh, report);
    if (!outcome)
        throw std::runtime_error(outcome.message);
    return mesh;
}

std::string baseOf(std::string const& path) {
    return path.substr(path.rfind('/') + 1);
}

/// Meshes of the folder; those with too many triangles are found out in a child of their own, since reading starts threads.
std::vector<std::string> corpusPaths(Arguments const& arguments) {
    std::vector<std::string> const& all = support::corpus();
    if (arguments.mostTriangles == 0)
        return all;
    std::vector<proof::ChildWork> works;
    for (std::string const& path : all)
        works.push_back(
            [path](auto const& say) { say(std::to_string(readCorpus(path).getNumTriangles())); });
    std::vector<std::string> kept;
    proof::runInChildren(works, 1, {}, [&](std::size_t i, ChildResult const& result) {
        if (std::atoi(result.said.c_str()) <= arguments.mostTriangles)
            kept.push_back(all[i]);
    });
    return kept;
}

std::vector<Run> corpusRuns(Arguments const& arguments) {
    std::vector<Run> runs;
    for (std::string const& path : corpusPaths(arguments))
        for (Pipeline const& pipeline : proof::pipelines)
            runs.push_back({baseOf(path), &pipeline, [path] { return readCorpus(path); }});
    return runs;
}

std::vector<Run> madeRuns(Arguments const& arguments) {
    constexpr std::uint64_t count = std::size(proof::pipelines);
    std::vector<Run> runs;
    for (std::uint64_t seed = arguments.firstSeed; seed <= arguments.lastSeed; ++seed)
        for (std::uint64_t i = 0; i < std::min(arguments.each, count); ++i)
            runs.push_back({"seed " + std::to_string(seed),
                            &proof::pipelines[(seed * arguments.each + i) % count],
                            [seed] { return support::madeMesh(seed).mesh; }});
    return runs;
}

/// As a file would hold it: the reader has to drop what is out of range.
CompactMesh throughText(CompactMesh const& mesh) {
    CompactMesh read;
    trimora::ReadReport report;
    auto const outcome =
        trimora::readMeshText(support::objTextOf(mesh), "damaged.obj", read, report, {});
    proof::require(bool(outcome), outcome.message);
    proof::require(report.dropped.outOfRange > 0, "indices out of range were not noticed");
    return read;
}

std::vector<Run> damageRuns(Arguments const& arguments) {
    std::vector<Run> runs;
    std::uint64_t const seed = arguments.seed;
    for (std::string const& path : corpusPaths(arguments))
        for (support::Damage const& damage : support::damages())
            for (Pipeline const& pipeline : proof::pipelines) {
                if (!pipeline.isRaw && pipeline.name != "repairAll")
                    continue;
                std::string const name = baseOf(path) + " " + damage.name;
                auto const spoil = [path, &damage, seed] {
                    support::Random random(seed);
                    return damage.apply(readCorpus(path), random);
                };
                runs.push_back({name, &pipeline, spoil});
                if (&damage == &support::damages().front())
                    runs.push_back(
                        {name + " (file)", &pipeline, [spoil] { return throughText(spoil()); }});
            }
    return runs;
}

/// How often each defect is there, by a count of its own; false when that is not as often as it was to be.
bool tellRates(Arguments const& arguments) {
    std::array<int, support::NumMadeDefects> counts = {};
    double const total = static_cast<double>(arguments.lastSeed - arguments.firstSeed + 1);
    for (std::uint64_t seed = arguments.firstSeed; seed <= arguments.lastSeed; ++seed) {
        auto const has = support::defectsOf(support::madeMesh(seed).mesh);
        for (std::size_t i = 0; i < has.size(); ++i)
            counts[i] += has[i];
    }
    bool areRight = true;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        double const share = counts[i] / total;
        areRight = areRight && std::abs(share - support::madeDefectRates[i]) < 0.06;
        std::printf("%s: %.1f %% (to be %.0f %%)\n", support::madeDefectNames[i], 100.0 * share,
                    100.0 * support::madeDefectRates[i]);
    }
    return areRight || total < 500.0;
}

std::optional<Arguments> parseArguments(int argc, char** argv) {
    Arguments arguments;
    if (argc < 2)
        return {};
    arguments.kind = argv[1];
    for (int i = 2; i < argc; ++i) {
        std::string const name = argv[i];
        if (name == "--quiet") {
            arguments.isQuiet = true;
            continue;
        }
        if (++i == argc)
            return {};
        char* rest = nullptr;
        std::uint64_t const number = std::strtoull(argv[i], &rest, 10);
        if (name == "--seeds") {
            arguments.firstSeed = number;
            arguments.lastSeed = *rest == '-' ? std::strtoull(rest + 1, nullptr, 10) : number;
        } else if (name == "--each")
            arguments.each = number;
        else if (name == "--seed")
            arguments.seed = number;
        else if (name == "--only")
            arguments.only = argv[i];
        else if (name == "--most-triangles")
            arguments.mostTriangles = static_cast<int>(number);
        else if (name == "--jobs")
            arguments.jobs = static_cast<int>(number);
        else if (name == "--threads")
            arguments.threads = static_cast<int>(number);
        else
            return {};
    }
    return arguments;
}

int runAll(Arguments const& arguments, std::vector<Run> const& all) {
    std::vector<Run> runs;
    for (Run const& run : all)
        if (arguments.only.empty() || run.name.find(arguments.only) != std::string::npos ||
            run.pipeline->name.find(arguments.only) != std::string::npos)
            runs.push_back(run);
    std::vector<proof::ChildWork> works;
    for (Run const& run : runs)
        works.push_back([&run, threads = arguments.threads](auto const& say) {
            runPipeline(run, threads, say);
        });
    int const jobs =
        arguments.jobs > 0 ? arguments.jobs : static_cast<int>(std::thread::hardware_concurrency());
    Report report(arguments.isQuiet);
    proof::runInChildren(
        works, std::max(jobs, 1), {},
        [&](std::size_t i, ChildResult const& result) { report.add(runs[i], result); });
    return report.finish();
}

}  // namespace

int main(int argc, char** argv) {
    auto const arguments = parseArguments(argc, argv);
    if (!arguments) {
        std::fprintf(stderr, "trimora_proof corpus|made|damage [options]: see the head of its "
                             "source\n");
        return 2;
    }
    if (arguments->kind == "made") {
        bool const areRatesRight = tellRates(*arguments);
        int const code = runAll(*arguments, madeRuns(*arguments));
        return areRatesRight ? code : 1;
    }
    bool const isDamage = arguments->kind == "damage";
    if (!isDamage && arguments->kind != "corpus")
        return 2;
    if (support::corpus().empty())
        return 0;  // told by the corpus itself
    return runAll(*arguments, isDamage ? damageRuns(*arguments) : corpusRuns(*arguments));
}
