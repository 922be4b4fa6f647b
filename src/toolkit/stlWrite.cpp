// The STL writer. A facet's normal is computed from the corners as they are written; one without direction is 0 0 0, as the
// format has it.

#include "toolkit/detail/blockOutput.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/meshNames.h"
#include "toolkit/detail/recentring.h"
#include "toolkit/detail/stlFormat.h"
#include "toolkit/detail/textNumbers.h"
#include "toolkit/writeMesh.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace trimora {

namespace {

using koGeom::CompactMesh;

/// The name without what would end its line or a reader's patience.
std::string printable(std::string name) {
    std::replace_if(
        name.begin(), name.end(),
        [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }, ' ');
    return name;
}

/// In any case, as readers take it.
bool beginsWithSolid(std::string_view header) {
    constexpr std::string_view word = "solid";
    return header.size() >= word.size() &&
           std::equal(word.begin(), word.end(), header.begin(), [](char a, char b) {
               return a == (b >= 'A' && b <= 'Z' ? b - 'A' + 'a' : b);
           });
}

/// Corners of polygons cut into fans, as reading does it.
std::vector<int> fansOf(koGeom::MeshSequence const& polys) {
    std::vector<int> triangles;
    int const* corner = polys.points.data();
    for (int const length : polys.lengths) {
        for (int k = 2; k < length; ++k)
            triangles.insert(triangles.end(), {corner[0], corner[k - 1], corner[k]});
        corner += length;
    }
    return triangles;
}

class StlFacets {
public:
    StlFacets(CompactMesh const& mesh, Shift const& shift)
        : positions_(mesh.getVerticesRaw()),
          shift_(shift),
          fans_(mesh.getNumTriangles() == 0 ? fansOf(mesh.polys) : std::vector<int>()),
          corners_(fans_.empty() ? mesh.getTrianglesRaw() : fans_.data()),
          count_(fans_.empty() ? static_cast<std::size_t>(mesh.getNumTriangles())
                               : fans_.size() / 3) {}

    std::size_t count() const { return count_; }
    char* printBinary(int triangle, char* p) const;
    char* printText(int triangle, char* p) const;

    static constexpr std::size_t maxTextSize =
        128 + 3 * (maxFloatSize + 1) + 9 * (maxCoordinateSize + 1);

private:
    float const* position(int triangle, int k) const {
        int const vertex = corners_[3 * static_cast<std::ptrdiff_t>(triangle) + k];
        return positions_ + 3 * static_cast<std::ptrdiff_t>(vertex);
    }
    std::array<float, 3> normal(int triangle) const;

    float const* const positions_;
    Shift const shift_;
    std::vector<int> const fans_;  // empty where the mesh has triangles
    int const* const corners_;
    std::size_t const count_;
};

/// The same for a mesh that is moved; products in double neither overflow nor vanish.
std::array<float, 3> StlFacets::normal(int triangle) const {
    double edges[2][3];
    for (int i = 0; i < 2; ++i)
        for (int axis = 0; axis < 3; ++axis)
            edges[i][axis] = static_cast<double>(position(triangle, i + 1)[axis]) -
                             static_cast<double>(position(triangle, 0)[axis]);
    double const x = edges[0][1] * edges[1][2] - edges[0][2] * edges[1][1];
    double const y = edges[0][2] * edges[1][0] - edges[0][0] * edges[1][2];
    double const z = edges[0][0] * edges[1][1] - edges[0][1] * edges[1][0];
    double const length = std::hypot(x, y, z);
    if (!(length > 0.0) || !std::isfinite(length))
        return {};
    return {static_cast<float>(x / length), static_cast<float>(y / length),
            static_cast<float>(z / length)};
}

char* StlFacets::printBinary(int triangle, char* p) const {
    std::array<float, 12> values{};
    std::array<float, 3> const direction = normal(triangle);
    std::copy(direction.begin(), direction.end(), values.begin());
    for (int k = 0; k < 3; ++k)
        for (std::size_t axis = 0; axis < 3; ++axis)
            values[3 + 3 * static_cast<std::size_t>(k) + axis] =
                shift_[axis] == 0.0
                    ? position(triangle, k)[axis]
                    : static_cast<float>(unshifted(position(triangle, k)[axis], shift_[axis]));
    std::memcpy(p, values.data(), sizeof values);
    p += sizeof values;
    *p++ = 0;
    *p++ = 0;
    return p;
}

char* StlFacets::printText(int triangle, char* p) const {
    p = copyTo(p, "  facet normal");
    for (float const x : normal(triangle)) {
        *p++ = ' ';
        p = printFloat(p, x);
    }
    p = copyTo(p, "\n    outer loop\n");
    for (int k = 0; k < 3; ++k) {
        p = copyTo(p, "      vertex");
        for (std::size_t axis = 0; axis < 3; ++axis) {
            *p++ = ' ';
            p = printCoordinate(p, position(triangle, k)[axis], shift_[axis]);
        }
        *p++ = '\n';
    }
    return copyTo(p, "    endloop\n  endfacet\n");
}

FileOutcome writeText(OutputFile& file, StlFacets const& facets, WriteOptions const& options) {
    std::string const name = options.name.empty() ? "" : " " + printable(options.name);
    FileOutcome outcome = file.write("solid" + name + "\n");
    auto const print = [&facets](int t, char* p) { return facets.printText(t, p); };
    if (outcome)
        outcome = writeSections(
            file, {itemSection(static_cast<int>(facets.count()), StlFacets::maxTextSize, print)},
            options.progress);
    return outcome ? file.write("endsolid" + name + "\n") : outcome;
}

FileOutcome writeBinary(OutputFile& file, StlFacets const& facets, WriteOptions const& options) {
    std::string header = options.name.empty() ? std::string(ownMark) : printable(options.name);
    if (beginsWithSolid(header))
        header.insert(0, " ");  // programs that look no further take it for text
    header.resize(stlNameSize, '\0');
    auto const count = static_cast<std::uint32_t>(facets.count());
    header.append(reinterpret_cast<char const*>(&count), sizeof count);
    FileOutcome const outcome = file.write(header);
    auto const print = [&facets](int t, char* p) { return facets.printBinary(t, p); };
    return outcome
               ? writeSections(
                     file, {itemSection(static_cast<int>(facets.count()), stlTriangleSize, print)},
                     options.progress)
               : outcome;
}

}  // namespace

FileOutcome writeStl(OutputFile& file, CompactMesh const& mesh, WriteOptions const& options) {
    StlFacets const facets(mesh, options.shift);
    if (facets.count() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        return FileOutcome::failed(FileOutcome::Failure::Limit,
                                   file.name() +
                                       ": more than 2^31 - 1 triangles once its polygons are cut; "
                                       "split the mesh");
    return options.encoding == WriteOptions::Encoding::Text ? writeText(file, facets, options)
                                                            : writeBinary(file, facets, options);
}

}  // namespace trimora
