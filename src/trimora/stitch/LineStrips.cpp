#include "trimora/stitch/detail/LineStrips.h"

#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"
#include "trimora/stitch/detail/WeldGrid.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

// The way along strips is summed up in one walk. The nearest points are looked for by slices of the vertices, each into a list of its
// own; the lists follow each other in the order of the vertices, so that nothing depends on the number of threads. Vertices in one place
// share what the first of them finds: where many copies of a strip lie on one another, each point is near all of them, and as many
// searches as there are copies would each go through all of them.

namespace koGeom::MeshLineTopology {

namespace {

// Below this many vertices a run costs more than it saves.
constexpr int fewestPooled = 10000;
// Places that are looked up at a time.
constexpr int placesAtATime = 1024;

}  // namespace

/// One thread's search: the strips near one vertex after the other, and the nearest point of each.
class LineStrips::NeighbourSearch {
public:
    NeighbourSearch(LineStrips const& strips, Octree const& octree, OctreeLines const& octreeLines,
                    double distance)
        : strips_(strips),
          finder_(strips.mesh_, octree, octreeLines, distance),
          met_(strips.count()),
          place_(at(strips.count()), 0) {}

    void find(int vertex, ko::vector<Neighbour>& found);

private:
    static std::size_t at(int i) { return static_cast<std::size_t>(i); }
    void consider(int vertex, int end, int strip, ko::vector<Neighbour>& found);

    LineStrips const& strips_;
    detail::CloseLineFinder finder_;
    VisitStamps met_;                ///< strips that the vertex in hand has met
    ko::vector<std::size_t> place_;  ///< of the neighbour on such a strip
};

/// By number of the strip.
void LineStrips::NeighbourSearch::find(int vertex, ko::vector<Neighbour>& found) {
    std::size_t const first = found.size();
    MeshLine const* const lines = strips_.mesh_.getLines();
    met_.nextQuery();
    auto const visit = [&](int line) {
        int const strip = strips_.stripOf_[at(lines[line][0])];
        if (strip < 0)
            return;
        consider(vertex, lines[line][0], strip, found);
        consider(vertex, lines[line][1], strip, found);
    };
    if (strips_.sharesPlaces_)
        finder_.findAt(vertex, visit);
    else
        finder_.find(vertex, visit);
    std::sort(found.begin() + static_cast<std::ptrdiff_t>(first), found.end(),
              [](Neighbour const& a, Neighbour const& b) { return a.strip < b.strip; });
}

/// The end of a line of the strip: the first of equally near ones stays. Of a line between strips the other
/// end does not count.
void LineStrips::NeighbourSearch::consider(int vertex, int end, int strip,
                                           ko::vector<Neighbour>& found) {
    if (strips_.stripOf_[at(end)] != strip)
        return;
    MeshVertex const* const vertices = strips_.vertices_;
    double const distance2 =
        koLinear::distance2(vertices[vertex].asPoint(), vertices[end].asPoint());
    if (!(distance2 < std::numeric_limits<double>::infinity()))
        return;
    int const position = strips_.positionOf_[at(end)];
    std::size_t& place = place_[at(strip)];
    if (met_.meet(strip)) {
        place = found.size();
        found.push_back({strip, position, distance2});
    } else if (distance2 < found[place].distance2) {
        found[place] = {strip, position, distance2};
    }
}

/// One slice of the vertices a thread, into its own list.
class LineStrips::NeighboursAlg : public koUtil::ThreadedAlg {
public:
    NeighboursAlg(LineStrips& strips, Octree const& octree, OctreeLines const& octreeLines,
                  double distance, BitVector const& asking)
        : strips_(strips),
          octree_(octree),
          octreeLines_(octreeLines),
          distance_(distance),
          asking_(asking) {}

    void initialize(int numThreads) override {
        slices_.resize(static_cast<std::size_t>(numThreads));
    }

    void execute(int threadIndex, int numThreads) override {
        int const numVertices = asking_.size;
        NeighbourSearch search(strips_, octree_, octreeLines_, distance_);
        ko::vector<Neighbour>& found = slices_[static_cast<std::size_t>(threadIndex)];
        int const end = getBeginIndex(threadIndex + 1, numThreads, numVertices);
        for (int v = getBeginIndex(threadIndex, numThreads, numVertices); v < end; ++v) {
            std::size_t const before = found.size();
            if (asking_.isBitSet(v) != 0)
                search.find(v, found);
            // The count for now: where the slice begins is not known yet.
            strips_.firstNeighbour_[static_cast<std::size_t>(v) + 1] = found.size() - before;
        }
    }

    void finalize() override {
        for (std::size_t v = 1; v < strips_.firstNeighbour_.size(); ++v)
            strips_.firstNeighbour_[v] += strips_.firstNeighbour_[v - 1];
        strips_.neighbours_ = std::move(slices_.front());
        strips_.neighbours_.reserve(strips_.firstNeighbour_.back());
        for (std::size_t i = 1; i < slices_.size(); ++i)
            strips_.neighbours_.insert(strips_.neighbours_.end(), slices_[i].begin(),
                                       slices_[i].end());
    }

private:
    LineStrips& strips_;  // of which workers write the counts of their slice
    Octree const& octree_;
    OctreeLines const& octreeLines_;
    double distance_;
    BitVector const& asking_;
    ko::vector<ko::vector<Neighbour>> slices_;
};

LineStrips::LineStrips(CompactMesh const& mesh) : mesh_(mesh) {}

void LineStrips::measure(Octree const& octree, OctreeLines const& octreeLines, double distance) {
    vertices_ = mesh_.getVertices();
    starts_ = mesh_.getLineStripStarts();
    offsets_ = mesh_.lineStrips.getOffsets();
    locate();
    measureWays();

    int const numVertices = mesh_.getNumVertices();
    neighbours_.clear();
    asker_.assign(static_cast<std::size_t>(numVertices), 0);
    firstNeighbour_.assign(static_cast<std::size_t>(numVertices) + 1, 0);
    if (!(distance > 0.0))
        return;
    BitVector asking = lineEndsOnStrips();
    sharePlaces(asking);
    NeighboursAlg alg(*this, octree, octreeLines, distance, asking);
    (numVertices < fewestPooled ? koUtil::ThreadPool::getSingleThreadedPool()
                                : koUtil::ThreadPool::get())
        .run(alg);
}

void LineStrips::locate() {
    stripOf_.assign(static_cast<std::size_t>(mesh_.getNumVertices()), -1);
    positionOf_.assign(stripOf_.size(), -1);
    for (int strip = 0; strip < count(); ++strip)
        for (int position = 0; position < size(strip); ++position) {
            auto const at = static_cast<std::size_t>(vertex(strip, position));
            if (stripOf_[at] >= 0)
                continue;
            stripOf_[at] = strip;
            positionOf_[at] = position;
        }
}

void LineStrips::measureWays() {
    ways_.clear();
    for (int strip = 0; strip < count(); ++strip) {
        double way = 0.0;
        ways_.push_back(way);
        for (int position = 0; position < size(strip); ++position) {
            way += distance(point(strip, position), point(strip, following(strip, position)));
            ways_.push_back(way);
        }
    }
}

BitVector LineStrips::lineEndsOnStrips() const {
    BitVector ends(mesh_.getNumVertices());
    for (int line = 0; line < mesh_.getNumLines(); ++line)
        for (int const end : mesh_.getLines()[line].vertices)
            if (stripOf_[static_cast<std::size_t>(end)] >= 0)
                ends.setBit(end);
    return ends;
}

/// Whether both ends of each line lie on one strip: then lines that end in a vertex tell of its own strip alone.
bool LineStrips::areLinesOfStrips() const {
    MeshLine const* const lines = mesh_.getLines();
    return std::all_of(lines, lines + mesh_.getNumLines(), [this](MeshLine const& line) {
        return stripOf_[static_cast<std::size_t>(line[0])] ==
               stripOf_[static_cast<std::size_t>(line[1])];
    });
}

/// Leaves the first of those in one place to ask for all of them.
void LineStrips::sharePlaces(BitVector& asking) {
    int const numVertices = mesh_.getNumVertices();
    asker_.resize(static_cast<std::size_t>(numVertices));
    std::iota(asker_.begin(), asker_.end(), 0);
    sharesPlaces_ = areLinesOfStrips();
    if (!sharesPlaces_)
        return;

    detail::WeldGrid places(0.0f);
    ko::vector<int> firstAt;  // by place
    ko::vector<int> asked;
    ko::vector<PointFlt> points;
    ko::vector<int> numbers(placesAtATime);
    auto const lookUp = [&] {
        places.weld(points.data(), static_cast<int>(points.size()), numbers.data());
        firstAt.resize(static_cast<std::size_t>(places.count()), -1);
        for (std::size_t i = 0; i < asked.size(); ++i) {
            int& first = firstAt[static_cast<std::size_t>(numbers[i])];
            first = first < 0 ? asked[i] : first;
            asker_[static_cast<std::size_t>(asked[i])] = first;
            if (first != asked[i])
                asking.clearBit(asked[i]);
        }
        asked.clear();
        points.clear();
    };
    for (int v = 0; v < numVertices; ++v) {
        PointFlt const p = vertices_[v].asPointFlt();
        if (asking.isBitSet(v) == 0 || !std::isfinite(p.x + p.y + p.z))
            continue;
        asked.push_back(v);
        points.push_back(p);
        if (static_cast<int>(asked.size()) == placesAtATime)
            lookUp();
    }
    lookUp();
}

LineStrips::Neighbours LineStrips::neighbours(int strip, int position) const {
    auto const at =
        static_cast<std::size_t>(asker_[static_cast<std::size_t>(vertex(strip, position))]);
    return {neighbours_.data() + firstNeighbour_[at], neighbours_.data() + firstNeighbour_[at + 1]};
}

LineStrips::Neighbour const* LineStrips::nearest(int strip, int position, int otherStrip) const {
    Neighbours const all = neighbours(strip, position);
    Neighbour const* const found = std::lower_bound(
        all.begin(), all.end(), otherStrip,
        [](Neighbour const& neighbour, int number) { return neighbour.strip < number; });
    return found != all.end() && found->strip == otherStrip ? found : nullptr;
}

double LineStrips::length(int strip, koUtil::CircularRange const& range) const {
    double const* const way = waysOf(strip);
    double const round = way[size(strip)];
    if (range.isFull())
        return round;
    double const between = way[range.end] - way[range.start];
    return range.start <= range.end ? between : round + between;
}

}  // namespace koGeom::MeshLineTopology
