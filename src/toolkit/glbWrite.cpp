// The GLB writer: a header of 12 bytes, a chunk of JSON that tells where everything lies, and a chunk of the numbers. One mesh of
// one primitive, as every viewer takes it.

#include "toolkit/detail/binaryNumbers.h"
#include "toolkit/detail/blockOutput.h"
#include "toolkit/detail/colourBytes.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/gltfFormat.h"
#include "toolkit/detail/recentring.h"
#include "toolkit/page/pageText.h"
#include "toolkit/writeMesh.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::PointMesh;
using Failure = FileOutcome::Failure;

enum ComponentType { UByte = 5121, UShort = 5123, UInt = 5125, Float = 5126 };
enum Target { VertexBuffer = 34962, IndexBuffer = 34963 };

constexpr bool swaps = swapsBytes(false);

/// One array of the binary chunk, and what the JSON says of it.
struct View {
    std::string_view attribute;  // empty: the indices
    ComponentType componentType;
    std::string_view type;
    int count;
    std::size_t itemSize;
    std::string bounds;  // of positions
    OutputSection section;

    std::uint64_t size() const { return static_cast<std::uint64_t>(count) * itemSize; }
};

std::uint64_t padded(std::uint64_t size) {
    return (size + 3) / 4 * 4;
}

template <class Number>
std::string numberText(Number number) {
    char digits[32];
    return {digits, std::to_chars(digits, digits + sizeof digits, number).ptr};
}

std::string quoted(std::string_view text) {
    return ScriptJson().text(text).str();
}

std::string listText(std::array<float, 3> const& p) {
    return "[" + numberText(p[0]) + "," + numberText(p[1]) + "," + numberText(p[2]) + "]";
}

/// Readers take translations as floats: what one of these does not hold is told by two or three.
std::vector<std::array<float, 3>> floatsThatAddUpTo(Shift rest) {
    constexpr double largest = std::numeric_limits<float>::max();
    constexpr std::size_t mostParts = 3;  // which have more digits than a double
    std::vector<std::array<float, 3>> parts;
    while (isShift(rest) && parts.size() < mostParts) {
        std::array<float, 3>& part = parts.emplace_back();
        for (std::size_t axis = 0; axis < 3; ++axis) {
            part[axis] = static_cast<float>(std::clamp(rest[axis], -largest, largest));
            rest[axis] -= static_cast<double>(part[axis]);
        }
    }
    return parts;
}

float finiteOr(float value, float otherwise) {
    return std::isfinite(value) ? value : otherwise;
}

/// Normals are to be of unit length: those that are not are made so, and those without a direction point along z.
std::array<float, 3> unitNormal(float const* n) {
    constexpr double tolerance = 5e-4;  // what checkers of the format allow
    double const length = std::hypot(double(n[0]), double(n[1]), double(n[2]));
    if (!(length > 0.0) || !std::isfinite(length))
        return {0.0f, 0.0f, 1.0f};
    if (std::abs(length - 1.0) <= tolerance)
        return {n[0], n[1], n[2]};
    return {static_cast<float>(n[0] / length), static_cast<float>(n[1] / length),
            static_cast<float>(n[2] / length)};
}

/// The triangles, or the fans of the polygons.
std::vector<int> cornersOf(CompactMesh const& mesh) {
    std::vector<int> corners;
    if (mesh.getNumTriangles() > 0 || mesh.getNumPolys() == 0)
        return corners;  // they need no copy
    int const* polygon = mesh.polys.points.data();
    for (int i = 0; i < mesh.getNumPolys(); ++i) {
        int const length = mesh.polys.lengths.data()[i];
        for (int k = 2; k < length; ++k)
            corners.insert(corners.end(), {polygon[0], polygon[k - 1], polygon[k]});
        polygon += length;
    }
    return corners;
}

class GlbWriter {
public:
    GlbWriter(OutputFile& file, CompactMesh const& mesh, WriteOptions const& options)
        : file_(file), mesh_(mesh), options_(options) {}

    FileOutcome run();

private:
    bool areCornersFinite();
    void addVertexViews();
    void addColours();
    void addIndices();
    void addView(std::string_view attribute, ComponentType componentType, std::string_view type,
                 int count, std::size_t itemSize, OutputSection section);
    std::string bounds() const;
    std::string json() const;
    std::string nodesJson() const;
    std::string primitiveJson() const;
    std::string viewsJson() const;

    // The triangles, or the fans of polygons.
    int const* corners() const { return fans_.empty() ? mesh_.getTrianglesRaw() : fans_.data(); }
    std::size_t numTriangles() const {
        return fans_.empty() ? static_cast<std::size_t>(mesh_.getNumTriangles()) : fans_.size() / 3;
    }
    std::array<float, 3> positionOf(int vertex) const {
        float const* const p = mesh_.getVerticesRaw() + 3 * static_cast<std::ptrdiff_t>(vertex);
        return {finiteOr(p[0], 0.0f), finiteOr(p[1], 0.0f), finiteOr(p[2], 0.0f)};
    }

    template <class Print>
    OutputSection floats(std::size_t perVertex, Print print) const {
        return itemSection(mesh_.getNumVertices(), perVertex * sizeof(float), print);
    }

    OutputFile& file_;
    CompactMesh const& mesh_;
    WriteOptions const& options_;
    std::vector<int> fans_;
    bool hasNonfinite_ = false;
    std::vector<View> views_;
    std::uint64_t binarySize_ = 0;
};

FileOutcome GlbWriter::run() {
    fans_ = cornersOf(mesh_);
    if (!areCornersFinite())
        return FileOutcome::failed(
            Failure::Unsupported,
            file_.name() +
                ": GLB files hold no triangles at vertices that are NaN or infinite; leave them "
                "out (--drop-nonfinite), or write PLY or OBJ");
    if (mesh_.getNumVertices() > 0) {
        addVertexViews();
        addIndices();
    }
    std::string text = json();
    text.resize(padded(text.size()), ' ');
    constexpr std::uint64_t headerSize = 12, chunkHeaderSize = 8;
    std::uint64_t const size = headerSize + chunkHeaderSize + text.size() +
                               (binarySize_ > 0 ? chunkHeaderSize + binarySize_ : 0);
    if (size > std::numeric_limits<std::uint32_t>::max())
        return FileOutcome::failed(Failure::Limit,
                                   file_.name() + ": GLB files hold 4 GiB at most; write PLY");

    std::string head = "glTF";
    auto const append = [&head](std::uint64_t number) {
        char bytes[4];
        storeNumber(bytes, static_cast<std::uint32_t>(number), swaps);
        head.append(bytes, sizeof bytes);
    };
    append(2);
    append(size);
    append(text.size());
    head += "JSON" + text;
    if (binarySize_ > 0) {
        append(binarySize_);
        head.append("BIN\0", 4);
    }
    FileOutcome const outcome = file_.write(head);
    if (!outcome)
        return outcome;
    std::vector<OutputSection> sections;
    for (View const& view : views_) {
        sections.push_back(view.section);
        auto const padding = static_cast<int>(padded(view.size()) - view.size());
        sections.push_back(itemSection(padding, 1, [](int, char* p) {
            *p = '\0';
            return p + 1;
        }));
    }
    return writeSections(file_, sections, options_.progress);
}

/// Vertices that no triangle has may be anything: they are written as 0.
bool GlbWriter::areCornersFinite() {
    float const* const positions = mesh_.getVerticesRaw();
    auto const isFinite = [positions](int vertex) {
        float const* const p = positions + 3 * static_cast<std::ptrdiff_t>(vertex);
        return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]);
    };
    for (int v = 0; v < mesh_.getNumVertices() && !hasNonfinite_; ++v)
        hasNonfinite_ = !isFinite(v);
    std::size_t const numCorners = 3 * numTriangles();
    return !hasNonfinite_ || std::all_of(corners(), corners() + numCorners, isFinite);
}

void GlbWriter::addView(std::string_view attribute, ComponentType componentType,
                        std::string_view type, int count, std::size_t itemSize,
                        OutputSection section) {
    views_.push_back({attribute, componentType, type, count, itemSize, {}, std::move(section)});
    binarySize_ += padded(views_.back().size());
}

void GlbWriter::addVertexViews() {
    int const numVertices = mesh_.getNumVertices();
    auto const at = [](float const* values, int vertex, std::size_t dimension) {
        return values + static_cast<std::size_t>(vertex) * dimension;
    };
    auto const copy = [](char* p, float const* values, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i)
            p = storeNumber(p, values[i], swaps);
        return p;
    };
    addView("POSITION", Float, "VEC3", numVertices, 12,
            floats(3, [this, copy](int v, char* p) { return copy(p, positionOf(v).data(), 3); }));
    views_.back().bounds = bounds();
    if (options_.normals && !mesh_.getNormalsComputed() && mesh_.getNormalsRaw() != nullptr)
        addView("NORMAL", Float, "VEC3", numVertices, 12,
                floats(3, [=, normals = mesh_.getNormalsRaw()](int v, char* p) {
                    return copy(p, unitNormal(at(normals, v, 3)).data(), 3);
                }));
    if (options_.textureCoordinates && mesh_.getUVsRaw() != nullptr)
        addView("TEXCOORD_0", Float, "VEC2", numVertices, 8,
                floats(2, [=, uvs = mesh_.getUVsRaw()](int v, char* p) {
                    float const* const uv = at(uvs, v, 2);
                    // The format counts v from the upper edge of a picture.
                    float const turned[2] = {finiteOr(uv[0], 0.0f), finiteOr(1.0f - uv[1], 0.0f)};
                    return copy(p, turned, 2);
                }));
    addColours();
}

void GlbWriter::addColours() {
    koGeom::MeshAttributes const* const set = mesh_.getAttributes(PointMesh::ColoursName);
    if (!options_.colours || set == nullptr || set->dimension != 4)
        return;
    int const numVertices = mesh_.getNumVertices();
    float const* const colours = set->asFloat();
    if (areColourBytes(colours, 4 * static_cast<std::size_t>(numVertices))) {
        auto const print = [colours](int v, char* p) {
            for (std::size_t k = 0; k < 4; ++k)
                *p++ = static_cast<char>(colourByte(colours[4 * static_cast<std::size_t>(v) + k]));
            return p;
        };
        return addView("COLOR_0", UByte, "VEC4", numVertices, 4,
                       itemSection(numVertices, 4, print));
    }
    auto const print = [colours](int v, char* p) {
        for (std::size_t k = 0; k < 4; ++k)
            p = storeNumber(p, finiteOr(colours[4 * static_cast<std::size_t>(v) + k], 0.0f), swaps);
        return p;
    };
    addView("COLOR_0", Float, "VEC4", numVertices, 16, floats(4, print));
}

void GlbWriter::addIndices() {
    if (numTriangles() == 0)
        return;
    constexpr int firstForbidden = 65535;  // of the short indices the last one has another meaning
    bool const isShort = mesh_.getNumVertices() <= firstForbidden;
    auto const print = [corners = corners(), isShort](int t, char* p) {
        for (std::ptrdiff_t i = 3 * std::ptrdiff_t(t); i < 3 * std::ptrdiff_t(t) + 3; ++i)
            p = isShort ? storeNumber(p, static_cast<std::uint16_t>(corners[i]), swaps)
                        : storeNumber(p, static_cast<std::uint32_t>(corners[i]), swaps);
        return p;
    };
    auto const count = static_cast<int>(numTriangles());
    addView({}, isShort ? UShort : UInt, "SCALAR", count, isShort ? 6 : 12,
            itemSection(count, 12, print));
}

std::string GlbWriter::bounds() const {
    std::array<float, 3> low, high;
    low.fill(std::numeric_limits<float>::max());
    high.fill(std::numeric_limits<float>::lowest());
    for (int v = 0; v < mesh_.getNumVertices(); ++v) {
        std::array<float, 3> const position = positionOf(v);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], position[axis]);
            high[axis] = std::max(high[axis], position[axis]);
        }
    }
    return ",\"min\":" + listText(low) + ",\"max\":" + listText(high);
}

std::string GlbWriter::json() const {
    std::string text = "{\"asset\":{\"version\":\"2.0\",\"generator\":\"trimora\"";
    if (!options_.comment.empty())
        text += ",\"extras\":{\"comment\":" + quoted(options_.comment) + "}";
    text += "},\"scene\":0,";
    if (views_.empty())
        return text + "\"scenes\":[{}]}";
    text += "\"scenes\":[{\"nodes\":[0]}],\"nodes\":[" + nodesJson() + "],";
    text += "\"meshes\":[{" +
            (options_.name.empty() ? std::string() : "\"name\":" + quoted(options_.name) + ",") +
            "\"primitives\":[" + primitiveJson() + "]}],";
    // Seen from both sides, since a mesh may be open; no metal, which would look dark.
    text += "\"materials\":[{\"doubleSided\":true,\"pbrMetallicRoughness\":"
            "{\"metallicFactor\":0}}],";
    text += viewsJson();
    return text + "\"buffers\":[{\"byteLength\":" + std::to_string(binarySize_) + "}]}";
}

/// The mesh in as many nodes, each below the one before, as a shift has parts.
std::string GlbWriter::nodesJson() const {
    std::vector<std::array<float, 3>> const parts = floatsThatAddUpTo(options_.shift);
    std::size_t const numNodes = std::max<std::size_t>(parts.size(), 1);
    std::string text;
    for (std::size_t i = 0; i < numNodes; ++i) {
        bool const isLast = i + 1 == numNodes;
        text += isLast ? "{\"mesh\":0" : "{\"children\":[" + std::to_string(i + 1) + "]";
        if (!parts.empty())
            text += ",\"translation\":" + listText(parts[i]);
        text += isLast ? "}" : "},";
    }
    return text;
}

std::string GlbWriter::primitiveJson() const {
    constexpr int points = 0, triangles = 4;
    std::string attributes, indices;
    for (std::size_t i = 0; i < views_.size(); ++i) {
        if (views_[i].attribute.empty())
            indices = ",\"indices\":" + std::to_string(i);
        else
            attributes += (i > 0 ? ",\"" : "\"") + std::string(views_[i].attribute) +
                          "\":" + std::to_string(i);
    }
    return "{\"attributes\":{" + attributes + "}" + indices +
           ",\"material\":0,\"mode\":" + std::to_string(indices.empty() ? points : triangles) + "}";
}

std::string GlbWriter::viewsJson() const {
    std::string accessors, bufferViews;
    std::uint64_t offset = 0;
    for (std::size_t i = 0; i < views_.size(); ++i) {
        View const& view = views_[i];
        bool const areIndices = view.attribute.empty();
        std::int64_t const count = areIndices ? 3 * std::int64_t(view.count) : view.count;
        std::string const comma = i > 0 ? "," : "";
        accessors += comma + "{\"bufferView\":" + std::to_string(i) +
                     ",\"componentType\":" + std::to_string(view.componentType) +
                     ",\"count\":" + std::to_string(count) + ",\"type\":\"" +
                     std::string(view.type) + "\"" + view.bounds +
                     (view.componentType == UByte ? ",\"normalized\":true}" : "}");
        bufferViews += comma + "{\"buffer\":0,\"byteOffset\":" + std::to_string(offset) +
                       ",\"byteLength\":" + std::to_string(view.size()) +
                       ",\"target\":" + std::to_string(areIndices ? IndexBuffer : VertexBuffer) +
                       "}";
        offset += padded(view.size());
    }
    return "\"accessors\":[" + accessors + "],\"bufferViews\":[" + bufferViews + "],";
}

}  // namespace

FileOutcome writeGlb(OutputFile& file, CompactMesh const& mesh, WriteOptions const& options) {
    return GlbWriter(file, mesh, options).run();
}

}  // namespace trimora
