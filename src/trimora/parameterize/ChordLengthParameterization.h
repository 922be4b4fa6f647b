#pragma once

#include "trimora/contract/koGeom/MeshElements.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/ranges.h"
#include "trimora/contract/koString/CString.h"
#include "trimora/export.h"

#include <array>
#include <memory>

namespace koGeom {

class GridMesh;
class MeshAttributes;
class MeshScanConverter;

// Grids whose sizes do not fit their vertices, or are below 1, count as empty throughout.

/// Gives a grid texture coordinates at even steps.
///
/// mesh            gets the named set anew, of dimension 2; raises no signal
/// attributeName   of the set; nothing happens under the name of the positions
/// range           of the coordinates: u is x, v is y. The floats stay within it
/// inset           grid steps between the outermost vertices and the range's border, >= 0
/// refusals        none: a grid of one row or one column divides 0 by 0 (NaN)
TRIMORA_API void createUniformParameterization(GridMesh& mesh,
                                               koString::CString const& attributeName,
                                               Range2d const& range, double inset);

/// The lengths of the longest row and of the longest column, summed in single precision; 0 for an empty grid.
TRIMORA_API void measureMaximumChordLengths(GridMesh const& mesh, float& uLength, float& vLength);

/// Maps between coordinates at even steps over a grid and coordinates by length along its rows and columns.
///
/// copies    share what was measured; measuring again parts them
/// memory    8 bytes a vertex
/// threads   createChordLengthMapping() from any number of threads; the others on one
class TRIMORA_API ChordLengthParameterization {
public:
    /// "ChordLengthUVs": the name under which the mapping is kept.
    static koString::CString const attrName;

    /// Measures each row and each column: 0 at its start, 1 at its end, the share of its length between.
    ///
    /// range   of the coordinates at even steps
    /// lines   without length (below `epsilonTolFlt`) keep the lengths themselves
    void measureChordLengths(GridMesh const& mesh, Range2d const& range);

    /// From coordinates at even steps to those by length, bilinear between the vertices.
    ///
    /// uniform   elements to map; outside of the range they are only brought from the range to 0 to 1
    /// chord     out: as many elements as both sets have; may be the same set
    /// nothing   happens before measureChordLengths(), and with sets that are empty or not of dimension 2. Where the range has no
    ///           extent, or the grid only one row or column, coordinates are copied
    void createChordLengthMapping(MeshAttributes const& uniform, MeshAttributes& chord) const;

    /// From coordinates by length back to those at even steps, as an image.
    ///
    /// width, height   of the image in samples
    /// feather         cells between the samples and the edge of the unit square
    /// image           out: dimension 2, sample (x, y) at width y + x; samples that no cell of the grid holds stay as they
    ///                 are; so may those in cells below `epsilonTolFlt` of the unit square, from 1000 by 1000 vertices on. An
    ///                 image too small is left alone; else it is kept as the target of pointSampler()
    void invertChordLengthMapping(int width, int height, float feather, MeshAttributes& image);

    /// Writes one sample, the mix of the corners of the last triangle scanned: what invertChordLengthMapping() has called for each.
    ///
    /// x, y       sample; nothing happens outside of the image, and before there is one, which has to exist still
    /// a, b       weights of the second and the third corner by height; the first has the rest
    void pointSampler(int x, int y, float a, float b);
    static void pointSamplerCB(void* self, int x, int y, float a, float b);

private:
    struct GridVertex {
        int i, j;
    };

    void scanTriangle(MeshScanConverter& converter, std::array<GridVertex, 3> corners);
    MeshUV chordAt(int i, int j) const;
    MeshUV mapped(MeshUV const& uv, float stepU, float stepV) const;

    int numU_ = 0;
    int numV_ = 0;
    float uMin_ = 0.0f, uMax_ = 0.0f, vMin_ = 0.0f, vMax_ = 0.0f;
    std::shared_ptr<float[]> uChord_;  // row by row
    std::shared_ptr<float[]> vChord_;  // column by column
    MeshUV corners_[3] = {};           // of the triangle being scanned, by height
    MeshAttributes* image_ = nullptr;
    int imageWidth_ = 0;
};

}  // namespace koGeom
