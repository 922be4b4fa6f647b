#include "harness.h"

#include "toolkit/readMesh.h"
#include "toolkit/sampleMeshes.h"

#include "trimora/connectivity/meshBoundingBox.h"
#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koUtil/ThreadPool.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <utility>

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;
using koGeom::CompactMesh;

nlohmann::ordered_json results = nlohmann::ordered_json::array();

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

bool isWanted(std::string const& job) {
    auto const& only = options().only;
    return only.empty() || std::any_of(only.begin(), only.end(), [&job](std::string const& part) {
               return job.find(part) != std::string::npos;
           });
}

NamedMesh makeSmall() {
    CompactMesh scan = corpusMesh("nefertiti.obj");
    if (scan.getNumTriangles() > 0)
        return {"nefertiti", scan};
    std::fprintf(
        stderr, "TRIMORA_CORPUS names no folder with nefertiti.obj: the mesh is a generated one\n");
    return {"generated", inOrderOfUse(trimora::makeScan(7, 1))};
}

struct Times {
    double median;
    double shortest;
    int runs;
};

// A first run is not counted where there are others. It pays for the memory that the system has not handed out before; a
// virtual machine may have to ask its host for it, which can take seconds a gigabyte.
Times measure(Case const& each) {
    std::vector<double> seconds;
    bool isFirst = options().maxRuns > 1;
    Clock::time_point const start = Clock::now();
    while (static_cast<int>(seconds.size()) < options().maxRuns &&
           (seconds.empty() || secondsSince(start) < options().budget)) {
        each.setup();
        Clock::time_point const begin = Clock::now();
        each.body();
        if (!std::exchange(isFirst, false))
            seconds.push_back(secondsSince(begin));
    }
    std::sort(seconds.begin(), seconds.end());
    return {seconds[seconds.size() / 2], seconds.front(), static_cast<int>(seconds.size())};
}

void report(Case const& each, int threads, Times const& times) {
    double const items = each.items > 0.0 ? each.items : each.triangles;
    std::string const check = each.check();
    std::printf("job=%s\tpeer=%s\tthreads=%d\tmesh=%s\ttris=%d\tmedian_s=%.6f\tmin_s=%."
                "6f\truns=%d\tper_s=%.4g\t%s\n",
                each.job.c_str(), each.peer, threads, each.mesh.c_str(), each.triangles,
                times.median, times.shortest, times.runs, items / times.median, check.c_str());
    std::fflush(stdout);
    results.push_back({{"job", each.job},
                       {"peer", each.peer},
                       {"threads", threads},
                       {"mesh", each.mesh},
                       {"triangles", each.triangles},
                       {"median_s", times.median},
                       {"min_s", times.shortest},
                       {"runs", times.runs},
                       {"per_s", items / times.median},
                       {"check", check}});
}

NamedMesh wavy(NamedMesh const& named) {
    NamedMesh result{named.name + "_wavy", named.mesh};
    koGeom::BoundingBox box;
    koGeom::meshBoundingBox(named.mesh, box);
    double const diagonal = static_cast<double>(box.diagonalLength());
    std::uint64_t state = 3;
    auto const uniform = [&state] {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        return static_cast<double>(state >> 11) * 0x1.0p-53;
    };
    float* const coordinates = result.mesh.getVerticesRaw();
    for (int v = 0; v < result.mesh.getNumVertices(); ++v) {
        float* const p = coordinates + 3 * static_cast<std::ptrdiff_t>(v);
        double const at[3] = {p[0] / diagonal, p[1] / diagonal, p[2] / diagonal};
        for (int k = 0; k < 3; ++k) {
            double const wave = std::sin(170.0 * at[(k + 1) % 3] + 40.0 * at[(k + 2) % 3]);
            p[k] += static_cast<float>(diagonal * (5e-4 * wave + 2e-5 * (uniform() - 0.5)));
        }
    }
    return result;
}

}  // namespace

Options& options() {
    static Options instance;
    return instance;
}

// What mesh readers of other benchmarks do.
CompactMesh inOrderOfUse(CompactMesh const& mesh) {
    std::vector<int> newNumber(static_cast<std::size_t>(mesh.getNumVertices()), -1);
    std::vector<float> coordinates;
    std::vector<int> triangles;
    for (int i = 0; i < 3 * mesh.getNumTriangles(); ++i) {
        int const v = mesh.getTrianglesRaw()[i];
        int& number = newNumber[static_cast<std::size_t>(v)];
        if (number < 0) {
            number = static_cast<int>(coordinates.size() / 3);
            float const* const p = mesh.getVerticesRaw() + 3 * static_cast<std::ptrdiff_t>(v);
            coordinates.insert(coordinates.end(), p, p + 3);
        }
        triangles.push_back(number);
    }
    CompactMesh ordered(static_cast<int>(coordinates.size() / 3), nullptr, nullptr, nullptr,
                        nullptr);
    std::copy(coordinates.begin(), coordinates.end(), ordered.getVerticesRaw());
    ordered.copyTriangles(static_cast<int>(triangles.size() / 3), triangles.data());
    return ordered;
}

CompactMesh corpusMesh(std::string const& file) {
    char const* const folder = std::getenv("TRIMORA_CORPUS");
    CompactMesh mesh;
    trimora::ReadReport report;
    if (folder == nullptr || !trimora::readMesh(std::string(folder) + "/" + file, mesh, report))
        return CompactMesh();
    return inOrderOfUse(mesh);
}

NamedMesh const& smallMesh() {
    static NamedMesh const mesh = makeSmall();
    return mesh;
}

NamedMesh const& largeMesh() {
    static NamedMesh const mesh{smallMesh().name + "_x16",
                                inOrderOfUse(split(split(smallMesh().mesh)))};
    return mesh;
}

NamedMesh const& wavyMesh() {
    static NamedMesh const mesh = wavy(largeMesh());
    return mesh;
}

std::vector<NamedMesh const*> bothMeshes() {
    if (options().smallOnly)
        return {&smallMesh()};
    return {&smallMesh(), &largeMesh()};
}

CompactMesh split(CompactMesh const& mesh) {
    struct Edge {
        std::uint64_t key;
        int slot;
    };
    int const numCorners = 3 * mesh.getNumTriangles();
    int const* const triangles = mesh.getTrianglesRaw();
    std::vector<Edge> edges(static_cast<std::size_t>(numCorners));
    for (int i = 0; i < numCorners; ++i) {
        auto const [low, high] = std::minmax(triangles[i], triangles[i - i % 3 + (i % 3 + 1) % 3]);
        edges[static_cast<std::size_t>(i)] = {
            static_cast<std::uint64_t>(low) << 32 | static_cast<std::uint32_t>(high), i};
    }
    std::sort(edges.begin(), edges.end(),
              [](Edge const& a, Edge const& b) { return a.key < b.key; });
    std::vector<float> coordinates(mesh.getVerticesRaw(),
                                   mesh.getVerticesRaw() + 3 * mesh.getNumVertices());
    std::vector<int> middle(static_cast<std::size_t>(numCorners));
    for (std::size_t i = 0; i < edges.size(); ++i) {
        if (i == 0 || edges[i].key != edges[i - 1].key) {
            auto const a = static_cast<std::size_t>(edges[i].key >> 32);
            auto const b = static_cast<std::size_t>(edges[i].key & 0xFFFFFFFFu);
            for (std::size_t axis = 0; axis < 3; ++axis)
                coordinates.push_back(0.5f *
                                      (coordinates[3 * a + axis] + coordinates[3 * b + axis]));
        }
        middle[static_cast<std::size_t>(edges[i].slot)] =
            static_cast<int>(coordinates.size() / 3) - 1;
    }
    std::vector<int> parts;
    for (std::size_t i = 0; i < middle.size(); i += 3) {
        int const a = triangles[i], b = triangles[i + 1], c = triangles[i + 2];
        int const x = middle[i], y = middle[i + 1], z = middle[i + 2];
        parts.insert(parts.end(), {a, x, z, x, b, y, z, y, c, x, y, z});
    }
    CompactMesh result(static_cast<int>(coordinates.size() / 3), nullptr, nullptr, nullptr,
                       nullptr);
    std::copy(coordinates.begin(), coordinates.end(), result.getVerticesRaw());
    result.copyTriangles(static_cast<int>(parts.size() / 3), parts.data());
    return result;
}

void run(Case const& each, std::vector<int> const& threadCounts) {
    if (!isWanted(each.job))
        return;
    std::vector<int> counts = threadCounts;
    if (counts.empty()) {
        counts.push_back(1);
        if (koUtil::ThreadPool::get().numThreads > 1)
            counts.push_back(koUtil::ThreadPool::get().numThreads);
    }
    for (int const threads : counts) {
        koUtil::ThreadPool pool(threads);
        koUtil::ThreadPool::setShared(&pool);
        report(each, threads, measure(each));
        koUtil::ThreadPool::setShared(nullptr);
    }
}

std::string figure(char const* name, double value) {
    char text[96];
    std::snprintf(text, sizeof text, "%s=%.10g ", name, value);
    return text;
}

bool writeJson() {
    if (options().json.empty())
        return true;
    std::ofstream file(options().json);
    file << results.dump(1) << '\n';
    return static_cast<bool>(file.flush());
}

}  // namespace bench
