// A glTF scene by way of Assimp. Of its importers only those of glTF are asked, without any post-processing; buffers are taken
// from the file itself and from plain files in its folder, nowhere else.

#include "toolkit/detail/GltfScene.h"
#include "toolkit/detail/binaryNumbers.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/gltfFormat.h"
#include "toolkit/detail/gltfOutline.h"
#include "toolkit/meshCounts.h"

#include <algorithm>
#include <array>
#include <assimp/BaseImporter.h>
#include <assimp/IOStream.hpp>
#include <assimp/IOSystem.hpp>
#include <assimp/Importer.hpp>
#include <assimp/importerdesc.h>
#include <assimp/scene.h>
#include <charconv>
#include <cmath>
#include <cstring>
#include <exception>
#include <filesystem>
#include <limits>
#include <memory>
#include <new>
#include <string_view>

namespace trimora {

namespace {

class MemoryStream : public Assimp::IOStream {
public:
    explicit MemoryStream(std::string bytes) : bytes_(std::move(bytes)) {}

    std::size_t Read(void* target, std::size_t size, std::size_t count) override {
        std::size_t const items =
            size == 0 ? 0 : std::min(count, (bytes_.size() - position_) / size);
        if (items > 0)
            std::memcpy(target, bytes_.data() + position_, items * size);
        position_ += items * size;
        return items;
    }
    std::size_t Write(void const*, std::size_t, std::size_t) override { return 0; }
    aiReturn Seek(std::size_t offset, aiOrigin origin) override {
        std::size_t const base = origin == aiOrigin_SET   ? 0
                                 : origin == aiOrigin_CUR ? position_
                                                          : bytes_.size();
        // An offset back is one that wraps around.
        std::size_t const place = base + offset;
        if (place > bytes_.size())
            return aiReturn_FAILURE;
        position_ = place;
        return aiReturn_SUCCESS;
    }
    std::size_t Tell() const override { return position_; }
    std::size_t FileSize() const override { return bytes_.size(); }
    void Flush() override {}

private:
    std::string const bytes_;
    std::size_t position_ = 0;
};

/// Names of files stand as parts of addresses, where %20 is a blank.
std::string withoutPercents(std::string_view name) {
    std::string result;
    while (!name.empty()) {
        unsigned code = 0;
        std::string_view const digits = name[0] == '%' ? name.substr(1, 2) : std::string_view();
        bool const isCode =
            digits.size() == 2 &&
            std::from_chars(digits.data(), digits.data() + 2, code, 16).ptr == digits.data() + 2;
        result += isCode ? static_cast<char>(code) : name[0];
        name.remove_prefix(isCode ? 3 : 1);
    }
    return result;
}

/// The file under a name of our own, and what lies in its folder.
class GltfFiles : public Assimp::IOSystem {
public:
    GltfFiles(InputFile const& file, std::string mainName)
        : file_(file), mainName_(std::move(mainName)) {}

    bool Exists(char const* name) const override {
        return name == mainName_ || !pathOf(name).empty();
    }
    char getOsSeparator() const override { return '/'; }
    Assimp::IOStream* Open(char const* name, char const* mode) override {
        if (mode == nullptr || mode[0] != 'r' || !Exists(name))
            return nullptr;
        InputFile beside;
        bool const isMain = name == mainName_;
        if (!isMain && !beside.open(pathOf(name), 0))
            return nullptr;
        InputFile const& file = isMain ? file_ : beside;
        std::string bytes(static_cast<std::size_t>(file.size()), '\0');
        if (!file.fetch(0, bytes.size(), bytes.data()))
            return nullptr;
        if (isMain && bytes.starts_with(byteOrderMark))  // which the importer does not take
            bytes.erase(0, byteOrderMark.size());
        return new MemoryStream(std::move(bytes));
    }
    void Close(Assimp::IOStream* stream) override { delete stream; }

private:
    /// Where the file of that name lies, as it is written or as a part of an address; empty where none does.
    std::string pathOf(std::string const& name) const {
        for (std::string const& tried : {name, withoutPercents(name)}) {
            bool const isBeside =
                !tried.empty() && tried.find_first_of(std::string_view("/\0", 2)) == tried.npos;
            std::filesystem::path const path =
                std::filesystem::path(file_.name()).parent_path() / tried;
            std::error_code ignored;
            if (isBeside && std::filesystem::is_regular_file(path, ignored))
                return path.string();
        }
        return {};
    }

    InputFile const& file_;
    std::string const mainName_;
};

/// Leaves the importers of glTF alone, so that nothing else can be made of the file.
void keepGltfImporters(Assimp::Importer& importer) {
    for (std::size_t i = importer.GetImporterCount(); i-- > 0;) {
        aiImporterDesc const* const description = importer.GetImporterInfo(i);
        bool const isGltf =
            description != nullptr && std::string_view(description->mName).starts_with("glTF");
        std::unique_ptr<Assimp::BaseImporter> const other(isGltf ? nullptr
                                                                 : importer.GetImporter(i));
        if (other != nullptr)
            importer.UnregisterLoader(other.get());
    }
}

/// An affine transformation by rows, in double precision.
class Placement {
public:
    Placement() = default;
    explicit Placement(aiMatrix4x4 const& matrix) {
        for (unsigned row = 0; row < 3; ++row)
            for (unsigned column = 0; column < 4; ++column)
                m_[row][column] = static_cast<double>(matrix[row][column]);
    }
    Placement then(Placement const& inner) const {
        Placement result;
        for (std::size_t row = 0; row < 3; ++row)
            for (std::size_t column = 0; column < 4; ++column) {
                double sum = column == 3 ? m_[row][3] : 0.0;
                for (std::size_t k = 0; k < 3; ++k)
                    sum += m_[row][k] * inner.m_[k][column];
                result.m_[row][column] = sum;
            }
        return result;
    }
    bool isTranslation() const {
        for (std::size_t row = 0; row < 3; ++row)
            for (std::size_t column = 0; column < 3; ++column)
                if (m_[row][column] != (row == column ? 1.0 : 0.0))
                    return false;
        return true;
    }
    std::array<double, 3> point(aiVector3D const& p) const {
        std::array<double, 3> result;
        for (std::size_t row = 0; row < 3; ++row) {
            result[row] = isTranslation_
                              ? coordinate(p, row)
                              : m_[row][0] * coordinate(p, 0) + m_[row][1] * coordinate(p, 1) +
                                    m_[row][2] * coordinate(p, 2);
            if (m_[row][3] != 0.0)  // else -0 stays what it is
                result[row] += m_[row][3];
        }
        return result;
    }
    /// By the cofactors, which are right for every matrix that has any.
    std::array<float, 3> normal(aiVector3D const& n) const {
        std::array<double, 3> turned{};
        for (std::size_t row = 0; row < 3; ++row)
            for (std::size_t column = 0; column < 3; ++column)
                turned[row] += cofactor(row, column) * coordinate(n, column);
        double const length = std::hypot(turned[0], turned[1], turned[2]);
        if (!(length > 0.0))
            return {0.0f, 0.0f, 0.0f};
        double const sign = determinant() < 0.0 ? -1.0 : 1.0;
        return {static_cast<float>(sign * turned[0] / length),
                static_cast<float>(sign * turned[1] / length),
                static_cast<float>(sign * turned[2] / length)};
    }
    double determinant() const {
        return m_[0][0] * cofactor(0, 0) + m_[0][1] * cofactor(0, 1) + m_[0][2] * cofactor(0, 2);
    }
    /// To be called once, before points are asked for.
    void settle() { isTranslation_ = isTranslation(); }

private:
    static double coordinate(aiVector3D const& p, std::size_t axis) {
        return static_cast<double>(p[static_cast<unsigned>(axis)]);
    }
    double cofactor(std::size_t row, std::size_t column) const {
        std::size_t const r1 = (row + 1) % 3, r2 = (row + 2) % 3;
        std::size_t const c1 = (column + 1) % 3, c2 = (column + 2) % 3;
        return m_[r1][c1] * m_[r2][c2] - m_[r1][c2] * m_[r2][c1];
    }

    double m_[3][4] = {{1.0, 0.0, 0.0, 0.0}, {0.0, 1.0, 0.0, 0.0}, {0.0, 0.0, 1.0, 0.0}};
    bool isTranslation_ = false;
};

class SceneJoiner {
public:
    SceneJoiner(aiScene const& source, GltfOutline const& outline)
        : source_(source),
          tree_(outline.tree),
          takesTextureCoordinates_(!outline.hasWholeTextureCoordinates) {}
    GltfScene run();

private:
    struct Place {
        aiNode const* node;
        std::size_t number;  // of the same node in the file; none: it is not known
        Placement placement;
    };
    std::size_t numberOfRoot() const;
    std::size_t numberOfChild(Place const& parent, unsigned child) const;
    GltfTree::Part const& partOf(Place const& place, unsigned mesh) const;
    void add(aiMesh const& mesh, GltfTree::Part const& part, Placement placement);
    void addColours(aiMesh const& mesh, bool hasAlpha);
    void addFaces(aiMesh const& mesh, std::int32_t base, bool isMirrored);
    void countAbsent(aiMesh const& mesh, GltfTree::Part const& part);

    // A node of the importer's own stands above several roots.
    static constexpr std::size_t aboveRoots = GltfTree::none - 1;

    aiScene const& source_;
    GltfTree const& tree_;
    bool const takesTextureCoordinates_;
    GltfScene scene_;
};

GltfScene SceneJoiner::run() {
    std::vector<Place> places;
    if (source_.mRootNode != nullptr)
        places.push_back(
            {source_.mRootNode, numberOfRoot(), Placement(source_.mRootNode->mTransformation)});
    while (!places.empty() && scene_.tooLarge.empty()) {
        Place const place = places.back();
        places.pop_back();
        for (unsigned i = 0; i < place.node->mNumMeshes && scene_.tooLarge.empty(); ++i)
            if (place.node->mMeshes[i] < source_.mNumMeshes)
                add(*source_.mMeshes[place.node->mMeshes[i]], partOf(place, i), place.placement);
        for (unsigned i = place.node->mNumChildren; i-- > 0;) {
            aiNode const* const child = place.node->mChildren[i];
            places.push_back({child, numberOfChild(place, i),
                              place.placement.then(Placement(child->mTransformation))});
        }
    }
    auto const dropUnlessWhole = [](std::vector<float>& values, std::int64_t without) {
        if (without > 0)
            values.clear();
    };
    dropUnlessWhole(scene_.normals, scene_.withoutNormals);
    dropUnlessWhole(scene_.textureCoordinates, scene_.withoutTextureCoordinates);
    dropUnlessWhole(scene_.colours, scene_.withoutColours);
    return std::move(scene_);
}

// The importer's nodes are walked beside those of the file, which tell what it does not; where they differ nothing more is known.

std::size_t SceneJoiner::numberOfRoot() const {
    return tree_.roots.size() == 1                                 ? tree_.roots[0]
           : tree_.roots.size() == source_.mRootNode->mNumChildren ? aboveRoots
                                                                   : GltfTree::none;
}

std::size_t SceneJoiner::numberOfChild(Place const& parent, unsigned child) const {
    if (parent.number == aboveRoots)
        return tree_.roots[child];
    if (parent.number >= tree_.nodes.size())
        return GltfTree::none;
    GltfTree::Node const& node = tree_.nodes[parent.number];
    bool const isSame = node.endOfChildren - node.firstChild == parent.node->mNumChildren;
    return isSame ? tree_.children[node.firstChild + child] : GltfTree::none;
}

GltfTree::Part const& SceneJoiner::partOf(Place const& place, unsigned mesh) const {
    static constexpr GltfTree::Part unknown;
    std::size_t const number =
        place.number < tree_.nodes.size() ? tree_.nodes[place.number].mesh : GltfTree::none;
    bool const isSame =
        number < tree_.meshes.size() && tree_.meshes[number].size() == place.node->mNumMeshes;
    return isSame ? tree_.meshes[number][mesh] : unknown;
}

void SceneJoiner::add(aiMesh const& mesh, GltfTree::Part const& part, Placement placement) {
    placement.settle();
    std::size_t const base = scene_.positions.size() / 3;
    if (base + mesh.mNumVertices >= std::numeric_limits<std::int32_t>::max()) {
        scene_.tooLarge =
            "more than 2^31 - 2 vertices, what 32-bit indices can name; split the file";
        return;
    }
    if (scene_.name.empty())
        scene_.name = mesh.mName.C_Str();
    bool const isUntouched = placement.isTranslation();
    for (unsigned v = 0; v < mesh.mNumVertices; ++v) {
        std::array<double, 3> const p = placement.point(mesh.mVertices[v]);
        scene_.positions.insert(scene_.positions.end(), p.begin(), p.end());
    }
    if (mesh.HasNormals())
        for (unsigned v = 0; v < mesh.mNumVertices; ++v) {
            aiVector3D const& n = mesh.mNormals[v];
            std::array<float, 3> const turned =
                isUntouched ? std::array<float, 3>{n.x, n.y, n.z} : placement.normal(n);
            scene_.normals.insert(scene_.normals.end(), turned.begin(), turned.end());
        }
    else
        scene_.withoutNormals += mesh.mNumVertices;
    if (mesh.HasTextureCoords(0) && takesTextureCoordinates_)
        for (unsigned v = 0; v < mesh.mNumVertices; ++v)
            scene_.textureCoordinates.insert(
                scene_.textureCoordinates.end(),
                {mesh.mTextureCoords[0][v].x, mesh.mTextureCoords[0][v].y});
    else
        scene_.withoutTextureCoordinates += mesh.mNumVertices;
    if (mesh.HasVertexColors(0))
        addColours(mesh, part.hasAlpha);
    else
        scene_.withoutColours += mesh.mNumVertices;
    addFaces(mesh, static_cast<std::int32_t>(base), placement.determinant() < 0.0);
    countAbsent(mesh, part);
}

/// Colours of three parts are opaque; the importer makes them transparent.
void SceneJoiner::addColours(aiMesh const& mesh, bool hasAlpha) {
    for (unsigned v = 0; v < mesh.mNumVertices; ++v) {
        aiColor4D const& c = mesh.mColors[0][v];
        scene_.colours.insert(scene_.colours.end(), {c.r, c.g, c.b, hasAlpha ? c.a : 1.0f});
    }
}

/// The importer leaves out triangles at vertices that their part does not have.
void SceneJoiner::countAbsent(aiMesh const& mesh, GltfTree::Part const& part) {
    scene_.absentTriangles += std::max<std::int64_t>(part.triangles - mesh.mNumFaces, 0);
    scene_.partsWithOddCorners += part.hasOddCorners;
}

/// A mirrored part is turned over, so that its outside stays outside.
void SceneJoiner::addFaces(aiMesh const& mesh, std::int32_t base, bool isMirrored) {
    for (unsigned f = 0; f < mesh.mNumFaces; ++f) {
        aiFace const& face = mesh.mFaces[f];
        scene_.otherElements += face.mNumIndices < 3;
        for (unsigned k = 2; k < face.mNumIndices; ++k) {
            std::array<unsigned, 3> corners = {face.mIndices[0], face.mIndices[k - 1],
                                               face.mIndices[k]};
            if (isMirrored)
                std::swap(corners[1], corners[2]);
            for (unsigned const corner : corners)
                scene_.triangles.push_back(corner < mesh.mNumVertices
                                               ? base + static_cast<std::int32_t>(corner)
                                               : std::numeric_limits<std::int32_t>::max());
        }
    }
}

/// All of a text file, or the first chunk of a binary one, whose frame was tested before.
std::string jsonOf(InputFile const& file, bool isBinary) {
    constexpr std::uint64_t sizeAt = 12, chunkAt = 20;
    std::uint64_t size = file.size();
    if (isBinary) {
        std::array<char, 4> told{};
        file.fetch(sizeAt, told.size(), told.data());
        size = loadNumber<std::uint32_t, swapsBytes(false)>(told.data());
    }
    std::string json(static_cast<std::size_t>(size), ' ');
    file.fetch(isBinary ? chunkAt : 0, json.size(), json.data());
    return json;
}

/// The importer makes a message of every exception; that of memory is to stay one.
void throwIfOutOfMemory(std::exception_ptr const& exception) {
    if (!exception)
        return;
    try {
        std::rethrow_exception(exception);
    } catch (std::bad_alloc const&) {
        throw;
    } catch (...) {
    }
}

}  // namespace

bool readsGltf() {
    return true;
}

GltfScene importGltf(InputFile const& file, bool isBinary, std::uint64_t maxMemory) {
    GltfScene result;
    GltfOutline const outline = outlineOfGltf(jsonOf(file, isBinary), maxMemory);
    result.refusal = outline.refusal;
    if (maxMemory > 0 && outline.bytes() > static_cast<double>(maxMemory))
        result.tooLarge = "takes about " + bytesInWords(outline.bytes()) +
                          " to read, with all that its nodes repeat, more than the memory limit "
                          "allows; raise the limit";
    if (!result.refusal.empty() || !result.tooLarge.empty())
        return result;

    std::string const name = isBinary ? "mesh.glb" : "mesh.gltf";
    Assimp::Importer importer;
    keepGltfImporters(importer);
    importer.SetIOHandler(new GltfFiles(file, name));
    aiScene const* const scene = importer.ReadFile(name, 0);
    if (scene == nullptr) {
        throwIfOutOfMemory(importer.GetException());
        result.error = importer.GetErrorString();
        if (result.error.empty())
            result.error = "it is no glTF that can be read";
        if (std::string_view(result.error).ends_with(" has no faces"))
            result.error += ", or none whose corners are vertices that it has";
        return result;
    }
    result = SceneJoiner(*scene, outline).run();
    result.hasWholeTextureCoordinates = outline.hasWholeTextureCoordinates;
    return result;
}

}  // namespace trimora
