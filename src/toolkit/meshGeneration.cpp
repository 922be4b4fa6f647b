// Shapes by name: the texts of their parameters looked through, names that were probably meant, and what becomes of a made shape.

#include "toolkit/meshGeneration.h"

#include "toolkit/meshCounts.h"

#include <algorithm>
#include <utility>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using Kind = ShapeParameterKind;

ShapeParameter const* findParameter(Shape const& shape, std::string_view name) {
    auto const found =
        std::find_if(shape.parameters.begin(), shape.parameters.end(),
                     [name](ShapeParameter const& each) { return each.name == name; });
    return found != shape.parameters.end() ? &*found : nullptr;
}

bool takesSeveral(ShapeParameter const& parameter) {
    return parameter.kind == Kind::Places || parameter.kind == Kind::FlatPlaces;
}

std::string faultOfTexts(ShapeParameter const& parameter, std::vector<std::string> const& texts) {
    if (texts.size() > 1 && !takesSeveral(parameter))
        return "is given more than once";
    for (std::string const& text : texts) {
        if (std::string fault = faultOfShapeParameter(parameter, text); !fault.empty())
            return fault;
    }
    return {};
}

std::string namesOfParameters(Shape const& shape) {
    std::string names;
    for (ShapeParameter const& parameter : shape.parameters)
        names += (names.empty() ? "--" : ", --") + std::string(parameter.name);
    return names;
}

void addPresets(ShapeParameter const& parameter, ShapeValues& values) {
    std::string_view rest = parameter.preset;
    while (!rest.empty()) {
        std::size_t const end = std::min(rest.find(' '), rest.size());
        values.add(parameter, rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
}

/// Letters put in, taken out or changed on the way from one word to the other.
std::size_t numEdits(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    for (std::size_t j = 0; j <= to.size(); ++j)
        row[j] = j;
    for (std::size_t i = 1; i <= from.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            std::size_t const change = diagonal + (from[i - 1] != to[j - 1] ? 1 : 0);
            diagonal = row[j];
            row[j] = std::min({change, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row[to.size()];
}

Polyline chainOf(CompactMesh const& mesh, int const* points, int count) {
    Polyline chain;
    chain.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        chain.push_back(mesh.getVertices()[points[i]].asPoint());
    return chain;
}

/// The strips, and the lines as far as each begins where the one before ends.
std::vector<Polyline> chainsOf(CompactMesh const& mesh) {
    std::vector<Polyline> chains;
    int const* points = std::as_const(mesh).getLineStripPoints();
    for (int strip = 0; strip < mesh.getNumLineStrips(); ++strip) {
        int const length = mesh.getLineStripLengths()[strip];
        chains.push_back(chainOf(mesh, points, length));
        points += length;
    }
    for (int i = 0; i < mesh.getNumLines(); ++i) {
        koGeom::MeshLine const& line = mesh.getLines()[i];
        if (i == 0 || mesh.getLines()[i - 1][1] != line[0])
            chains.push_back({mesh.getVertices()[line[0]].asPoint()});
        chains.back().push_back(mesh.getVertices()[line[1]].asPoint());
    }
    return chains;
}

std::string faultOfResult(CompactMesh const& mesh) {
    if (numNonfiniteVertices(mesh) > 0)
        return "the shape leaves the range of floats, 3.4e38; make it smaller or move it nearer to "
               "the origin";
    if (diagonalOf(mesh) == 0.0)
        return "its points fall together in the rounding of floats; make it larger or move it "
               "nearer to the origin";
    return {};
}

}  // namespace

Shape const* findShape(std::string_view name) {
    for (Shape const& shape : shapes()) {
        if (shape.name == name)
            return &shape;
    }
    return nullptr;
}

std::string_view suggestShape(std::string_view name) {
    constexpr std::size_t mostLetters = 40;  // of a word that is worth comparing
    constexpr std::size_t mostEdits = 2;
    std::string_view nearest;
    std::size_t fewest = mostEdits + 1;
    for (Shape const& shape : shapes()) {
        std::size_t const edits = name.size() > mostLetters ? fewest : numEdits(name, shape.name);
        if (edits < std::min(fewest, shape.name.size())) {
            fewest = edits;
            nearest = shape.name;
        }
    }
    if (!nearest.empty() || name.empty())
        return nearest;
    auto const longer = std::find_if(shapes().begin(), shapes().end(), [name](Shape const& each) {
        return each.name.substr(0, name.size()) == name;
    });
    return longer != shapes().end() ? longer->name : std::string_view();
}

std::optional<ShapeFault> findShapeFault(Shape const& shape, ShapeTexts const& texts) {
    for (auto const& [name, own] : texts) {
        ShapeParameter const* const parameter = findParameter(shape, name);
        if (parameter == nullptr)
            return ShapeFault{name, "is no parameter of " + std::string(shape.name) +
                                        ", which takes " + namesOfParameters(shape)};
        if (std::string fault = faultOfTexts(*parameter, own); !fault.empty())
            return ShapeFault{name, std::move(fault)};
    }
    return std::nullopt;
}

ShapeValues shapeValues(Shape const& shape, ShapeTexts const& texts) {
    ShapeValues values;
    for (ShapeParameter const& parameter : shape.parameters) {
        auto const given = texts.find(parameter.name);
        if (given == texts.end()) {
            addPresets(parameter, values);
        } else if (given->second.empty()) {
            values.add(parameter, {});  // a switch
        } else {
            for (std::string const& text : given->second)
                values.add(parameter, text);
        }
    }
    return values;
}

GeneratedShape generateShape(Shape const& shape, ShapeValues const& values) {
    GeneratedShape made;
    made.refusal = shape.make(values, made.mesh);
    if (made.refusal.empty())
        made.refusal = faultOfResult(made.mesh);
    if (!made.refusal.empty())
        made.mesh = CompactMesh();
    else if (shape.isLines)
        made.lines = chainsOf(made.mesh);
    return made;
}

}  // namespace trimora
