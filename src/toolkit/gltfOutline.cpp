// What has to be known of a glTF file before the importer gets it. It copies numbers of whatever type as if they were floats, does
// not look at extensions that it does not know, and follows nodes to their meshes however many ways lead there.

#include "toolkit/detail/gltfOutline.h"

#include "toolkit/detail/JsonText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

namespace trimora {

namespace {

/// Extensions without which a surface is still the same, and those that the importer knows: it says so itself where it does not.
constexpr std::array<std::string_view, 9> harmlessExtensions = {
    "KHR_materials_",        "KHR_texture_",   "EXT_texture_",
    "MSFT_texture_",         "KHR_lights_",    "KHR_xmp",
    "KHR_mesh_quantization", "KHR_animation_", "KHR_draco_mesh_compression"};

constexpr double floatType = 5126;
constexpr double most = 1e18;  // of whatever is counted: products of two stay finite

/// Item numbers, where they are any: else none.
constexpr std::size_t none = static_cast<std::size_t>(-1);
std::size_t indexOf(JsonText const& value) {
    double const number = value.number();
    return number >= 0.0 && number < 4294967296.0 ? static_cast<std::size_t>(number) : none;
}

struct Accessor {
    double type = 0.0;
    double count = 0.0;
};

/// Of a mesh, all primitives together.
struct MeshSize {
    double vertices = 0.0;
    double indices = 0.0;
};

struct Node {
    std::size_t mesh = none;
    std::size_t firstChild = 0;  // in the list of all
    std::size_t endOfChildren = 0;
    std::size_t numWaysLeft = 0;  // to it, that are not counted yet
    bool isReached = false;
    double times = 0.0;
};

class OutlineReader {
public:
    explicit OutlineReader(JsonText const& root) : root_(root) {}

    GltfOutline run();

private:
    void readExtensions();
    void readAccessors();
    void readMeshes();
    void readPrimitive(JsonText const& primitive, MeshSize& size);
    void requireFloats(std::string_view attribute, Accessor const& accessor);
    void readNodes();
    std::vector<std::size_t> roots() const;
    void countNodes();
    void refuse(std::string const& why) {
        if (outline_.refusal.empty())
            outline_.refusal = why;
    }
    Accessor accessorAt(JsonText const& index) const {
        std::size_t const i = indexOf(index);
        return i < accessors_.size() ? accessors_[i] : Accessor{floatType, 0.0};
    }

    JsonText const root_;
    GltfOutline outline_;
    std::vector<Accessor> accessors_;
    std::vector<MeshSize> meshes_;
    std::vector<Node> nodes_;
    std::vector<std::uint32_t> children_;
};

GltfOutline OutlineReader::run() {
    readExtensions();
    readAccessors();
    readMeshes();
    readNodes();
    countNodes();
    return std::move(outline_);
}

void OutlineReader::readExtensions() {
    root_.member("extensionsRequired").forItems([this](JsonText const& item) {
        std::string_view const name = item.string();
        bool const isHarmless =
            std::any_of(harmlessExtensions.begin(), harmlessExtensions.end(),
                        [name](std::string_view known) { return name.starts_with(known); });
        if (!isHarmless)
            refuse("needs the extension '" + std::string(name.substr(0, 60)) +
                   "', which is not read; write it again without");
    });
}

void OutlineReader::readAccessors() {
    root_.member("accessors").forItems([this](JsonText const& item) {
        Accessor accessor;
        item.forMembers([&accessor](std::string_view key, JsonText const& value) {
            if (key == "componentType")
                accessor.type = value.number();
            if (key == "count" && value.number() > 0.0)
                accessor.count = std::min(value.number(), most);
        });
        accessors_.push_back(accessor);
    });
}

void OutlineReader::readMeshes() {
    root_.member("meshes").forItems([this](JsonText const& mesh) {
        MeshSize size;
        mesh.member("primitives").forItems([&](JsonText const& primitive) {
            readPrimitive(primitive, size);
        });
        outline_.vertices += size.vertices;
        outline_.indices += size.indices;
        meshes_.push_back(size);
    });
}

void OutlineReader::readPrimitive(JsonText const& primitive, MeshSize& size) {
    double numVertices = 0.0;
    primitive.member("attributes").forMembers([&](std::string_view key, JsonText const& value) {
        Accessor const accessor = accessorAt(value);
        if (key == "POSITION")
            numVertices = accessor.count;
        requireFloats(key, accessor);
    });
    JsonText const indices = primitive.member("indices");
    size.vertices += numVertices;
    size.indices += indices.isThere() ? accessorAt(indices).count : numVertices;
}

void OutlineReader::requireFloats(std::string_view attribute, Accessor const& accessor) {
    if (accessor.type == floatType)
        return;
    outline_.hasWholeTextureCoordinates |= attribute == "TEXCOORD_0";
    if (attribute == "POSITION" || attribute == "NORMAL")
        refuse("has its " + std::string(attribute == "NORMAL" ? "normals" : "positions") +
               " as whole numbers (KHR_mesh_quantization), which are not read; write it again "
               "without quantisation");
}

void OutlineReader::readNodes() {
    root_.member("nodes").forItems([this](JsonText const& item) {
        Node node;
        node.firstChild = children_.size();
        item.forMembers([&](std::string_view key, JsonText const& value) {
            if (key == "mesh")
                node.mesh = indexOf(value);
            if (key == "children")
                value.forItems([this](JsonText const& child) {
                    children_.push_back(static_cast<std::uint32_t>(indexOf(child)));
                });
        });
        node.endOfChildren = children_.size();
        nodes_.push_back(node);
    });
    auto const isOutside = [this](std::uint32_t child) { return child >= nodes_.size(); };
    if (std::any_of(children_.begin(), children_.end(), isOutside))
        refuse("names nodes that it does not have; it is damaged");
}

/// Of the scene that is shown: the one that is named, else the first.
std::vector<std::size_t> OutlineReader::roots() const {
    std::size_t const named = indexOf(root_.member("scene"));
    std::size_t const wanted = named == none ? 0 : named;
    std::vector<std::size_t> found;
    std::size_t scene = 0;
    root_.member("scenes").forItems([&](JsonText const& item) {
        if (scene++ == wanted)
            item.member("nodes").forItems([&](JsonText const& root) {
                if (indexOf(root) < nodes_.size())
                    found.push_back(indexOf(root));
            });
    });
    return found;
}

/// A node stands as often as its parents do, for each time that they name it: counted when all of these are.
void OutlineReader::countNodes() {
    if (!outline_.refusal.empty())
        return;
    std::vector<std::size_t> const starts = roots();
    std::vector<std::size_t> open;
    auto const reach = [&](std::size_t i) {
        if (!nodes_[i].isReached)
            open.push_back(i);
        nodes_[i].isReached = true;
    };
    for (std::size_t const start : starts) {
        nodes_[start].times += 1.0;
        reach(start);
    }
    std::size_t numReached = 0;
    for (; !open.empty(); ++numReached) {
        Node const& node = nodes_[open.back()];
        open.pop_back();
        for (std::size_t k = node.firstChild; k < node.endOfChildren; ++k) {
            ++nodes_[children_[k]].numWaysLeft;
            reach(children_[k]);
        }
    }
    for (std::size_t const start : starts)
        if (nodes_[start].numWaysLeft == 0 && nodes_[start].isReached) {
            nodes_[start].isReached = false;  // once is enough
            open.push_back(start);
        }
    for (; !open.empty(); --numReached) {
        Node const& node = nodes_[open.back()];
        open.pop_back();
        outline_.nodes += node.times;
        if (node.mesh < meshes_.size()) {
            outline_.placedVertices += node.times * meshes_[node.mesh].vertices;
            outline_.placedIndices += node.times * meshes_[node.mesh].indices;
        }
        for (std::size_t k = node.firstChild; k < node.endOfChildren; ++k) {
            Node& child = nodes_[children_[k]];
            child.times = std::min(child.times + node.times, most);
            if (--child.numWaysLeft == 0)
                open.push_back(children_[k]);
        }
    }
    if (numReached > 0)
        refuse("has nodes that stand in a ring, each below the other; it is damaged");
}

}  // namespace

double GltfOutline::bytes() const {
    // Nodes have names of a fixed size; vertices all that they may have; placed ones are joined and handed on as bytes.
    constexpr double perNode = 1300.0, perVertex = 52.0, perIndex = 16.0;
    constexpr double perPlacedVertex = 150.0, perPlacedIndex = 12.0;
    return perNode * nodes + perVertex * vertices + perIndex * indices +
           perPlacedVertex * placedVertices + perPlacedIndex * placedIndices;
}

GltfOutline outlineOfGltf(std::string_view json) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (json.starts_with(byteOrderMark))
        json.remove_prefix(byteOrderMark.size());
    return OutlineReader(JsonText(json)).run();
}

}  // namespace trimora
