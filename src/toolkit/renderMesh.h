#pragma once

#include "toolkit/Picture.h"
#include "toolkit/camera.h"
#include "toolkit/surfacePaint.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

#include <string>
#include <vector>

namespace trimora {

/// A mesh in its part of a picture.
struct RenderPanel {
    koGeom::CompactMesh const* mesh;      ///< not owned; triangle indices in range
    SurfacePaint const* paint = nullptr;  ///< not owned; null: plain
    std::string caption;                  ///< under it; letters are written small
};

struct RenderOptions {
    int width = 1280;  ///< of the whole picture, 1 to 16384; at most 2^26 pixels in all
    int height = 960;
    int samples = 8;  ///< a pixel, 1 to 256: smooth edges and shadows
    View view;
    UpAxis up = UpAxis::Y;
    bool flat =
        false;  ///< each triangle in one shade; else smooth but for creases of more than 50 degrees
    bool shadow = false;  ///< on a floor under the mesh, where it is seen from above
    bool edges = false;   ///< the triangles' outlines, where they are large enough to be told apart
    bool outlines = false;    ///< lines where a surface ends in front of another one or of nothing
    bool key = true;          ///< what the colors mean
    bool mayBeEmpty = false;  ///< where there is nothing to draw, the background and the key alone
};

struct RenderOutcome {
    std::string refusal;  ///< not empty: there is no picture; what is wrong
    Picture picture;
    double seconds = 0.0;
    bool cancelled = false;  ///< there is no picture
};

/// Draws shaded pictures of meshes, side by side under one camera.
///
/// panels      one or more
/// refuses     sizes and samples beyond the bounds, and meshes of which none has a triangle with finite corners, unless that is allowed
/// camera      the same for all, so that what is larger is drawn larger; fitted to the triangles of all with finite corners. Each panel
///             gets the same part of the width
/// light       a broad lamp above the viewer's left shoulder, a weak one from the right, light of the sky; surfaces seen from behind
///             are bluish
/// progress    polled between the samples and while shading
/// threads     the shared pool; the same picture, bit by bit, for any number of threads
/// memory      beside the meshes 45 bytes a pixel, 180 a triangle, and 150 more with a shadow
TRIMORA_API RenderOutcome renderMeshes(std::vector<RenderPanel> const& panels,
                                       RenderOptions const& options, koUtil::Progress& progress);

/// Box of those corners of triangles whose triangles are finite; invalid when there are none.
TRIMORA_API koGeom::BoundingBox boxOfTriangles(koGeom::CompactMesh const& mesh);

}  // namespace trimora
