#include "toolkit/MeshFormat.h"

#include "toolkit/ReadReport.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/gltfFormat.h"
#include "toolkit/detail/objFormat.h"
#include "toolkit/detail/offFormat.h"
#include "toolkit/detail/plyFormat.h"
#include "toolkit/detail/stlFormat.h"
#include "toolkit/meshCounts.h"
#include "toolkit/writeMesh.h"

#include <algorithm>
#include <array>
#include <string>

namespace trimora {

namespace {

using Failure = FileOutcome::Failure;
using koGeom::CompactMesh;
using koGeom::PointMesh;

constexpr std::array<std::string_view, 1> objExtensions = {"obj"};
constexpr std::array<std::string_view, 1> stlExtensions = {"stl"};
constexpr std::array<std::string_view, 1> offExtensions = {"off"};
constexpr std::array<std::string_view, 1> plyExtensions = {"ply"};
constexpr std::array<std::string_view, 1> glbExtensions = {"glb"};
constexpr std::array<std::string_view, 1> gltfExtensions = {"gltf"};

constexpr unsigned gltfHolds = HoldsTextureCoordinates | HoldsNormals | HoldsColours |
                               HoldsLooseVertices | HoldsShift;  // as a translation

// The default one first. Where contents could be mistaken, the order here decides.
std::array const formats = {
    MeshFormat{"obj", objExtensions, &recognisesObj, &readObj, &writeObj,
               HoldsTextureCoordinates | HoldsNormals | HoldsPolygons | HoldsLooseVertices |
                   HoldsNonfinite | HoldsShift,
               TextForm},
    MeshFormat{"stl", stlExtensions, &recognisesStl, &readStl, &writeStl, HoldsNonfinite,
               TextForm | LittleEndianForm},
    MeshFormat{"off", offExtensions, &recognisesOff, &readOff, &writeOff,
               HoldsTextureCoordinates | HoldsNormals | HoldsColours | HoldsPolygons |
                   HoldsLooseVertices | HoldsNonfinite | HoldsShift,
               TextForm},
    MeshFormat{"ply", plyExtensions, &recognisesPly, &readPly, &writePly,
               HoldsTextureCoordinates | HoldsNormals | HoldsColours | HoldsScalars |
                   HoldsPolygons | HoldsLooseVertices | HoldsNonfinite | HoldsShift,
               TextForm | LittleEndianForm | BigEndianForm},
    MeshFormat{"glb", glbExtensions, &recognisesGlb, readsGltf() ? &readGltf : nullptr, &writeGlb,
               gltfHolds, LittleEndianForm},
    MeshFormat{"gltf", gltfExtensions, &recognisesGltf, readsGltf() ? &readGltf : nullptr, nullptr,
               gltfHolds, 0},
};

std::string lowerCase(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return result;
}

std::string extensionOf(std::string_view path) {
    std::string_view const base = path.substr(path.rfind('/') + 1);  // npos + 1 is 0
    std::size_t const dot = base.rfind('.');
    return dot == std::string_view::npos ? std::string() : lowerCase(base.substr(dot + 1));
}

bool hasNoExtensionByNature(std::string_view path) {
    return path.empty() || path == "-";
}

MeshFormat const* formatNamed(std::string_view name) {
    std::string const wanted = lowerCase(name);
    auto const* const found =
        std::find_if(formats.begin(), formats.end(),
                     [&wanted](MeshFormat const& format) { return format.name == wanted; });
    return found == formats.end() ? nullptr : found;
}

MeshFormat const* formatOfExtension(std::string_view path) {
    std::string const wanted = extensionOf(path);
    for (MeshFormat const& format : formats)
        if (std::find(format.extensions.begin(), format.extensions.end(), wanted) !=
            format.extensions.end())
            return &format;
    return nullptr;
}

template <class Has>
std::string namesOf(Has has) {
    std::string names;
    for (MeshFormat const& format : formats)
        if (has(format))
            names += (names.empty() ? "" : ", ") + std::string(format.name);
    return names;
}

std::string whyNoFormat(std::string_view path, std::string_view name) {
    std::string const extension = extensionOf(path);
    return !name.empty()       ? "no format is named '" + std::string(name) + "'"
           : extension.empty() ? "the name has no extension that tells its format"
                               : "no format has the extension '." + extension + "'";
}

FileOutcome unsupported(std::string_view path, std::string const& what) {
    return FileOutcome::failed(Failure::Unsupported, std::string(path) + ": " + what);
}

/// The format that the content tells: that of the extension where it may be that, else the first one in the table.
MeshFormat const* formatOfContent(InputFile const& file, MeshFormat const* ofExtension) {
    std::string head(
        static_cast<std::size_t>(std::min<std::uint64_t>(file.size(), recognitionBytes)), '\0');
    if (!file.fetch(0, head.size(), head.data()))
        return nullptr;  // the reader will tell
    auto const fits = [&](MeshFormat const& format) {
        return format.recognises != nullptr && format.recognises(head, file.size());
    };
    if (ofExtension != nullptr && fits(*ofExtension))
        return ofExtension;
    auto const* const found = std::find_if(formats.begin(), formats.end(), fits);
    return found == formats.end() ? nullptr : found;
}

/// Vertices that no triangle and no polygon has.
std::int64_t numLooseVertices(CompactMesh const& mesh) {
    auto const numVertices = static_cast<std::size_t>(mesh.getNumVertices());
    std::vector<char> isUsed(numVertices, 0);
    auto const mark = [&](int const* corner, std::ptrdiff_t count) {
        for (int const* const end = corner + count; corner != end; ++corner)
            if (static_cast<std::size_t>(*corner) < numVertices)
                isUsed[static_cast<std::size_t>(*corner)] = 1;
    };
    mark(mesh.getTrianglesRaw(), 3 * static_cast<std::ptrdiff_t>(mesh.getNumTriangles()));
    mark(mesh.polys.points.data(), mesh.polys.getNumPoints());
    return std::count(isUsed.begin(), isUsed.end(), 0);
}

}  // namespace

std::span<MeshFormat const> meshFormats() {
    return formats;
}

MeshFormat const* findMeshFormat(std::string_view path, std::string_view name,
                                 FileOutcome& outcome) {
    outcome = FileOutcome::done();
    if (name.empty() && hasNoExtensionByNature(path))
        return &formats.front();
    MeshFormat const* const found = name.empty() ? formatOfExtension(path) : formatNamed(name);
    if (found == nullptr)
        outcome = unsupported(path, whyNoFormat(path, name) + "; the formats are: " +
                                        namesOf([](MeshFormat const&) { return true; }));
    return found;
}

MeshFormat const* findWritableFormat(std::string_view path, std::string_view name,
                                     FileOutcome& outcome) {
    MeshFormat const* const found = findMeshFormat(path, name, outcome);
    if (found == nullptr || found->write != nullptr)
        return found;
    outcome = unsupported(
        path, std::string(found->name) + " files are read but not written; the formats that are: " +
                  namesOf([](MeshFormat const& f) { return f.write != nullptr; }));
    return nullptr;
}

MeshFormat const* recogniseMeshFormat(InputFile const& file, std::string_view path,
                                      std::string_view name, ReadReport& report,
                                      FileOutcome& outcome) {
    MeshFormat const* found = nullptr;
    if (!name.empty()) {
        found = findMeshFormat(path, name, outcome);
    } else {
        MeshFormat const* const ofExtension = formatOfExtension(path);
        found = formatOfContent(file, ofExtension);
        if (found != nullptr && ofExtension != nullptr && found != ofExtension)
            report.notes.push_back("its content is " + std::string(found->name) +
                                   ", whatever its name says, and was read as that");
        if (found == nullptr)
            found = ofExtension != nullptr ? ofExtension : findMeshFormat(path, name, outcome);
    }
    if (found == nullptr || found->read != nullptr)
        return found;
    outcome = refuseGltf(file);  // no others lack a reader
    return nullptr;
}

std::vector<std::string> contentLostIn(MeshFormat const& format, CompactMesh const& mesh,
                                       WriteOptions const& options) {
    std::vector<std::string> lost;
    auto const tell = [&](bool isThere, unsigned bit, char const* words) {
        if (isThere && (format.holds & bit) == 0)
            lost.emplace_back(words);
    };
    tell(options.textureCoordinates && mesh.getUVsRaw() != nullptr, HoldsTextureCoordinates,
         "texture coordinates");
    tell(options.normals && mesh.getNormalsRaw() != nullptr && !mesh.getNormalsComputed(),
         HoldsNormals, "normals");
    for (int i = 1; i < mesh.getNumAttributes(); ++i) {
        koGeom::MeshAttributes const& set = *mesh.getAttributes(i);
        bool const isColours = set.getName() == PointMesh::ColoursName && set.dimension == 4;
        if (set.getName() == PointMesh::UVsName || set.getName() == PointMesh::NormalsName)
            continue;
        if (isColours)
            tell(options.colours, HoldsColours, "colours");
        else
            tell(options.vertexSets && set.isStoreable(), HoldsScalars, set.getName().asChar());
    }
    tell(mesh.getNumTriangles() == 0 && mesh.getNumPolys() > 0, HoldsPolygons, "polygons");
    if ((format.holds & HoldsNonfinite) == 0)
        tell(numNonfiniteVertices(mesh) > 0, HoldsNonfinite,
             "coordinates that are NaN or infinite, 0 there");
    if ((format.holds & HoldsLooseVertices) == 0) {
        std::int64_t const numLoose = numLooseVertices(mesh);
        tell(numLoose > 0, HoldsLooseVertices,
             (countInWords(numLoose, "vertex", "vertices") + " of no triangle").c_str());
    }
    return lost;
}

bool keepsShift(MeshFormat const& format, WriteOptions const& options) {
    using Encoding = WriteOptions::Encoding;
    return (format.holds & HoldsShift) != 0 || options.encoding == Encoding::Text ||
           format.forms == TextForm;
}

}  // namespace trimora
