#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"

#include <functional>
#include <string>
#include <vector>

/// Times cases and prints one line each: job, threads, mesh, median and shortest time, number of runs, and check figures, so that a
/// fast wrong answer shows.
namespace bench {

struct Options {
    std::vector<std::string> only;  ///< parts of job names; empty: all
    double budget = 4.0;            ///< seconds that one case is repeated at most
    int maxRuns = 7;
    std::string json;        ///< file for the results as an array of objects; empty: none
    bool smallOnly = false;  ///< leave out the large meshes
};

Options& options();

/// A mesh with the name that stands in the table.
struct NamedMesh {
    std::string name;
    koGeom::CompactMesh mesh;
};

/// About 100 k triangles: a real scan when TRIMORA_CORPUS names a folder that has it, else a generated one.
NamedMesh const& smallMesh();
/// The small one after two midpoint splits, about 1.6 M triangles.
NamedMesh const& largeMesh();
/// The large one moved by smooth waves and a little noise. A mesh of midpoint splits is flat nearly everywhere, so that removing
/// from it costs nothing; here it does.
NamedMesh const& wavyMesh();
/// The small mesh, and the large one unless it is left out.
std::vector<NamedMesh const*> bothMeshes();

/// A mesh of the folder that TRIMORA_CORPUS names, by file name, vertices in order of use; without triangles when it is absent.
koGeom::CompactMesh corpusMesh(std::string const& file);
/// The same mesh with its vertices in the order of their first use, and without those that no triangle uses.
koGeom::CompactMesh inOrderOfUse(koGeom::CompactMesh const& mesh);

/// Every triangle cut into four at its edge midpoints.
koGeom::CompactMesh split(koGeom::CompactMesh const& mesh);

struct Case {
    std::string job;
    std::string mesh;
    int triangles = 0;
    double items = 0.0;                   ///< what throughput counts; 0: the triangles
    std::function<void()> setup = [] {};  ///< before each run, not timed
    std::function<void()> body;           ///< timed
    std::function<std::string()> check = [] { return std::string(); };  ///< figures of the last run
    char const* peer = "Trimora";                                       ///< whose work is timed
};

/// Runs a case with one thread and with all cores, or with the given numbers of threads.
void run(Case const& each, std::vector<int> const& threadCounts = {});

/// "name=value" pieces of a check.
std::string figure(char const* name, double value);

/// Each file adds its cases here.
void connectivityCases();
void assemblyCases();
void partsCases();
void spatialCases();
void pickCases();
void repairCases();
void scanCases();
void planarCases();
void hullCases();
void polygonCases();
void topologyCases();
void cutCases();
void reduceCases();
void collapseCases();
void measureCases();
void offsetCases();
void collarCases();
void fillCases();
void flattenCases();
void solverCases();
void mergeCases();
void stitchCases();
void strokeCases();
void toolkitCases();

/// Writes the JSON file, if one was asked for; false when that fails.
bool writeJson();

}  // namespace bench
