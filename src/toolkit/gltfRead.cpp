// The glTF reader. The importer behind it is not made for files that mean harm, so it works in a process of its own, which
// hands back plain arrays; here these become a mesh as those of every format do.

#include "toolkit/MeshFormat.h"
#include "toolkit/detail/FaceList.h"
#include "toolkit/detail/GltfScene.h"
#include "toolkit/detail/binaryNumbers.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/forkedWork.h"
#include "toolkit/detail/gltfFormat.h"
#include "toolkit/detail/meshNames.h"
#include "toolkit/detail/readLimits.h"
#include "toolkit/detail/recentring.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <unistd.h>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::PointMesh;
using Failure = FileOutcome::Failure;

constexpr std::string_view glbMagic = "glTF";

FileOutcome failed(InputFile const& file, Failure failure, std::string const& what) {
    return FileOutcome::failed(failure, file.name() + ": " + what);
}

/// The frame of a binary file: a header of magic, version and size, and a first chunk that lies within.
FileOutcome checkFrame(InputFile const& file) {
    std::array<char, 20> frame{};
    if (file.size() < frame.size())
        return failed(file, Failure::Unsupported, "ends within its header; it is not whole");
    if (!file.fetch(0, frame.size(), frame.data()))
        return cannotBeRead(file);
    auto const number = [&frame](std::size_t at) -> std::uint64_t {
        constexpr bool swaps = swapsBytes(false);
        return loadNumber<std::uint32_t, swaps>(frame.data() + at);
    };
    if (number(4) != 2)
        return failed(file, Failure::Unsupported,
                      "is of version " + std::to_string(number(4)) +
                          " of its format; version 2 is read");
    if (number(8) > file.size() || number(8) < frame.size() ||
        number(12) > number(8) - frame.size())
        return failed(file, Failure::Unsupported,
                      "is shorter than its header says; it is not whole");
    return FileOutcome::done();
}

// The scene as bytes: members one after the other, arrays behind their sizes.

template <class T>
void append(std::string& bytes, T value) {
    static_assert(std::is_arithmetic_v<T>);
    bytes.append(reinterpret_cast<char const*>(&value), sizeof value);
}

template <class Array>
void appendArray(std::string& bytes, Array const& array) {
    append(bytes, static_cast<std::uint64_t>(array.size()));
    bytes.append(reinterpret_cast<char const*>(array.data()),
                 array.size() * sizeof(typename Array::value_type));
}

template <class T>
bool take(std::string_view& bytes, T& value) {
    if (bytes.size() < sizeof value)
        return false;
    std::memcpy(&value, bytes.data(), sizeof value);
    bytes.remove_prefix(sizeof value);
    return true;
}

template <class Array>
bool takeArray(std::string_view& bytes, Array& array) {
    std::uint64_t count = 0;
    if (!take(bytes, count) || count > bytes.size() / sizeof(typename Array::value_type))
        return false;
    array.resize(static_cast<std::size_t>(count));
    std::size_t const size = array.size() * sizeof(typename Array::value_type);
    if (size > 0)
        std::memcpy(array.data(), bytes.data(), size);
    bytes.remove_prefix(size);
    return true;
}

std::string bytesOf(GltfScene const& scene) {
    std::string bytes;
    appendArray(bytes, scene.error);
    appendArray(bytes, scene.refusal);
    appendArray(bytes, scene.tooLarge);
    appendArray(bytes, scene.name);
    appendArray(bytes, scene.positions);
    appendArray(bytes, scene.normals);
    appendArray(bytes, scene.textureCoordinates);
    appendArray(bytes, scene.colours);
    appendArray(bytes, scene.triangles);
    for (std::int64_t const count :
         {scene.withoutNormals, scene.withoutTextureCoordinates, scene.withoutColours,
          scene.otherElements, scene.absentTriangles, scene.partsWithOddCorners})
        append(bytes, count);
    append(bytes, static_cast<char>(scene.hasWholeTextureCoordinates));
    return bytes;
}

/// False when they are no scene: the process that made them is not to be trusted.
bool sceneOf(std::string_view bytes, GltfScene& scene) {
    char hasWhole = 0;
    bool const isWhole =
        takeArray(bytes, scene.error) && takeArray(bytes, scene.refusal) &&
        takeArray(bytes, scene.tooLarge) && takeArray(bytes, scene.name) &&
        takeArray(bytes, scene.positions) && takeArray(bytes, scene.normals) &&
        takeArray(bytes, scene.textureCoordinates) && takeArray(bytes, scene.colours) &&
        takeArray(bytes, scene.triangles) && take(bytes, scene.withoutNormals) &&
        take(bytes, scene.withoutTextureCoordinates) && take(bytes, scene.withoutColours) &&
        take(bytes, scene.otherElements) && take(bytes, scene.absentTriangles) &&
        take(bytes, scene.partsWithOddCorners) && take(bytes, hasWhole) && bytes.empty();
    scene.hasWholeTextureCoordinates = hasWhole != 0;
    std::size_t const numVertices = scene.positions.size() / 3;
    auto const fits = [numVertices](std::vector<float> const& values, std::size_t dimension) {
        return values.empty() || values.size() == numVertices * dimension;
    };
    auto const isCount = [](std::int64_t value) { return value >= 0 && value <= 1ll << 61; };
    return isWhole && scene.positions.size() % 3 == 0 && scene.triangles.size() % 3 == 0 &&
           numVertices < static_cast<std::size_t>(FaceList::outOfRange) &&
           isCount(scene.absentTriangles) && isCount(scene.partsWithOddCorners) &&
           fits(scene.normals, 3) && fits(scene.textureCoordinates, 2) && fits(scene.colours, 4);
}

/// Bytes that this machine has: where the caller sets no limit, what a file of a kilobyte asks for is not to end other programs.
std::uint64_t machineMemory() {
    return static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)) *
           static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

FileOutcome importApart(InputFile const& file, bool isBinary, ReadOptions const& options,
                        GltfScene& scene) {
    ChildLimits limits;
    constexpr std::uint64_t bytesPerSecond = 1u << 20;
    limits.seconds += static_cast<int>(std::min<std::uint64_t>(file.size() / bytesPerSecond, 3600));
    limits.maxMemory = options.maxMemory > 0 ? options.maxMemory : machineMemory();
    std::string bytes;
    auto const import = [&] { return bytesOf(importGltf(file, isBinary, limits.maxMemory)); };
    ChildEnd const end = runInChild(import, limits, options.progress, bytes);
    if (end == ChildEnd::Cancelled)
        return FileOutcome::failed(Failure::Cancelled, "reading was cancelled");
    if (end == ChildEnd::NotStarted)
        return failed(file, Failure::Limit,
                      "the system has no room for the process that reads it; free some");
    if (end == ChildEnd::PastLimit)
        return failed(file, Failure::Limit,
                      "Assimp takes more memory or time for it than the limits allow; raise the "
                      "limit, or split the file");
    if (end == ChildEnd::Broke || !sceneOf(bytes, scene))
        return failed(file, Failure::Unsupported,
                      "Assimp broke on it; the file is damaged, or nested too deep");
    if (!scene.refusal.empty())
        return failed(file, Failure::Unsupported, scene.refusal);
    if (!scene.tooLarge.empty())
        return failed(file, Failure::Limit, scene.tooLarge);
    if (!scene.error.empty())
        return failed(file, Failure::Unsupported,
                      "Assimp cannot read it: " + scene.error.substr(0, 200));
    return FileOutcome::done();
}

/// What Assimp calls a mesh without a name, meshes[0] or meshes[0]-1.
bool isOwnId(std::string_view name) {
    constexpr std::string_view start = "meshes[";
    return name.starts_with(start) &&
           name.find_first_not_of("0123456789-]", start.size()) == std::string_view::npos;
}

void fillAttribute(std::vector<float> const& values, std::int64_t without, std::int64_t numVertices,
                   ReadReport::Attribute& report) {
    report.kept = !values.empty();
    report.lines = values.empty() ? numVertices - without : numVertices;
    report.missing = without < numVertices ? without : 0;
}

void fillVertices(GltfScene const& scene, Shift const& shift, CompactMesh& mesh, ReadReport& report,
                  bool& exceedsFloat) {
    std::size_t const numVertices = scene.positions.size() / 3;
    mesh.resizeVertexArray(static_cast<int>(numVertices));
    float* position = mesh.getVerticesRaw();
    for (std::size_t v = 0; v < numVertices; ++v) {
        bool isFinite = true;
        for (std::size_t axis = 0; axis < 3; ++axis, ++position) {
            double const value = scene.positions[3 * v + axis];
            *position = static_cast<float>(value - shift[axis]);
            isFinite = isFinite && std::isfinite(*position);
            exceedsFloat = exceedsFloat || static_cast<double>(static_cast<float>(value)) != value;
        }
        report.nonfiniteVertices += !isFinite;
    }
    report.vertices = static_cast<std::int64_t>(numVertices);
    fillAttribute(scene.normals, scene.withoutNormals, report.vertices, report.normals);
    fillAttribute(scene.textureCoordinates, scene.withoutTextureCoordinates, report.vertices,
                  report.textureCoordinates);
    fillAttribute(scene.colours, scene.withoutColours, report.vertices, report.colours);
    if (report.normals.kept) {
        mesh.allocNormalArray();
        std::copy(scene.normals.begin(), scene.normals.end(), mesh.getNormalsRaw());
    }
    if (report.textureCoordinates.kept) {
        mesh.allocUVArray();
        std::copy(scene.textureCoordinates.begin(), scene.textureCoordinates.end(),
                  mesh.getUVsRaw());
    }
    if (report.colours.kept)
        std::copy(scene.colours.begin(), scene.colours.end(),
                  mesh.allocAttributes(PointMesh::ColoursName, 4)->asFloat());
}

FileOutcome fillMesh(InputFile const& file, GltfScene const& scene, Shift const& shift,
                     CompactMesh& mesh, ReadReport& report, ReadOptions const& options,
                     bool& exceedsFloat) {
    fillVertices(scene, shift, mesh, report, exceedsFloat);
    report.name = isOwnId(scene.name) ? std::string() : meshNameOf(scene.name);
    if (scene.hasWholeTextureCoordinates)
        report.notes.push_back("has texture coordinates as whole numbers, which are not read; "
                               "write it again without quantisation to keep them");
    report.otherElements = scene.otherElements;
    report.dropped.outOfRange += scene.absentTriangles;
    report.dropped.tooFewCorners += scene.partsWithOddCorners;
    std::vector<FaceList> faces(1);
    faces[0].numDropped = scene.absentTriangles + scene.partsWithOddCorners;
    faces[0].corners.assign(scene.triangles.begin(), scene.triangles.end());
    for (std::size_t t = 0; t < scene.triangles.size() / 3; ++t)
        faces[0].endFace(-1, 3);
    return fillTriangles(faces, FacePlaces::Bytes, file.name(), mesh, report, options);
}

}  // namespace

bool recognisesGlb(std::string_view head, std::uint64_t /*size*/) {
    return head.starts_with(glbMagic);
}

bool recognisesGltf(std::string_view head, std::uint64_t /*size*/) {
    if (head.starts_with(byteOrderMark))
        head.remove_prefix(byteOrderMark.size());
    std::size_t const first = head.find_first_not_of(" \t\r\n");
    return first != std::string_view::npos && head[first] == '{' &&
           head.find("\"asset\"") != std::string_view::npos;
}

FileOutcome refuseGltf(InputFile const& file) {
    return failed(
        file, Failure::Unsupported,
        "glTF and GLB files are read by Assimp, which this build does without; install it "
        "(Debian: libassimp-dev) and build again with -DTRIMORA_WITH_ASSIMP=ON, or convert "
        "the file to one of the other formats");
}

FileOutcome readGltf(InputFile const& file, CompactMesh& mesh, ReadReport& report,
                     ReadOptions const& options) {
    std::string head(
        static_cast<std::size_t>(std::min<std::uint64_t>(file.size(), recognitionBytes)), '\0');
    if (!file.fetch(0, head.size(), head.data()))
        return cannotBeRead(file);
    bool const isBinary = recognisesGlb(head, file.size());
    if (!isBinary && !recognisesGltf(head, file.size()))
        return failed(
            file, Failure::Unsupported,
            "is no glTF, neither binary nor JSON with an 'asset'; check what the file is");
    report.variant = isBinary ? "binary" : "text";
    FileOutcome outcome = isBinary ? checkFrame(file) : FileOutcome::done();
    constexpr double bytesPerByte =
        3.0;  // the file, the importer's arrays, and those it hands back
    if (outcome)
        outcome = requireMemoryFor(file, bytesPerByte * static_cast<double>(file.size()), options);
    GltfScene scene;
    if (outcome)
        outcome = importApart(file, isBinary, options, scene);
    if (!outcome)
        return outcome;
    auto const read = [&](Shift const& shift, CompactMesh& target, ReadReport& found,
                          bool& exceedsFloat) {
        return fillMesh(file, scene, shift, target, found, options, exceedsFloat);
    };
    return readRecentred(mesh, report, options, read);
}

}  // namespace trimora
