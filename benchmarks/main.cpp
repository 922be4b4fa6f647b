// trimora_bench [--only=TEXT]... [--budget=S] [--runs=N] [--json=FILE] [--small]

#include "harness.h"

#include <cstdio>
#include <cstdlib>
#include <string>

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        std::string const argument = argv[i];
        auto const valueOf = [&argument](char const* name) {
            std::string const prefix = std::string(name) + "=";
            return argument.rfind(prefix, 0) == 0 ? argument.substr(prefix.size()) : std::string();
        };
        if (auto const only = valueOf("--only"); !only.empty())
            bench::options().only.push_back(only);
        else if (auto const budget = valueOf("--budget"); !budget.empty())
            bench::options().budget = std::atof(budget.c_str());
        else if (auto const runs = valueOf("--runs"); !runs.empty())
            bench::options().maxRuns = std::atoi(runs.c_str());
        else if (auto const json = valueOf("--json"); !json.empty())
            bench::options().json = json;
        else if (argument == "--small")
            bench::options().smallOnly = true;
        else {
            std::fprintf(stderr, "usage: trimora_bench [--only=TEXT]... [--budget=S] [--runs=N] "
                                 "[--json=FILE] [--small]\n");
            return 2;
        }
    }
    bench::connectivityCases();
    bench::assemblyCases();
    bench::partsCases();
    bench::spatialCases();
    bench::pickCases();
    bench::scanCases();
    bench::repairCases();
    bench::planarCases();
    bench::hullCases();
    bench::polygonCases();
    bench::strokeCases();
    bench::topologyCases();
    bench::cutCases();
    bench::reduceCases();
    bench::collapseCases();
    bench::measureCases();
    bench::offsetCases();
    bench::collarCases();
    bench::fillCases();
    bench::solverCases();
    bench::flattenCases();
    bench::mergeCases();
    bench::stitchCases();
    bench::toolkitCases();
    return bench::writeJson() ? 0 : 1;
}
