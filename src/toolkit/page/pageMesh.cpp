// Triangles that can be drawn, and all vertices; above the limit a vertex clustering (Rossignac and Borrel 1993 [rossignac1993]): cells as
// large as the area asks for, widened until the rest is few enough. What findings point at is taken out of the clustering.

#include "toolkit/page/pageMesh.h"

#include "trimora/contract/koLinear/vectors.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <tuple>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::Point;
using koGeom::Vector;

using Corners = std::array<int, 3>;

constexpr double widening = 1.2;  // of cells, from round to round
constexpr int cellBits = 20;      // a coordinate of a cell; three of them fit a key
constexpr double trianglesPerCell =
    3.0;  // on a surface cut by a grid of cells, by its area in cells

class PageMeshAlg {
public:
    PageMeshAlg(CompactMesh const& mesh, Diagnosis const& diagnosis, int mostTriangles)
        : vertices_(mesh.getVerticesRaw()),
          triangles_(mesh.getTrianglesRaw()),
          numVertices_(vertices_ == nullptr ? 0 : mesh.getNumVertices()),
          numTriangles_(triangles_ == nullptr ? 0 : mesh.getNumTriangles()),
          diagnosis_(diagnosis),
          mostTriangles_(mostTriangles) {}

    PageMesh run();

private:
    struct Shown {
        Corners corners;
        int number;  // in the mesh
    };

    Point vertex(int v) const {
        float const* const p = vertices_ + 3 * std::ptrdiff_t(v);
        return {double(p[0]), double(p[1]), double(p[2])};
    }
    Corners triangle(int t) const {
        int const* const corners = triangles_ + 3 * std::ptrdiff_t(t);
        return {corners[0], corners[1], corners[2]};
    }
    bool isVertex(int v) const { return v >= 0 && v < numVertices_; }
    bool isFinite(int v) const;
    bool isDrawable(int t) const;

    void listDrawable();
    void markFound();
    void markPlace(FindingPlace const& place, std::size_t& room);
    void cluster();
    double firstCellSize(std::size_t target) const;
    /// Of each vertex the one that stands for its cell: the first that a finding points at, else the first.
    std::vector<int> representatives(double cellSize) const;
    std::vector<Shown> clustered(double cellSize) const;
    void writeWhole(PageMesh& out) const;
    void writeUsed(PageMesh& out) const;
    void writeVertex(int v, PageMesh& out) const;

    float const* vertices_;
    int const* triangles_;
    int numVertices_;
    int numTriangles_;
    Diagnosis const& diagnosis_;
    int mostTriangles_;

    std::vector<Shown> shown_;
    std::vector<bool> isFoundVertex_;
    std::vector<bool> isFoundTriangle_;
};

bool PageMeshAlg::isFinite(int v) const {
    float const* const p = vertices_ + 3 * std::ptrdiff_t(v);
    return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]);
}

bool PageMeshAlg::isDrawable(int t) const {
    Corners const corners = triangle(t);
    return std::all_of(corners.begin(), corners.end(),
                       [&](int v) { return isVertex(v) && isFinite(v); });
}

void PageMeshAlg::listDrawable() {
    shown_.reserve(static_cast<std::size_t>(numTriangles_));
    for (int t = 0; t < numTriangles_; ++t)
        if (isDrawable(t))
            shown_.push_back({triangle(t), t});
}

void PageMeshAlg::markFound() {
    isFoundVertex_.assign(static_cast<std::size_t>(numVertices_), false);
    isFoundTriangle_.assign(static_cast<std::size_t>(numTriangles_), false);
    auto room = static_cast<std::size_t>(mostTriangles_ / 2);
    for (Finding const& finding : diagnosis_.findings)
        for (FindingPlace const& place : finding.places)
            markPlace(place, room);
}

void PageMeshAlg::markPlace(FindingPlace const& place, std::size_t& room) {
    auto const markVertex = [&](int v) {
        if (isVertex(v))
            isFoundVertex_[static_cast<std::size_t>(v)] = true;
    };
    std::for_each(place.vertices.begin(), place.vertices.end(), markVertex);
    for (std::array<int, 2> const& edge : place.edges)
        std::for_each(edge.begin(), edge.end(), markVertex);
    for (int const t : place.triangles) {
        if (t < 0 || t >= numTriangles_ || isFoundTriangle_[static_cast<std::size_t>(t)] ||
            room == 0 || !isDrawable(t))
            continue;
        --room;
        isFoundTriangle_[static_cast<std::size_t>(t)] = true;
        Corners const corners = triangle(t);
        std::for_each(corners.begin(), corners.end(), markVertex);
    }
}

double PageMeshAlg::firstCellSize(std::size_t target) const {
    double area = 0.0;
    for (Shown const& shown : shown_) {
        auto const& [a, b, c] = shown.corners;
        area += 0.5 * cross(vertex(b) - vertex(a), vertex(c) - vertex(a)).length();
    }
    return std::sqrt(trianglesPerCell * area / static_cast<double>(target));
}

std::vector<int> PageMeshAlg::representatives(double cellSize) const {
    Point lowest(HUGE_VAL, HUGE_VAL, HUGE_VAL);
    for (Shown const& shown : shown_)
        for (int const v : shown.corners) {
            Point const p = vertex(v);
            lowest = {std::min(lowest.x, p.x), std::min(lowest.y, p.y), std::min(lowest.z, p.z)};
        }
    auto const step = [&](double offset) {
        constexpr double last = (1 << cellBits) - 1;
        return static_cast<std::uint64_t>(std::clamp(offset / cellSize, 0.0, last));
    };
    std::vector<std::tuple<std::uint64_t, bool, int>> cells;
    for (int v = 0; v < numVertices_; ++v)
        if (isFinite(v)) {
            Vector const offset = vertex(v) - lowest;
            std::uint64_t const key =
                (step(offset.x) << cellBits | step(offset.y)) << cellBits | step(offset.z);
            cells.emplace_back(key, !isFoundVertex_[static_cast<std::size_t>(v)], v);
        }
    std::sort(cells.begin(), cells.end());
    std::vector<int> standing(static_cast<std::size_t>(numVertices_), -1);
    for (std::size_t i = 0, first = 0; i < cells.size(); ++i) {
        if (std::get<0>(cells[i]) != std::get<0>(cells[first]))
            first = i;
        standing[static_cast<std::size_t>(std::get<2>(cells[i]))] = std::get<2>(cells[first]);
    }
    return standing;
}

std::vector<PageMeshAlg::Shown> PageMeshAlg::clustered(double cellSize) const {
    std::vector<int> const standing = representatives(cellSize);
    std::vector<Shown> kept;
    std::vector<std::pair<Corners, std::size_t>> keys;  // sorted corners, place in kept
    for (Shown shown : shown_) {
        bool const isFound = isFoundTriangle_[static_cast<std::size_t>(shown.number)];
        if (!isFound)
            for (int& v : shown.corners)
                v = standing[static_cast<std::size_t>(v)];
        Corners key = shown.corners;
        std::sort(key.begin(), key.end());
        if (!isFound && (key[0] == key[1] || key[1] == key[2]))
            continue;
        if (!isFound)
            keys.emplace_back(key, kept.size());
        kept.push_back(shown);
    }
    std::sort(keys.begin(), keys.end());
    std::vector<bool> isRepeated(kept.size(), false);
    for (std::size_t i = 1; i < keys.size(); ++i)
        isRepeated[keys[i].second] = keys[i].first == keys[i - 1].first;
    std::size_t place = 0;
    std::erase_if(kept, [&](Shown const&) { return isRepeated[place++]; });
    return kept;
}

void PageMeshAlg::cluster() {
    auto const most = static_cast<std::size_t>(mostTriangles_);
    auto const numFound = static_cast<std::size_t>(
        std::count(isFoundTriangle_.begin(), isFoundTriangle_.end(), true));
    double cellSize = firstCellSize(std::max<std::size_t>(most - std::min(numFound, most), 1));
    // Cells as wide as the whole leave nothing but what was found; folded or doubled surfaces have more triangles than area.
    double extent = 0.0;
    for (Shown const& shown : shown_)
        extent = std::max(extent,
                          (vertex(shown.corners[0]) - vertex(shown_.front().corners[0])).length());
    cellSize = std::max({cellSize, extent / (1 << cellBits) * 4.0,
                         double(std::numeric_limits<float>::denorm_min())});
    std::vector<Shown> kept = clustered(cellSize);
    for (; kept.size() > most; kept = clustered(cellSize))
        cellSize *= widening;
    shown_ = std::move(kept);
}

void PageMeshAlg::writeVertex(int v, PageMesh& out) const {
    float const* const p = vertices_ + 3 * std::ptrdiff_t(v);
    out.positions.insert(out.positions.end(), p, p + 3);
}

void PageMeshAlg::writeWhole(PageMesh& out) const {
    out.positions.assign(vertices_, vertices_ + 3 * std::ptrdiff_t(numVertices_));
    for (Shown const& shown : shown_)
        for (int const v : shown.corners)
            out.corners.push_back(static_cast<std::uint32_t>(v));
}

void PageMeshAlg::writeUsed(PageMesh& out) const {
    std::vector<bool> isUsed = isFoundVertex_;
    for (Shown const& shown : shown_)
        for (int const v : shown.corners)
            isUsed[static_cast<std::size_t>(v)] = true;
    std::vector<std::uint32_t> places(isUsed.size());
    for (int v = 0; v < numVertices_; ++v)
        if (isUsed[static_cast<std::size_t>(v)]) {
            places[static_cast<std::size_t>(v)] =
                static_cast<std::uint32_t>(out.vertexNumbers.size());
            out.vertexNumbers.push_back(static_cast<std::uint32_t>(v));
            writeVertex(v, out);
        }
    for (Shown const& shown : shown_)
        for (int const v : shown.corners)
            out.corners.push_back(places[static_cast<std::size_t>(v)]);
}

PageMesh PageMeshAlg::run() {
    PageMesh out;
    listDrawable();
    out.leftOut = numTriangles_ - static_cast<std::int64_t>(shown_.size());
    bool const hasTooMany = shown_.size() > static_cast<std::size_t>(mostTriangles_);
    out.isThinned = hasTooMany || numVertices_ > 3 * std::int64_t(mostTriangles_);
    if (out.isThinned)
        markFound();
    if (hasTooMany)
        cluster();
    out.corners.reserve(3 * shown_.size());
    if (out.isThinned)
        writeUsed(out);
    else if (numVertices_ > 0)
        writeWhole(out);
    if (shown_.size() < static_cast<std::size_t>(numTriangles_))
        for (Shown const& shown : shown_)
            out.triangleNumbers.push_back(static_cast<std::uint32_t>(shown.number));
    return out;
}

}  // namespace

PageMesh choosePageMesh(CompactMesh const& mesh, Diagnosis const& diagnosis, int mostTriangles) {
    return PageMeshAlg(mesh, diagnosis, mostTriangles).run();
}

}  // namespace trimora
