// The strips are made on a copy, once as they are, and once joined if they are to be: the lengths of the first tell where the joins
// of the second lie, so that triangles that had no area before the joining are not taken for joins.

#include "toolkit/meshStrips.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/meshTidying.h"

#include "trimora/assembly/MeshTriStrip.h"
#include "trimora/assembly/meshExtract.h"
#include "trimora/assembly/meshRemapStripsAndFans.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/MeshSubset.h"
#include "trimora/contract/koOS/StopWatch.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace trimora {

namespace {

using koGeom::CompactMesh;

/// One strip before the joining, in the points of the mesh's strips.
struct Run {
    int begin;
    int length;
};

std::string faultOf(CompactMesh const& mesh, StripOptions const& options) {
    constexpr int mostPointsOfTriangle = 6;  // a strip of its own and three points of a join
    if (mesh.getNumTriangles() == 0)
        return "holds no triangles to put into strips";
    if (options.maxLength < 3)
        return "a strip needs 3 points; allow more than " + std::to_string(options.maxLength);
    if (options.cacheSize.value_or(0) < 0)
        return "a cache holds 0 vertices or more, not " + std::to_string(*options.cacheSize);
    if (mesh.getNumTriangles() > std::numeric_limits<int>::max() / mostPointsOfTriangle)
        return "has too many triangles for one list of points; split it first";
    return {};
}

std::vector<Run> runsOf(CompactMesh const& stripped, bool isSingle) {
    std::vector<Run> runs;
    int end = 0;
    for (int const length : stripped.triStrips.lengths) {
        // A join repeats the last point and the next one, and that once more after an odd count.
        int const begin = isSingle && end > 0 ? end + 2 + end % 2 : end;
        runs.push_back({begin, length});
        end = begin + length;
    }
    return runs;
}

class Stripping {
public:
    Stripping(CompactMesh const& mesh, StripOptions const& options, koUtil::Progress& progress)
        : mesh_(mesh), options_(options), progress_(progress) {}

    StripOutcome run(CompactMesh& result);

private:
    bool make();
    bool isStoppedAt(double share);
    bool computeStrips();
    void measure();
    void numberByUse();
    void copyVertices();
    void writeTriangles();

    CompactMesh const& mesh_;
    StripOptions const& options_;
    koUtil::Progress& progress_;
    CompactMesh work_;  // positions and triangles; gets the strips
    std::vector<Run> runs_;
    CompactMesh result_;
    StripOutcome outcome_;
};

StripOutcome Stripping::run(CompactMesh& result) {
    if (isRefused(outcome_, mesh_))
        return std::move(outcome_);
    outcome_.refusal = faultOf(mesh_, options_);
    if (!outcome_.refusal.empty())
        return std::move(outcome_);
    koOS::StopWatch watch;
    watch.start();
    if (!make())
        return cancelledOutcome<StripOutcome>();
    MeshState const source = stateOf(mesh_, depthFor(mesh_));
    Expectation expected;
    expected.spreadsNonfinite = options_.cacheSize.has_value();  // a vertex may come several times
    expected.triangles = mesh_.getNumTriangles();
    if (!options_.cacheSize && source.census)
        expected.eulerNumber = source.census->eulerNumber();
    if (SurfaceFault const fault = faultOfMade(source, result_, expected)) {
        outcome_ = StripOutcome();
        refuse(outcome_, fault);
        return std::move(outcome_);
    }
    if (isStoppedAt(1.0))
        return cancelledOutcome<StripOutcome>();
    result.swap(result_);
    outcome_.seconds = watch.clear();
    return std::move(outcome_);
}

/// False when it was cancelled.
bool Stripping::make() {
    if (isStoppedAt(0.0) || !computeStrips() || isStoppedAt(0.7))
        return false;
    numberByUse();
    measure();
    if (isStoppedAt(0.8))
        return false;
    if (options_.cacheSize)
        copyVertices();
    writeTriangles();
    return !isStoppedAt(0.9);
}

/// share   of the time, gone by now
bool Stripping::isStoppedAt(double share) {
    progress_.set(share);
    return progress_.cancelled();
}

bool Stripping::computeStrips() {
    work_ = bareCopy(mesh_);
    koGeom::MeshAdjTris adjTris;
    koGeom::meshAdjTris(work_, adjTris);
    if (isStoppedAt(0.2))
        return false;
    koGeom::MeshTriStrip strips(work_, adjTris);
    strips.computeStrips(options_.maxLength, false);
    runs_ = runsOf(work_, options_.isSingle);
    if (!options_.isSingle)
        return true;
    if (isStoppedAt(0.5))
        return false;
    strips.computeStrips(options_.maxLength, true);
    return true;
}

void Stripping::numberByUse() {
    koGeom::MeshSequence const& strips = work_.triStrips;
    std::vector<int> newOf(static_cast<std::size_t>(mesh_.getNumVertices()), -1);
    std::vector<int> order;
    for (int const vertex : strips.points) {
        int& number = newOf[static_cast<std::size_t>(vertex)];
        if (number >= 0)
            continue;
        number = static_cast<int>(order.size());
        order.push_back(vertex);
    }
    koGeom::MeshSubset const inUse(static_cast<int>(order.size()), order.data(), 0, nullptr);
    koGeom::meshExtract(result_, mesh_, inUse);
    result_.resizeTriStripArrays(strips.getNumPoints(), strips.getNumRuns());
    std::copy(strips.lengths.begin(), strips.lengths.end(), result_.getTriStripLengths());
    std::transform(strips.points.begin(), strips.points.end(), result_.getTriStripPoints(),
                   [&newOf](int vertex) { return newOf[static_cast<std::size_t>(vertex)]; });
}

void Stripping::measure() {
    outcome_.vertices = result_.getNumVertices();
    outcome_.unusedVertices = mesh_.getNumVertices() - outcome_.vertices;
    outcome_.strips = result_.getNumTriStrips();
    outcome_.joinedStrips = options_.isSingle ? static_cast<int>(runs_.size()) : 0;
    outcome_.points = result_.getNumTriStripPoints();
    for (Run const& run : runs_)
        outcome_.longest = std::max(outcome_.longest, run.length);
    outcome_.compactness = 2.0 * outcome_.vertices / outcome_.points;
}

/// What this makes of the triangles holds for one strip alone, and for joins too: they are written afterwards.
void Stripping::copyVertices() {
    koGeom::meshRemapStripsAndFans(result_, *options_.cacheSize);
    outcome_.vertexIncrease = double(result_.getNumVertices()) / outcome_.vertices;
}

void Stripping::writeTriangles() {
    result_.resizeTriangleArray(mesh_.getNumTriangles());
    koGeom::MeshTriangle* out = result_.getTriangles();
    for (Run const& run : runs_) {
        int const* const p = result_.triStrips.points.data() + run.begin;
        for (int k = 2; k < run.length; ++k, ++out) {
            bool const isOdd = k % 2 != 0;
            (*out)[0] = p[isOdd ? k - 1 : k - 2];
            (*out)[1] = p[isOdd ? k - 2 : k - 1];
            (*out)[2] = p[k];
        }
    }
}

}  // namespace

StripOutcome makeStrips(CompactMesh const& mesh, StripOptions const& options, CompactMesh& result,
                        koUtil::Progress& progress) {
    return Stripping(mesh, options, progress).run(result);
}

}  // namespace trimora
