#include "harness.h"

#include "trimora/contract/koGeom/GridMesh.h"
#include "trimora/contract/koGeom/MeshAttributes.h"
#include "trimora/parameterize/ChordLengthParameterization.h"
#include "trimora/spatial/scanConverters.h"

#include <cmath>
#include <string>
#include <vector>

namespace bench {

namespace {

using namespace koGeom;

/// Triangles of a square grid over the unit square into an image of the given size.
void scanCase(int gridSize, int imageSize) {
    auto const vertex = [&](int i, int j) {
        return MeshVertex{static_cast<float>(i) / static_cast<float>(gridSize),
                          static_cast<float>(j) / static_cast<float>(gridSize), 0.0f};
    };
    double sum = 0.0;
    int numSamples = 0;
    Case each;
    each.job = "scan_triangles";
    each.mesh = std::to_string(2 * gridSize * gridSize) + " triangles, " +
                std::to_string(imageSize) + "^2 samples";
    each.items = double(imageSize) * imageSize;
    each.body = [&] {
        sum = 0.0;
        numSamples = 0;
        MeshScanConverter converter(imageSize, imageSize, 0.0f);
        converter.setPointSampleCB(
            [](void* user, int, int, float a, float b) {
                *static_cast<double*>(user) += double(a) + double(b);
            },
            &sum);
        for (int j = 0; j < gridSize; ++j)
            for (int i = 0; i < gridSize; ++i) {
                numSamples +=
                    converter.scanTriangle(vertex(i, j), vertex(i + 1, j), vertex(i + 1, j + 1));
                numSamples +=
                    converter.scanTriangle(vertex(i, j), vertex(i + 1, j + 1), vertex(i, j + 1));
            }
    };
    each.check = [&] {
        return figure("samples", numSamples) + " " + figure("mean_weight", sum / numSamples);
    };
    run(each, {1});
}

void chordLengthCase(int gridSize) {
    GridMesh grid(gridSize, gridSize);
    for (int j = 0; j < gridSize; ++j)
        for (int i = 0; i < gridSize; ++i) {
            auto const x = static_cast<float>(i), y = static_cast<float>(j);
            grid.getVertices()[j * gridSize + i].set(x, y, std::sin(0.2f * x) * std::cos(0.1f * y));
        }
    int const imageSize = 2 * gridSize;
    MeshAttributes image("image", 2, imageSize * imageSize);
    Case each;
    each.job = "chord_length_invert";
    each.mesh = std::to_string(gridSize) + "^2 vertices";
    each.items = double(imageSize) * imageSize;
    each.body = [&] {
        ChordLengthParameterization map;
        map.measureChordLengths(grid, Range2d({0.0, 0.0}, {1.0, 1.0}));
        map.invertChordLengthMapping(imageSize, imageSize, 0.0f, image);
    };
    each.check = [&] {
        MeshUV const& middle = image.asMeshUV()[imageSize * (imageSize / 2) + imageSize / 2];
        return figure("middle_u", double(middle.u)) + " " + figure("middle_v", double(middle.v));
    };
    run(each, {1});
}

}  // namespace

void scanCases() {
    scanCase(20, 1000);
    scanCase(700, 2000);
    chordLengthCase(100);
    chordLengthCase(1000);
}

}  // namespace bench
