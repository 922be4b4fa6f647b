// One sample of a panel: the rasterizer finds what is seen, rows are shaded, marked edges are drawn over them, and the colors
// are added up. All in light that adds, not in the numbers of a file.

#include "toolkit/detail/panelRenderer.h"

#include "toolkit/detail/cornerNormals.h"

#include "trimora/contract/koUtil/ThreadPool.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace trimora {

using koLinear::Point;
using koLinear::Vector;

namespace {

constexpr double creaseAngle = 50.0;
constexpr double outlineStep = 0.012;  // of the diagonal: so far behind, another surface begins
constexpr double markBias =
    0.002;  // of the diagonal: so far in front of their edges, marks are still seen
constexpr float darkestFloor = 0.62f;  // what a full shadow takes
constexpr int rowsPerPoll = 16;

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

/// Widths of lines in pixels, so that small and large pictures look alike.
double lineWidth(Camera const& camera) {
    return std::clamp(std::min(camera.width, camera.height) / 420.0, 1.0, 8.0);
}

float smooth(double low, double high, double x) {
    double const t = std::clamp((x - low) / (high - low), 0.0, 1.0);
    return static_cast<float>(t * t * (3.0 - 2.0 * t));
}

/// Places within the pixel, spread evenly whatever their count (Roberts 2018 [roberts2018]); the first is its middle.
double samplePlace(int sample, double step) {
    double const place = 0.5 + step * sample;
    return place - std::floor(place);
}

/// A line in the picture, with inverse depths at its ends: those are linear along it.
struct Mark {
    double fromX, fromY, toX, toY;
    double fromInverse, toInverse;
};

std::optional<Mark> markOf(Vector from, Vector to, Camera const& camera) {
    if (from.z < camera.nearest)
        std::swap(from, to);
    if (!(from.z >= camera.nearest) || !std::isfinite(to.x + to.y + to.z))
        return std::nullopt;
    if (to.z < camera.nearest)
        to = from + (to - from) * ((camera.nearest - from.z) / (to.z - from.z));
    return Mark{camera.centreX + from.x / from.z,
                camera.centreY + from.y / from.z,
                camera.centreX + to.x / to.z,
                camera.centreY + to.y / to.z,
                1.0 / from.z,
                1.0 / to.z};
}

}  // namespace

/// Shades all pixels, row by row, whichever thread is free.
class ShadeAlg : public koUtil::ThreadedChunkAlg {
public:
    ShadeAlg(PanelRenderer& renderer, double offsetX, double offsetY)
        : renderer_(renderer), offsetX_(offsetX), offsetY_(offsetY) {}

    void executeChunk(int chunkIndex, int threadIndex) override {
        Camera const& camera = renderer_.camera_;
        int const end = getBeginIndex(chunkIndex + 1, numChunks, camera.height);
        for (int y = getBeginIndex(chunkIndex, numChunks, camera.height); y < end; ++y) {
            if (y % rowsPerPoll == 0 && cancelled(threadIndex))
                return;
            for (int x = 0; x < camera.width; ++x)
                renderer_.colors_[at(y) * at(camera.width) + at(x)] = colorOf(x, y);
        }
    }

private:
    LinearColor colorOf(int x, int y) const {
        VisiblePoint const& point = renderer_.visible_.at(x, y);
        double const placeX = x + offsetX_;
        double const placeY = y + offsetY_;
        if (point.triangle < 0)
            return renderer_.background(placeY) *
                   (1.0f - darkestFloor * floorDarkness(placeX, placeY));
        LinearColor color = renderer_.shade(point, placeX, placeY);
        if (renderer_.options_.edges)
            color = mix(color, {0.02f, 0.025f, 0.035f},
                        0.75f * renderer_.edgeDarkness(point.triangle, placeX, placeY));
        if (renderer_.options_.outlines && renderer_.isOutline(x, y))
            color = {0.012f, 0.014f, 0.02f};
        return color;
    }

    float floorDarkness(double x, double y) const {
        return renderer_.shadow_ ? renderer_.shadow_->darkness(renderer_.camera_.ray(x, y)) : 0.0f;
    }

    PanelRenderer& renderer_;  // each thread writes the colors of its rows
    double offsetX_;
    double offsetY_;
};

/// Draws marked edges into slices of rows, in their order, and adds the finished rows to the sum.
class MarkAlg : public koUtil::ThreadedAlg {
public:
    MarkAlg(PanelRenderer& renderer, double offsetX, double offsetY, LightBuffer& sum)
        : renderer_(renderer),
          camera_(renderer.camera_),
          offsetX_(offsetX),
          offsetY_(offsetY),
          radius_(0.5 * lineWidth(camera_) + 0.5),
          bias_(markBias * renderer.diagonal_),
          sum_(sum) {}

    void execute(int threadIndex, int numThreads) override {
        int const begin = getBeginIndex(threadIndex, numThreads, camera_.height);
        int const end = getBeginIndex(threadIndex + 1, numThreads, camera_.height);
        if (renderer_.panel_.paint != nullptr)
            for (SurfacePaint::MarkedEdge const& edge : renderer_.panel_.paint->edges)
                if (auto const mark = markOf(renderer_.rasterizer_.projected(edge.from),
                                             renderer_.rasterizer_.projected(edge.to), camera_))
                    draw(*mark, renderer_.panel_.paint->swatches[at(edge.swatch)].color, begin,
                         end);
        for (std::size_t i = at(begin) * at(camera_.width); i < at(end) * at(camera_.width); ++i)
            sum_.light[i] = sum_.light[i] + renderer_.colors_[i];
    }

private:
    void draw(Mark const& mark, LinearColor const& color, int begin, int end) {
        double const top = std::min(mark.fromY, mark.toY) - radius_ - offsetY_;
        double const bottom = std::max(mark.fromY, mark.toY) + radius_ - offsetY_;
        int const first = static_cast<int>(std::clamp(std::ceil(top), double(begin), double(end)));
        int const last = static_cast<int>(std::clamp(std::floor(bottom), begin - 1.0, end - 1.0));
        for (int y = first; y <= last; ++y)
            drawRow(mark, color, y);
    }

    void drawRow(Mark const& mark, LinearColor const& color, int row) {
        double const y = row + offsetY_;
        double const acrossX = mark.toX - mark.fromX;
        double const acrossY = mark.toY - mark.fromY;
        double const squared = acrossX * acrossX + acrossY * acrossY;
        // What of the line is as high as this row, and a radius more on both sides.
        double near = 0.0;
        double far = 1.0;
        if (std::abs(acrossY) > 1e-9) {
            auto const [low, high] = std::minmax(
                {(y - radius_ - mark.fromY) / acrossY, (y + radius_ - mark.fromY) / acrossY});
            near = std::clamp(low, 0.0, 1.0);
            far = std::clamp(high, 0.0, 1.0);
        }
        auto const [left, right] =
            std::minmax({mark.fromX + near * acrossX, mark.fromX + far * acrossX});
        int const first = static_cast<int>(
            std::clamp(std::ceil(left - radius_ - offsetX_), 0.0, double(camera_.width)));
        int const last = static_cast<int>(
            std::clamp(std::floor(right + radius_ - offsetX_), -1.0, camera_.width - 1.0));
        for (int column = first; column <= last; ++column) {
            double const x = column + offsetX_;
            double const along =
                squared > 0.0
                    ? std::clamp(((x - mark.fromX) * acrossX + (y - mark.fromY) * acrossY) /
                                     squared,
                                 0.0, 1.0)
                    : 0.0;
            double const away =
                std::hypot(x - mark.fromX - along * acrossX, y - mark.fromY - along * acrossY);
            double const depth =
                1.0 / (mark.fromInverse + along * (mark.toInverse - mark.fromInverse));
            if (away <= radius_ && depth - bias_ <= renderer_.visible_.at(column, row).depth)
                renderer_.colors_[at(row) * at(camera_.width) + at(column)] = color;
        }
    }

    PanelRenderer& renderer_;
    Camera const& camera_;
    double offsetX_;
    double offsetY_;
    double radius_;
    double bias_;
    LightBuffer& sum_;
};

PanelRenderer::PanelRenderer(RenderPanel const& panel, RenderOptions const& options,
                             Camera const& camera, double floor, double diagonal,
                             koUtil::Progress& progress)
    : panel_(panel),
      options_(options),
      camera_(camera),
      diagonal_(diagonal),
      rasterizer_(*panel.mesh, camera) {
    lamp_ = camera.right * -0.42 + camera.up * 0.8 - camera.forward * 0.45;
    if (dot(lamp_, camera.up) < 0.5 && options.shadow)
        lamp_ += camera.up * 0.5;  // from below the floor there would be no shadow
    lamp_.normalize();
    if (!options.flat)
        normals_ = cornerNormals(*panel.mesh, creaseAngle);
    koGeom::BoundingBox const box = boxOfTriangles(*panel.mesh);
    if (options.shadow && box.isValid())
        shadow_.emplace(*panel.mesh, box, floor, camera, lamp_, progress);
    colors_.resize(at(camera.width) * at(camera.height));
}

void PanelRenderer::addSample(int sample, LightBuffer& sum, koUtil::Progress& progress) {
    double const offsetX = samplePlace(sample, 0.7548776662466927);
    double const offsetY = samplePlace(sample, 0.5698402909980532);
    rasterizer_.draw(offsetX, offsetY, visible_);
    ShadeAlg shade(*this, offsetX, offsetY);
    shade.setProgress(&progress);
    koUtil::ThreadPool::get().run(shade);
    MarkAlg mark(*this, offsetX, offsetY, sum);
    koUtil::ThreadPool::get().run(mark);
}

LinearColor PanelRenderer::background(double y) const {
    auto const share = static_cast<float>(y / camera_.height);
    return mix({0.95f, 0.96f, 0.975f}, {0.66f, 0.70f, 0.75f}, share * share);
}

LinearColor PanelRenderer::paintOf(VisiblePoint const& point, bool& isPainted) const {
    SurfacePaint const* const paint = panel_.paint;
    isPainted = false;
    if (paint == nullptr)
        return {};
    if (!paint->kinds.empty()) {
        std::uint8_t const kind = paint->kinds[at(point.triangle)];
        isPainted = kind != SurfacePaint::unpainted;
        return isPainted ? paint->swatches[kind].color : LinearColor{};
    }
    if (paint->values.empty())
        return {};
    isPainted = true;
    koGeom::MeshTriangle const& corners = panel_.mesh->getTriangles()[point.triangle];
    double const value = (1.0 - point.weight1 - point.weight2) * paint->values[at(corners[0])] +
                         point.weight1 * paint->values[at(corners[1])] +
                         point.weight2 * paint->values[at(corners[2])];
    ColorMap const& map = paint->isSigned ? ColorMap::diverging() : ColorMap::sequential();
    return map.at((value - paint->low) / (paint->high - paint->low));
}

Vector PanelRenderer::normalOf(VisiblePoint const& point, Vector const& face) const {
    if (normals_.empty())
        return face;
    koLinear::VectorFlt const* const corner = normals_.data() + 3 * at(point.triangle);
    Vector normal = Vector(corner[0]) * (1.0 - point.weight1 - point.weight2) +
                    Vector(corner[1]) * point.weight1 + Vector(corner[2]) * point.weight2;
    return normal.normalize() ? normal : face;
}

LinearColor PanelRenderer::shade(VisiblePoint const& point, double x, double y) const {
    koGeom::MeshTriangle const& corners = panel_.mesh->getTriangles()[point.triangle];
    Point const a = panel_.mesh->getVertices()[corners[0]].asPoint();
    Vector face = cross(panel_.mesh->getVertices()[corners[1]].asPoint() - a,
                        panel_.mesh->getVertices()[corners[2]].asPoint() - a);
    face.normalize();
    Vector view = -camera_.ray(x, y);
    view.normalize();
    bool const isBack = dot(face, view) < 0.0;
    Vector normal = normalOf(point, face);
    if (isBack)
        normal.reverse();

    bool isPainted = false;
    LinearColor color = paintOf(point, isPainted);
    bool const isMuted = panel_.paint != nullptr && !panel_.paint->isPlain();
    if (!isPainted)
        color = isBack    ? backColor
                : isMuted ? LinearColor{0.62f, 0.62f, 0.61f}
                          : LinearColor{0.70f, 0.63f, 0.54f};
    else if (isBack)
        color = color * 0.7f;

    Vector const fill = camera_.right * 0.85 + camera_.up * 0.1 - camera_.forward * 0.5;
    double const key = std::max(0.0, (dot(normal, lamp_) + 0.15) / 1.15);
    double const weak = std::max(0.0, dot(normal, fill));
    double const sky = 0.5 + 0.5 * dot(normal, camera_.up);
    Vector half = lamp_ + view;
    half.normalize();
    double const shine = 0.10 * std::pow(std::max(0.0, dot(normal, half)), 32.0);
    double const rim = 0.12 * std::pow(1.0 - std::clamp(dot(normal, view), 0.0, 1.0), 3.0);
    LinearColor light = LinearColor{1.0f, 0.97f, 0.92f} * static_cast<float>(0.78 * key) +
                        LinearColor{0.85f, 0.92f, 1.0f} * static_cast<float>(0.14 * weak) +
                        mix({0.16f, 0.14f, 0.12f}, {0.34f, 0.37f, 0.42f}, static_cast<float>(sky));
    if (isPainted)  // colors that mean something are shaded less
        light = mix(light, {0.9f, 0.9f, 0.9f}, 0.45f);
    auto const white = static_cast<float>(isPainted ? 0.3 * shine : shine + rim * sky);
    return color * light + LinearColor{white, white, white};
}

// Lines fade where triangles are about as small as they are wide: there they would hide the surface.
float PanelRenderer::edgeDarkness(int triangle, double x, double y) const {
    Rasterizer::EdgeDistances const distances = rasterizer_.edgeDistances(triangle, x, y);
    double const width = lineWidth(camera_);
    auto const [least, unused] =
        std::minmax_element(distances.toEdge.begin(), distances.toEdge.end());
    double const height = *std::min_element(distances.heights.begin(), distances.heights.end());
    return *least <= 0.4 * width ? smooth(1.0 * width, 3.5 * width, height) : 0.0f;
}

bool PanelRenderer::isOutline(int x, int y) const {
    int const reach = std::max(1, static_cast<int>(std::lround(0.5 * lineWidth(camera_))));
    double const depth = visible_.at(x, y).depth;
    auto const isInside = [this](int column, int row) {
        return column >= 0 && column < camera_.width && row >= 0 && row < camera_.height;
    };
    int const ways[4][2] = {{reach, 0}, {-reach, 0}, {0, reach}, {0, -reach}};
    for (auto const& way : ways) {
        int const column = x + way[0];
        int const row = y + way[1];
        if (!isInside(column, row))
            continue;
        // A plane's inverse depth is linear on the picture: what goes on as the surface does from the other side is no jump, however
        // steep it is.
        double expected = depth;
        if (isInside(x - way[0], y - way[1])) {
            double const inverse = 2.0 / depth - 1.0 / visible_.at(x - way[0], y - way[1]).depth;
            expected = inverse > 0.0 ? std::max(depth, 1.0 / inverse)
                                     : std::numeric_limits<double>::infinity();
        }
        if (visible_.at(column, row).depth > expected + outlineStep * diagonal_)
            return true;
    }
    return false;
}

}  // namespace trimora
