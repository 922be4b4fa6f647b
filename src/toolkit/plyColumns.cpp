// What the properties of a PLY file's vertices are: coordinates, normals, colours and texture coordinates by their usual names,
// and further sets of floats.

#include "toolkit/detail/PlyReading.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::PointMesh;

using Names = std::vector<std::string_view>;

float fullOf(PlyType type) {
    if (isFloating(type))
        return 1.0f;
    return type == PlyType::UInt16 ? 65535.0f : 255.0f;
}

/// The number behind the last '_' of a name, or -1.
int componentIn(std::string const& name) {
    std::size_t const size = name.size();
    bool const is =
        size > 2 && name[size - 2] == '_' && name[size - 1] >= '0' && name[size - 1] <= '9';
    return is ? name[size - 1] - '0' : -1;
}

/// How many properties from this one on are name_0, name_1 and so on.
std::size_t countComponents(PlyElement const& vertices, std::size_t first) {
    std::string const base =
        vertices.properties[first].name.substr(0, vertices.properties[first].name.size() - 1);
    std::size_t count = 0;
    for (; first + count < vertices.properties.size(); ++count) {
        PlyProperty const& property = vertices.properties[first + count];
        if (property.isList || property.isRepeated ||
            componentIn(property.name) != static_cast<int>(count) ||
            property.name.compare(0, property.name.size() - 1, base) != 0)
            break;
    }
    return count;
}

}  // namespace

std::string PlyColumns::plan(PlyElement const& vertices) {
    if (!assign(vertices, {"x", "y", "z"}, Positions))
        return "its vertices have no x, y and z";
    assign(vertices, {"nx", "ny", "nz"}, Normals);
    for (Names const& names : {Names{"s", "t"}, Names{"u", "v"}, Names{"texture_u", "texture_v"},
                               Names{"texture_s", "texture_t"}})
        if (assign(vertices, names, Textures))
            break;
    hasAlpha_ = assign(vertices, {"red", "green", "blue", "alpha"}, Colours);
    if (!hasAlpha_)
        assign(vertices, {"red", "green", "blue"}, Colours) ||
            assign(vertices, {"diffuse_red", "diffuse_green", "diffuse_blue"}, Colours);
    addSets(vertices);
    return {};
}

bool PlyColumns::assign(PlyElement const& vertices, Names const& names, int group) {
    std::vector<std::size_t> found;
    for (std::string_view const name : names) {
        found.push_back(vertices.find(name));
        if (found.back() == PlyElement::none || vertices.properties[found.back()].isList)
            return false;
    }
    for (std::size_t i = 0; i < found.size(); ++i)
        add(vertices, found[i], group, static_cast<int>(i));
    return true;
}

void PlyColumns::add(PlyElement const& vertices, std::size_t property, int group, int component) {
    PlyColumn column;
    column.property = property;
    column.type = vertices.properties[property].type;
    column.kind = group == Positions  ? PlyColumn::Kind::Coordinate
                  : group >= FirstSet ? PlyColumn::Kind::Set
                                      : PlyColumn::Kind::Attribute;
    if (group == Colours)
        column.full = fullOf(column.type);
    columns_.push_back(column);
    groupOf_.push_back(group);
    componentOf_.push_back(component);
}

/// Properties name_0 to name_3 at most that stand side by side are one set.
void PlyColumns::addSets(PlyElement const& vertices) {
    std::vector<char> isTaken(vertices.properties.size(), 0);
    for (PlyColumn const& column : columns_)
        isTaken[column.property] = 1;
    for (std::size_t i = 0; i < vertices.properties.size(); ++i) {
        PlyProperty const& property = vertices.properties[i];
        if (isTaken[i] || property.isRepeated)
            continue;
        if (property.isList) {
            ignored_.push_back(vertices.name + "." + property.name);
            continue;
        }
        std::size_t count = componentIn(property.name) == 0 ? countComponents(vertices, i) : 1;
        std::string name = property.name.substr(0, property.name.size() - 2 * (count > 1));
        if (count > 4 || vertices.find(name) != PlyElement::none) {
            count = 1;
            name = property.name;
        }
        int const group = FirstSet + static_cast<int>(sets_.size());
        sets_.push_back({freeName(name), static_cast<int>(count)});
        for (std::size_t k = 0; k < count; ++k) {
            isTaken[i + k] = 1;
            add(vertices, i + k, group, static_cast<int>(k));
        }
    }
}

/// The mesh's own names stay its own; and names end where NUL does.
std::string PlyColumns::freeName(std::string const& wanted) const {
    std::string name = wanted.c_str();
    auto const isTaken = [this, &name] {
        koString::CString const asSet(name.c_str());
        return name.empty() || asSet == PointMesh::VerticesName ||
               asSet == PointMesh::NormalsName || asSet == PointMesh::UVsName ||
               asSet == PointMesh::ColoursName ||
               std::any_of(sets_.begin(), sets_.end(),
                           [&name](Set const& set) { return set.name == name; });
    };
    while (isTaken())
        name += '_';
    return name;
}

bool PlyColumns::has(int group) const {
    return std::find(groupOf_.begin(), groupOf_.end(), group) != groupOf_.end();
}

std::size_t PlyColumns::floatsPerVertex() const {
    return columns_.size() + (has(Colours) && !hasAlpha_ ? 1 : 0);
}

bool PlyColumns::coordinatesExceedFloats() const {
    return std::any_of(columns_.begin(), columns_.end(), [](PlyColumn const& column) {
        return column.kind == PlyColumn::Kind::Coordinate && column.type != PlyType::Float32 &&
               sizeOf(column.type) > 2;
    });
}

void PlyColumns::allocate(CompactMesh& mesh, int numVertices, Shift const& shift,
                          ReadReport& report) {
    struct Place {
        float* first;
        int dimension;
    };
    std::vector<Place> places(FirstSet + sets_.size(), Place{nullptr, 0});
    mesh.resizeVertexArray(numVertices);
    places[Positions] = {mesh.getVerticesRaw(), 3};
    auto const keep = [numVertices](ReadReport::Attribute& attribute) {
        attribute.lines = numVertices;
        attribute.kept = numVertices > 0;
    };
    if (has(Normals)) {
        mesh.allocNormalArray();
        places[Normals] = {mesh.getNormalsRaw(), 3};
        keep(report.normals);
    }
    if (has(Textures)) {
        mesh.allocUVArray();
        places[Textures] = {mesh.getUVsRaw(), 2};
        keep(report.textureCoordinates);
    }
    if (has(Colours)) {
        float* const colours = mesh.allocAttributes(PointMesh::ColoursName, 4)->asFloat();
        places[Colours] = {colours, 4};
        keep(report.colours);
        for (int v = 0; v < numVertices && !hasAlpha_; ++v)
            colours[4 * static_cast<std::size_t>(v) + 3] = 1.0f;
    }
    for (std::size_t i = 0; i < sets_.size(); ++i) {
        koString::CString const name(sets_[i].name.c_str());
        places[FirstSet + i] = {mesh.allocAttributes(name, sets_[i].dimension)->asFloat(),
                                sets_[i].dimension};
        report.keptSets.push_back(sets_[i].name);
    }
    report.ignoredProperties = ignored_;
    for (std::size_t i = 0; i < columns_.size() && numVertices > 0; ++i) {
        Place const& place = places[static_cast<std::size_t>(groupOf_[i])];
        columns_[i].target = place.first + componentOf_[i];
        columns_[i].stride = static_cast<std::size_t>(place.dimension);
        if (groupOf_[i] == Positions)
            columns_[i].shift = shift[static_cast<std::size_t>(componentOf_[i])];
    }
}

void PlyColumns::shrink(CompactMesh& mesh, int numVertices, ReadReport& report) {
    mesh.resizeVertexArray(numVertices);
    for (ReadReport::Attribute* const attribute :
         {&report.normals, &report.textureCoordinates, &report.colours}) {
        attribute->lines = attribute->kept ? numVertices : 0;
        attribute->kept = attribute->kept && numVertices > 0;
    }
}

void PlyColumns::reportRounded(PlyElement const& vertices, ReadReport& report) const {
    for (PlyColumn const& column : columns_)
        if (column.kind == PlyColumn::Kind::Set && column.numRounded > 0)
            report.notes.push_back(
                "values of its property '" + vertices.properties[column.property].name +
                "' were rounded to floats: " + std::to_string(column.numRounded) + " of them");
}

}  // namespace trimora
