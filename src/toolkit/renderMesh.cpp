// Pictures of meshes: a camera for all of them, a renderer for each, samples added up, sRGB numbers and a key at the end.

#include "toolkit/renderMesh.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/detail/panelRenderer.h"
#include "toolkit/detail/pictureKey.h"
#include "toolkit/meshTidying.h"

#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/contract/koUtil/ThreadPool.h"

#include <algorithm>
#include <cmath>

namespace trimora {

namespace {

using koGeom::BoundingBox;
using koGeom::CompactMesh;
using koLinear::Point;

constexpr int longestSide = 16384;
constexpr std::int64_t mostPixels = std::int64_t(1) << 26;
constexpr int mostSamples = 256;

std::string faultOf(RenderOptions const& options, std::size_t numPanels) {
    auto const panels = static_cast<int>(std::min<std::size_t>(numPanels, longestSide + 1));
    if (options.width < std::max(1, panels) || options.height < 1 || options.width > longestSide ||
        options.height > longestSide)
        return "a picture is 1 to 16384 pixels wide (for each mesh) and high";
    if (std::int64_t(options.width) * options.height > mostPixels)
        return "a picture has at most 67 million pixels";
    return options.samples < 1 || options.samples > mostSamples ? "samples are 1 to 256"
                                                                : std::string();
}

void extend(BoundingBox& box, BoundingBox const& other) {
    for (int axis = 0; axis < 3; ++axis) {
        box.bounds[axis] = std::min(box.bounds[axis], other.bounds[axis]);
        box.bounds[axis + 3] = std::max(box.bounds[axis + 3], other.bounds[axis + 3]);
    }
}

Point lowOf(BoundingBox const& box) {
    return {box.min(0), box.min(1), box.min(2)};
}

Point highOf(BoundingBox const& box) {
    return {box.max(0), box.max(1), box.max(2)};
}

/// Turns sums of light into the numbers of a picture.
class EncodeAlg : public koUtil::ThreadedAlg {
public:
    EncodeAlg(LightBuffer const& sum, int samples, int left, Picture& picture)
        : sum_(sum), factor_(1.0f / static_cast<float>(samples)), left_(left), picture_(picture) {}

    void execute(int threadIndex, int numThreads) override {
        int const end = getBeginIndex(threadIndex + 1, numThreads, sum_.height);
        for (int y = getBeginIndex(threadIndex, numThreads, sum_.height); y < end; ++y)
            for (int x = 0; x < sum_.width; ++x) {
                LinearColor const color =
                    sum_.light[static_cast<std::size_t>(y) * static_cast<std::size_t>(sum_.width) +
                               static_cast<std::size_t>(x)] *
                    factor_;
                std::uint8_t* const bytes = picture_.at(left_ + x, y);
                bytes[0] = toByte(color.r);
                bytes[1] = toByte(color.g);
                bytes[2] = toByte(color.b);
            }
    }

private:
    LightBuffer const& sum_;
    float factor_;
    int left_;
    Picture& picture_;
};

/// A camera for each panel, all alike, fitted to the box of all meshes.
struct Scene {
    BoundingBox box;
    double floor = 0.0;
    double diagonal = 0.0;
    bool isEmpty = false;  ///< there are no triangles; the box is any

    Scene(std::vector<RenderPanel> const& panels, UpAxis up) {
        for (RenderPanel const& panel : panels)
            extend(box, boxOfTriangles(*panel.mesh));
        isEmpty = !box.isValid();
        if (isEmpty)
            box = BoundingBox({-1.0f, -1.0f, -1.0f}, {1.0f, 1.0f, 1.0f});
        floor = box.min(up == UpAxis::Y ? 1 : 2);
        diagonal = distance(lowOf(box), highOf(box));
    }
};

/// Meshes so large or small that floats would not hold their depths and areas are drawn through copies of a handy size, which differ
/// by a power of two.
class HandyPanels {
public:
    HandyPanels(std::vector<RenderPanel> const& panels, double diagonal) : panels_(panels) {
        double const scale = unitScale(diagonal);
        if (scale == 1.0)
            return;
        copies_.reserve(panels.size());
        for (RenderPanel& panel : panels_) {
            copies_.push_back(bareCopy(*panel.mesh));
            scaleVertices(copies_.back(), scale);
            panel.mesh = &copies_.back();
        }
    }
    HandyPanels(HandyPanels const&) = delete;
    HandyPanels& operator=(HandyPanels const&) = delete;

    bool isScaled() const { return !copies_.empty(); }
    std::vector<RenderPanel> const& get() const { return panels_; }

private:
    std::vector<RenderPanel> panels_;
    std::vector<CompactMesh> copies_;
};

bool drawPanel(RenderPanel const& panel, RenderOptions const& options, Scene const& scene,
               Camera const& camera, int left, koUtil::Progress& progress, Picture& picture) {
    int const width = camera.width;
    PanelRenderer renderer(panel, options, camera, scene.floor, scene.diagonal, progress);
    LightBuffer sum;
    sum.width = width;
    sum.height = options.height;
    sum.light.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(options.height));
    for (int sample = 0; sample < options.samples; ++sample) {
        progress.set(double(sample) / options.samples);
        if (progress.cancelled())
            return false;
        renderer.addSample(sample, sum, progress);
    }
    EncodeAlg encode(sum, options.samples, left, picture);
    koUtil::ThreadPool::get().run(encode);
    return !progress.cancelled();
}

}  // namespace

BoundingBox boxOfTriangles(CompactMesh const& mesh) {
    requireSoundMesh(mesh);
    BoundingBox box;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        BoundingBox own;
        bool isFinite = true;
        for (int k = 0; k < 3; ++k) {
            koGeom::MeshVertex const& p = mesh.getVertices()[mesh.getTriangles()[t][k]];
            isFinite = isFinite && std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
            extend(own, BoundingBox(p.asPointFlt(), p.asPointFlt()));
        }
        if (isFinite)
            extend(box, own);
    }
    return box;
}

RenderOutcome renderMeshes(std::vector<RenderPanel> const& panels, RenderOptions const& options,
                           koUtil::Progress& progress) {
    RenderOutcome outcome;
    for (RenderPanel const& panel : panels)
        if (isRefused(outcome, *panel.mesh))
            return outcome;
    outcome.refusal = faultOf(options, panels.size());
    if (!outcome.refusal.empty() || panels.empty())
        return outcome;
    koOS::StopWatch watch;
    watch.start();
    Scene const given(panels, options.up);
    if (given.isEmpty && !options.mayBeEmpty) {
        outcome.refusal = "there are no triangles with finite corners to draw";
        return outcome;
    }
    HandyPanels const handy(panels, given.diagonal);
    Scene const scene = handy.isScaled() ? Scene(handy.get(), options.up) : given;
    outcome.picture = Picture(options.width, options.height);
    auto const numPanels = static_cast<int>(panels.size());
    int const width = options.width / numPanels;
    Camera camera = fitCamera(scene.box, options.view, options.up, width, options.height);
    for (int i = 0; i < numPanels && !outcome.cancelled; ++i) {
        koUtil::Progress child;
        progress.subPhase(1.0 / numPanels, child);
        int const left = i * width;
        int const own = i + 1 == numPanels ? options.width - left : width;
        RenderPanel const& panel = handy.get()[static_cast<std::size_t>(i)];
        camera.width = own;  // a pixel more or less does not make the mesh larger
        outcome.cancelled = !drawPanel(panel, options, scene, camera, left, child, outcome.picture);
        if (options.key && panel.paint != nullptr)
            drawKey(*panel.paint, left, own, outcome.picture);
        if (!panel.caption.empty())
            drawCaption(panel.caption, left, own, outcome.picture);
    }
    if (outcome.cancelled)
        outcome.picture = Picture();
    outcome.seconds = watch.clear();
    return outcome;
}

}  // namespace trimora
