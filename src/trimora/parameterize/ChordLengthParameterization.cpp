#include "trimora/parameterize/ChordLengthParameterization.h"

#include "trimora/contract/koGeom/GridMesh.h"
#include "trimora/contract/koGeom/MeshAttributes.h"
#include "trimora/contract/koLinear/random.h"
#include "trimora/contract/koUtil/saturatingInt.h"
#include "trimora/spatial/scanConverters.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

namespace koGeom {

namespace {

constexpr float largest = std::numeric_limits<float>::max();

bool isGrid(GridMesh const& mesh) {
    return mesh.numU > 0 && mesh.numV > 0 &&
           std::int64_t(mesh.numU) * mesh.numV <= mesh.getNumVertices();
}

/// Least and greatest float of one axis that lie within the range of doubles.
struct Interval {
    float lower, upper;

    Interval(double least, double most)
        : lower(static_cast<float>(least)), upper(static_cast<float>(most)) {
        if (static_cast<double>(lower) < least)
            lower = nextafterf(lower, largest);
        if (static_cast<double>(upper) > most)
            upper = nextafterf(upper, -largest);
    }
    void shrink(int count, double inset) {
        double const extent = static_cast<double>(upper - lower);
        auto const step = static_cast<float>(extent / (count - 1 + 2.0 * inset) * inset);
        lower += step;
        upper -= step;
    }
    float at(int i, int count) const {
        float const s = static_cast<float>(i) / static_cast<float>(count - 1);
        return (1.0f - s) * lower + s * upper;
    }
};

/// A row or a column of a grid.
class GridLine {
public:
    GridLine(GridMesh const& mesh, std::int64_t first, std::int64_t stride)
        : vertices_(mesh.getVertices() + first), stride_(stride) {}

    /// Between vertex i and the one before.
    float stepTo(int i) const {
        MeshVertex const& p = vertices_[(i - 1) * stride_];
        MeshVertex const& q = vertices_[i * stride_];
        return VectorFlt(q.x - p.x, q.y - p.y, q.z - p.z).length();
    }
    float length(int count) const {
        float sum = 0.0f;
        for (int i = 1; i < count; ++i)
            sum += stepTo(i);
        return sum;
    }
    /// Shares of the length, 0 to 1.
    void chords(int count, float* chord) const {
        chord[0] = 0.0f;
        for (int i = 1; i < count; ++i)
            chord[i] = chord[i - 1] + stepTo(i);
        float const total = chord[count - 1];
        if (total < epsilonTolFlt)
            return;
        float const scale = 1.0f / total;
        for (int i = 1; i < count; ++i)
            chord[i] *= scale;
        if (std::isfinite(total))
            chord[count - 1] = 1.0f;  // but for rounding it is
    }

private:
    MeshVertex const* vertices_;
    std::int64_t stride_;
};

GridLine rowOf(GridMesh const& mesh, int j) {
    return GridLine(mesh, std::int64_t(j) * mesh.numU, 1);
}

GridLine columnOf(GridMesh const& mesh, int i) {
    return GridLine(mesh, i, mesh.numU);
}

std::shared_ptr<float[]> floats(std::size_t count) {
    return std::shared_ptr<float[]>(new float[count]);
}

/// The cell that an offset along one axis falls into, and how much its two ends weigh.
struct CellWeights {
    int first;
    float before, after;

    CellWeights(float offset, float extent, float step, int count) {
        first = koUtil::saturatingInt(static_cast<double>(offset / step));
        if (first >= count - 1) {
            first = count - 2;
            offset = extent;
        }
        before = step - std::abs(offset - static_cast<float>(first) * step);
        after = step - std::abs(offset - static_cast<float>(first + 1) * step);
    }
};

}  // namespace

void createUniformParameterization(GridMesh& mesh, koString::CString const& attributeName,
                                   Range2d const& range, double inset) {
    MeshAttributes* const set =
        attributeName == PointMesh::VerticesName ? nullptr : mesh.allocAttributes(attributeName, 2);
    if (set == nullptr || !isGrid(mesh))
        return;

    Interval u(range.lower.x, range.upper.x), v(range.lower.y, range.upper.y);
    u.shrink(mesh.numU, inset);
    v.shrink(mesh.numV, inset);
    MeshUV* uv = set->asMeshUV();
    for (int j = 0; j < mesh.numV; ++j)
        for (int i = 0; i < mesh.numU; ++i)
            *uv++ = {u.at(i, mesh.numU), v.at(j, mesh.numV)};
}

void measureMaximumChordLengths(GridMesh const& mesh, float& uLength, float& vLength) {
    uLength = vLength = 0.0f;
    if (!isGrid(mesh))
        return;
    for (int j = 0; j < mesh.numV; ++j)
        uLength = std::max(uLength, rowOf(mesh, j).length(mesh.numU));
    for (int i = 0; i < mesh.numU; ++i)
        vLength = std::max(vLength, columnOf(mesh, i).length(mesh.numV));
}

koString::CString const ChordLengthParameterization::attrName("ChordLengthUVs");

void ChordLengthParameterization::measureChordLengths(GridMesh const& mesh, Range2d const& range) {
    bool const isMeasurable = isGrid(mesh);
    auto const size =
        isMeasurable ? static_cast<std::size_t>(mesh.numU) * static_cast<std::size_t>(mesh.numV)
                     : 0;
    std::shared_ptr<float[]> uChord = isMeasurable ? floats(size) : nullptr;
    std::shared_ptr<float[]> vChord = isMeasurable ? floats(size) : nullptr;

    numU_ = isMeasurable ? mesh.numU : 0;
    numV_ = isMeasurable ? mesh.numV : 0;
    uMin_ = static_cast<float>(range.lower.x);
    uMax_ = static_cast<float>(range.upper.x);
    vMin_ = static_cast<float>(range.lower.y);
    vMax_ = static_cast<float>(range.upper.y);
    uChord_ = std::move(uChord);
    vChord_ = std::move(vChord);
    for (int j = 0; j < numV_; ++j)
        rowOf(mesh, j).chords(numU_, &uChord_[std::int64_t(j) * numU_]);
    for (int i = 0; i < numU_; ++i)
        columnOf(mesh, i).chords(numV_, &vChord_[std::int64_t(i) * numV_]);
}

MeshUV ChordLengthParameterization::chordAt(int i, int j) const {
    return {uChord_[std::int64_t(j) * numU_ + i], vChord_[std::int64_t(i) * numV_ + j]};
}

MeshUV ChordLengthParameterization::mapped(MeshUV const& uv, float stepU, float stepV) const {
    float const extentU = uMax_ - uMin_, extentV = vMax_ - vMin_;
    float const x = uv.u - uMin_, y = uv.v - vMin_;
    bool const isInside = uv.u >= uMin_ && uv.u <= uMax_ && uv.v >= vMin_ && uv.v <= vMax_;
    if (!isInside)
        return {x / extentU, y / extentV};

    float const scale = 1.0f / (stepU * stepV);
    CellWeights const u(x, extentU, stepU, numU_), v(y, extentV, stepV, numV_);
    MeshUV sum = {0.0f, 0.0f};
    for (int i = 0; i < 2; ++i)
        for (int j = 0; j < 2; ++j) {
            float const weight =
                (i == 0 ? u.before : u.after) * scale * (j == 0 ? v.before : v.after);
            MeshUV const chord = chordAt(u.first + i, v.first + j);
            sum.u += weight * chord.u;
            sum.v += weight * chord.v;
        }
    return sum;
}

void ChordLengthParameterization::createChordLengthMapping(MeshAttributes const& uniform,
                                                           MeshAttributes& chord) const {
    if (uChord_ == nullptr || uniform.dimension != 2 || chord.dimension != 2)
        return;

    int const count = std::min(uniform.getNumElements(), chord.getNumElements());
    MeshUV const* const from = uniform.asMeshUV();
    MeshUV* const to = chord.asMeshUV();
    float const extentU = uMax_ - uMin_, extentV = vMax_ - vMin_;
    bool const isMapped = extentU != 0.0f && extentV != 0.0f && numU_ > 1 && numV_ > 1;
    float const stepU = extentU / static_cast<float>(numU_ - 1);
    float const stepV = extentV / static_cast<float>(numV_ - 1);
    for (int k = 0; k < count; ++k)
        to[k] = isMapped ? mapped(from[k], stepU, stepV) : from[k];
    chord.invalidateRange();
}

void ChordLengthParameterization::invertChordLengthMapping(int width, int height, float feather,
                                                           MeshAttributes& image) {
    bool const isBigEnough = width > 0 && height > 0 && image.dimension == 2 &&
                             std::int64_t(width) * height <= image.getNumElements();
    if (uChord_ == nullptr || !isBigEnough)
        return;

    MeshScanConverter converter(width, height, feather);
    converter.setPointSampleCB(&ChordLengthParameterization::pointSamplerCB, this);
    image_ = &image;
    imageWidth_ = width;
    for (int j = 1; j < numV_; ++j)
        for (int i = 1; i < numU_; ++i) {
            scanTriangle(converter, {{{i - 1, j - 1}, {i - 1, j}, {i, j - 1}}});
            scanTriangle(converter, {{{i, j}, {i - 1, j}, {i, j - 1}}});
        }
    image.invalidateRange();
}

void ChordLengthParameterization::scanTriangle(MeshScanConverter& converter,
                                               std::array<GridVertex, 3> corners) {
    // Sorted as the converter sorts them, so that its weights are those of the corners in this order.
    auto const isLower = [this](GridVertex const& p, GridVertex const& q) {
        MeshUV const a = chordAt(p.i, p.j), b = chordAt(q.i, q.j);
        return a.v < b.v || (a.v == b.v && a.u < b.u);
    };
    for (std::size_t const k : {0u, 1u, 0u})
        if (isLower(corners[k + 1], corners[k]))
            std::swap(corners[k], corners[k + 1]);

    float const stepU = (uMax_ - uMin_) / static_cast<float>(numU_ - 1);
    float const stepV = (vMax_ - vMin_) / static_cast<float>(numV_ - 1);
    MeshVertex chords[3];
    for (std::size_t k = 0; k < 3; ++k) {
        auto const [i, j] = corners[k];
        MeshUV const chord = chordAt(i, j);
        chords[k] = {chord.u, chord.v, 1.0f};
        corners_[k] = {uMin_ + static_cast<float>(i) * stepU,
                       vMin_ + static_cast<float>(j) * stepV};
    }
    converter.scanTriangle(chords[0], chords[1], chords[2]);
}

void ChordLengthParameterization::pointSampler(int x, int y, float a, float b) {
    std::int64_t const sample = std::int64_t(imageWidth_) * y + x;
    if (image_ == nullptr || sample < 0 || sample >= image_->getNumElements())
        return;
    float const c = 1.0f - a - b;
    image_->asMeshUV()[sample] = {c * corners_[0].u + a * corners_[1].u + b * corners_[2].u,
                                  c * corners_[0].v + a * corners_[1].v + b * corners_[2].v};
}

void ChordLengthParameterization::pointSamplerCB(void* self, int x, int y, float a, float b) {
    static_cast<ChordLengthParameterization*>(self)->pointSampler(x, y, a, b);
}

}  // namespace koGeom
