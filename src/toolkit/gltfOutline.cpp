// What has to be known of a glTF file before the importer gets it. It copies numbers of whatever type as if they were floats, does
// not look at extensions that it does not know, follows nodes to their meshes however many ways lead there, and does not say which
// triangles it left out.

#include "toolkit/detail/gltfOutline.h"

#include "toolkit/detail/gltfFormat.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

namespace trimora {

namespace {

using Json = nlohmann::json;

/// Names of all members that the outline looks at.
constexpr std::array<std::string_view, 19> lookedAt = {
    "accessors", "attributes", "children",   "COLOR_0",    "componentType",
    "count",     "indices",    "mesh",       "meshes",     "mode",
    "nodes",     "NORMAL",     "POSITION",   "primitives", "extensionsRequired",
    "scene",     "scenes",     "TEXCOORD_0", "type"};

/// Makes values of what the outline looks at. Everything else is passed over, buffers and what is nested deeper above all: however
/// large a file, and however deep, the values stay few and flat.
class OutlineParser : public nlohmann::json_sax<Json> {
public:
    explicit OutlineParser(std::uint64_t maxMemory)
        : maxBytes_(maxMemory == 0 ? std::numeric_limits<double>::infinity()
                                   : static_cast<double>(maxMemory)) {}

    Json const& root() const { return root_; }
    std::string const& fault() const { return fault_; }
    double bytes() const { return bytes_; }
    bool exceedsLimit() const { return bytes_ > maxBytes_; }

    bool null() override { return take(nullptr); }
    bool boolean(bool value) override { return take(value); }
    bool number_integer(number_integer_t value) override { return take(value); }
    bool number_unsigned(number_unsigned_t value) override { return take(value); }
    bool number_float(number_float_t value, string_t const& /*text*/) override {
        return take(value);
    }
    bool string(string_t& value) override {
        constexpr std::size_t longest = 100;  // names of extensions
        bytes_ += static_cast<double>(longest);
        return take(value.substr(0, longest));
    }
    bool binary(binary_t& /*value*/) override { return true; }  // JSON has none
    bool start_object(std::size_t /*size*/) override { return open(Json::value_t::object); }
    bool start_array(std::size_t /*size*/) override { return open(Json::value_t::array); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool key(string_t& name) override;
    bool parse_error(std::size_t position, std::string const& /*token*/,
                     Json::exception const& /*exception*/) override {
        fault_ =
            "has JSON that makes no sense at byte " + std::to_string(position) + "; it is damaged";
        return false;
    }

private:
    static constexpr std::size_t deepest = 8;  // meshes, mesh, primitives, primitive, attributes
    // With room for what lists grow by, and for what is made of them.
    static constexpr double bytesPerItem = 64.0, bytesPerMember = 160.0, bytesPerContainer = 160.0;

    bool isInKept() const { return kept_.size() == depth_; }
    Json* slot();
    template <class Value>
    bool take(Value&& value) {
        if (Json* const place = slot())
            *place = std::forward<Value>(value);
        return !exceedsLimit();
    }
    bool open(Json::value_t type);
    bool close() {
        if (isInKept())
            kept_.pop_back();
        --depth_;
        return true;
    }

    double const maxBytes_;
    Json root_;
    std::vector<Json*>
        kept_;  // containers around the present place that are made, from the outermost on
    std::size_t depth_ = 0;   // of containers around it, passed over ones included
    Json* member_ = nullptr;  // that the next value is for, in an object
    double bytes_ = 0.0;
    std::string fault_;
};

bool OutlineParser::key(string_t& name) {
    member_ = nullptr;
    if (!isInKept() || std::find(lookedAt.begin(), lookedAt.end(), name) == lookedAt.end())
        return true;
    bytes_ += bytesPerMember;
    auto const [member, isNew] = kept_.back()->get_ref<Json::object_t&>().emplace(name, nullptr);
    member_ = &member->second;
    if (!isNew)
        fault_ = "tells '" + name + "' twice in one place of its JSON; it is damaged";
    return isNew && !exceedsLimit();
}

/// Where the next value goes; null where it is passed over.
Json* OutlineParser::slot() {
    if (!isInKept())
        return nullptr;
    if (depth_ == 0)
        return &root_;
    if (kept_.back()->is_object())
        return std::exchange(member_, nullptr);
    bytes_ += bytesPerItem;
    return &kept_.back()->emplace_back();
}

bool OutlineParser::open(Json::value_t type) {
    Json* const place = slot();
    if (place != nullptr && depth_ < deepest) {
        *place = Json(type);
        kept_.push_back(place);
        bytes_ += bytesPerContainer;
    }
    ++depth_;
    return !exceedsLimit();
}

/// Extensions without which a surface is still the same, and those that the importer knows: it says so itself where it does not.
constexpr std::array<std::string_view, 9> harmlessExtensions = {
    "KHR_materials_",        "KHR_texture_",   "EXT_texture_",
    "MSFT_texture_",         "KHR_lights_",    "KHR_xmp",
    "KHR_mesh_quantization", "KHR_animation_", "KHR_draco_mesh_compression"};

constexpr double floatType = 5126;
constexpr double most = 1e18;  // of whatever is counted: products of two stay finite
constexpr std::size_t none = GltfTree::none;

/// The member of that name; null where there is none.
Json const& member(Json const& value, char const* name) {
    static Json const absent;
    auto const found = value.find(name);
    return found == value.end() ? absent : *found;
}

/// The items of an array, of anything else none.
Json::array_t const& items(Json const& value) {
    static Json::array_t const empty;
    return value.is_array() ? value.get_ref<Json::array_t const&>() : empty;
}

/// The number; NaN for anything else.
double number(Json const& value) {
    return value.is_number() ? value.get<double>() : std::numeric_limits<double>::quiet_NaN();
}

/// Item numbers, where they are any: else none.
std::size_t indexOf(Json const& value) {
    double const index = number(value);
    return index >= 0.0 && index < 4294967296.0 ? static_cast<std::size_t>(index) : none;
}

struct Accessor {
    double type = floatType;
    double count = 0.0;
    bool hasThreeParts = false;
};

/// Of a mesh, all primitives together.
struct MeshSize {
    double vertices = 0.0;
    double indices = 0.0;
};

/// How often a node stands in the scene.
struct NodeCount {
    std::size_t numWaysLeft = 0;  // to it, that are not counted yet
    bool isReached = false;
    double times = 0.0;
};

class OutlineReader {
public:
    explicit OutlineReader(Json const& root) : root_(root) {}

    GltfOutline run();

private:
    void readExtensions();
    void readAccessors();
    void readMeshes();
    GltfTree::Part readPrimitive(Json const& primitive, MeshSize& size);
    void requireFloats(std::string_view attribute, Accessor const& accessor);
    void readNodes();
    void readRoots();
    void countNodes();
    void refuse(std::string const& why) {
        if (outline_.refusal.empty())
            outline_.refusal = why;
    }
    Accessor accessorAt(Json const& index) const {
        std::size_t const i = indexOf(index);
        return i < accessors_.size() ? accessors_[i] : Accessor();
    }

    Json const& root_;
    GltfOutline outline_;
    GltfTree& tree_ = outline_.tree;
    std::vector<Accessor> accessors_;
    std::vector<MeshSize> meshes_;
};

GltfOutline OutlineReader::run() {
    readExtensions();
    readAccessors();
    readMeshes();
    readNodes();
    readRoots();
    if (outline_.refusal.empty())
        countNodes();
    return std::move(outline_);
}

void OutlineReader::readExtensions() {
    for (Json const& item : items(member(root_, "extensionsRequired"))) {
        std::string const name = item.is_string() ? item.get<std::string>() : std::string();
        bool const isHarmless =
            std::any_of(harmlessExtensions.begin(), harmlessExtensions.end(),
                        [&name](std::string_view known) { return name.starts_with(known); });
        if (!isHarmless)
            refuse("needs the extension '" + name.substr(0, 60) +
                   "', which is not read; write it again without");
    }
}

void OutlineReader::readAccessors() {
    for (Json const& item : items(member(root_, "accessors"))) {
        double const count = number(member(item, "count"));
        accessors_.push_back({number(member(item, "componentType")),
                              count > 0.0 ? std::min(count, most) : 0.0,
                              member(item, "type") == "VEC3"});
    }
}

void OutlineReader::readMeshes() {
    for (Json const& mesh : items(member(root_, "meshes"))) {
        MeshSize size;
        std::vector<GltfTree::Part>& parts = tree_.meshes.emplace_back();
        for (Json const& primitive : items(member(mesh, "primitives")))
            parts.push_back(readPrimitive(primitive, size));
        outline_.vertices += size.vertices;
        outline_.indices += size.indices;
        meshes_.push_back(size);
    }
}

GltfTree::Part OutlineReader::readPrimitive(Json const& primitive, MeshSize& size) {
    GltfTree::Part part;
    double numVertices = 0.0;
    for (auto const& [name, value] : member(primitive, "attributes").items()) {
        Accessor const accessor = accessorAt(value);
        if (name == "POSITION")
            numVertices = accessor.count;
        if (name == "COLOR_0")
            part.hasAlpha = !accessor.hasThreeParts;
        requireFloats(name, accessor);
    }
    Json const& indices = member(primitive, "indices");
    double const numCorners = indices.is_null() ? numVertices : accessorAt(indices).count;
    size.vertices += numVertices;
    size.indices += numCorners;

    constexpr std::size_t triangles = 4, strip = 5, fan = 6;
    std::size_t const mode =
        member(primitive, "mode").is_null() ? triangles : indexOf(member(primitive, "mode"));
    auto const corners = static_cast<std::int64_t>(
        std::min(numCorners, static_cast<double>(std::numeric_limits<std::int32_t>::max())));
    if (mode == triangles) {
        part.triangles = corners / 3;
        part.hasOddCorners = corners % 3 != 0;
    } else if (mode == strip || mode == fan) {
        part.triangles = std::max<std::int64_t>(corners - 2, 0);
    }
    return part;
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
    for (Json const& item : items(member(root_, "nodes"))) {
        std::size_t const firstChild = tree_.children.size();
        for (Json const& child : items(member(item, "children")))
            tree_.children.push_back(static_cast<std::uint32_t>(indexOf(child)));
        tree_.nodes.push_back({indexOf(member(item, "mesh")), firstChild, tree_.children.size()});
    }
    auto const isOutside = [this](std::uint32_t child) { return child >= tree_.nodes.size(); };
    if (std::any_of(tree_.children.begin(), tree_.children.end(), isOutside))
        refuse("names nodes that it does not have; it is damaged");
}

/// Of the scene that is shown: the one that is named, else the first.
void OutlineReader::readRoots() {
    std::size_t const named = indexOf(member(root_, "scene"));
    Json::array_t const& scenes = items(member(root_, "scenes"));
    std::size_t const shown = named == none ? 0 : named;
    if (shown >= scenes.size())
        return;
    for (Json const& root : items(member(scenes[shown], "nodes")))
        if (indexOf(root) < tree_.nodes.size())
            tree_.roots.push_back(indexOf(root));
}

/// A node stands as often as its parents do, for each time that they name it: counted when all of these are.
void OutlineReader::countNodes() {
    std::vector<NodeCount> counts(tree_.nodes.size());
    std::vector<std::size_t> open;
    auto const reach = [&](std::size_t i) {
        if (!counts[i].isReached)
            open.push_back(i);
        counts[i].isReached = true;
    };
    for (std::size_t const start : tree_.roots) {
        counts[start].times += 1.0;
        reach(start);
    }
    std::size_t numReached = 0;
    for (; !open.empty(); ++numReached) {
        GltfTree::Node const& node = tree_.nodes[open.back()];
        open.pop_back();
        for (std::size_t k = node.firstChild; k < node.endOfChildren; ++k) {
            ++counts[tree_.children[k]].numWaysLeft;
            reach(tree_.children[k]);
        }
    }
    for (std::size_t const start : tree_.roots)
        if (counts[start].numWaysLeft == 0 && counts[start].isReached) {
            counts[start].isReached = false;  // once is enough
            open.push_back(start);
        }
    for (; !open.empty(); --numReached) {
        GltfTree::Node const& node = tree_.nodes[open.back()];
        double const times = counts[open.back()].times;
        open.pop_back();
        outline_.nodes += times;
        if (node.mesh < meshes_.size()) {
            outline_.placedVertices += times * meshes_[node.mesh].vertices;
            outline_.placedIndices += times * meshes_[node.mesh].indices;
        }
        for (std::size_t k = node.firstChild; k < node.endOfChildren; ++k) {
            NodeCount& child = counts[tree_.children[k]];
            child.times = std::min(child.times + times, most);
            if (--child.numWaysLeft == 0)
                open.push_back(tree_.children[k]);
        }
    }
    if (numReached > 0)
        refuse("has nodes that stand in a ring, each below the other; it is damaged");
}

/// Bytes of an 8-bit code as UTF-8. Which code does not matter: only names in ASCII are looked for.
std::string asUtf8(std::string_view text) {
    std::string utf8;
    for (char const c : text) {
        auto const byte = static_cast<unsigned char>(c);
        if (byte >= 0x80)
            utf8 += static_cast<char>(0xC0 | byte >> 6);
        utf8 += byte >= 0x80 ? static_cast<char>(0x80 | (byte & 0x3F)) : c;
    }
    return utf8;
}

/// False when it is no JSON.
bool readOutline(std::string_view json, std::uint64_t maxMemory, GltfOutline& outline) {
    OutlineParser parser(maxMemory);
    bool const isRead = Json::sax_parse(json.begin(), json.end(), &parser);
    outline = isRead ? OutlineReader(parser.root()).run() : GltfOutline();
    outline.outlineBytes = parser.bytes();
    if (!isRead)
        outline.refusal = parser.fault();
    return isRead || parser.exceedsLimit();
}

}  // namespace

double GltfOutline::bytes() const {
    // Nodes have names of a fixed size; vertices all that they may have; placed ones are joined and handed on as bytes.
    constexpr double perNode = 1300.0, perVertex = 52.0, perIndex = 16.0;
    constexpr double perPlacedVertex = 150.0, perPlacedIndex = 12.0;
    return std::max(outlineBytes, perNode * nodes + perVertex * vertices + perIndex * indices +
                                      perPlacedVertex * placedVertices +
                                      perPlacedIndex * placedIndices);
}

GltfOutline outlineOfGltf(std::string_view json, std::uint64_t maxMemory) {
    if (json.starts_with(byteOrderMark))
        json.remove_prefix(byteOrderMark.size());
    GltfOutline outline;
    if (readOutline(json, maxMemory, outline))
        return outline;
    // Names that are no UTF-8 break a rule, but nothing else: the importer takes them.
    bool const hasHighBytes = std::any_of(
        json.begin(), json.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
    GltfOutline other;
    return hasHighBytes && readOutline(asUtf8(json), maxMemory, other) ? other : outline;
}

}  // namespace trimora
