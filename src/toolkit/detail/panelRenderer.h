#pragma once

#include "toolkit/detail/groundShadow.h"
#include "toolkit/rasterizer.h"
#include "toolkit/renderMesh.h"

#include <optional>
#include <vector>

namespace trimora {

/// Light summed up over the samples, one for each pixel of a panel.
struct LightBuffer {
    int width = 0;
    int height = 0;
    std::vector<LinearColor> light;
};

/// Draws one mesh, sample by sample.
class PanelRenderer {
public:
    /// The panel's mesh and paint outlive the renderer.
    ///
    /// floor      along the camera's up
    /// diagonal   of the box that the camera fits
    /// progress   polled while the shadow is traced
    PanelRenderer(RenderPanel const& panel, RenderOptions const& options, Camera const& camera,
                  double floor, double diagonal, koUtil::Progress& progress);

    /// Adds one sample a pixel, each at the same place within its pixel, to the sum.
    void addSample(int sample, LightBuffer& sum, koUtil::Progress& progress);

private:
    friend class ShadeAlg;
    friend class MarkAlg;

    LinearColor paintOf(VisiblePoint const& point, bool& isPainted) const;
    koLinear::Vector normalOf(VisiblePoint const& point, koLinear::Vector const& face) const;
    LinearColor shade(VisiblePoint const& point, double x, double y) const;
    float edgeDarkness(int triangle, double x, double y) const;
    bool isOutline(int x, int y) const;
    LinearColor background(double y) const;

    RenderPanel const& panel_;
    RenderOptions const& options_;
    Camera camera_;
    double diagonal_;
    Rasterizer rasterizer_;
    std::vector<koLinear::VectorFlt> normals_;  // three a triangle; empty when flat
    std::optional<GroundShadow> shadow_;
    VisibilityBuffer visible_;
    std::vector<LinearColor> colors_;  // of the sample in hand
    koLinear::Vector lamp_;            // towards it, of unit length
};

}  // namespace trimora
