#pragma once

#include "toolkit/polylines.h"
#include "toolkit/shapeParameters.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace trimora {

/// A shape that can be made by name: a row of the table.
struct Shape {
    std::string_view name;
    std::string_view meaning;
    std::span<ShapeParameter const> parameters;
    bool isLines;  ///< made of lines, not of faces
    /// Memory that making and writing it takes; nothing to speak of where the pointer is null.
    double (*bytes)(ShapeValues const& values);
    /// Fills an empty mesh; returns why the values do not go together, or nothing.
    std::string (*make)(ShapeValues const& values, koGeom::CompactMesh& mesh);
};

/// All shapes, in the order in which they are listed.
TRIMORA_API std::span<Shape const> shapes();

/// Null when there is none of that name.
TRIMORA_API Shape const* findShape(std::string_view name);

/// The name that was probably meant: the nearest within two edits (a letter put in, taken out or changed), or one that
/// begins with the text. Empty when there is none.
TRIMORA_API std::string_view suggestShape(std::string_view name);

/// A parameter, and what is wrong with it.
struct ShapeFault {
    std::string parameter;
    std::string what;
};

/// The first parameter that the shape does not have, that has more texts than it takes, or a text that it cannot take.
TRIMORA_API std::optional<ShapeFault> findShapeFault(Shape const& shape, ShapeTexts const& texts);

/// The numbers of all parameters, presets where there is no text. The texts have to be without fault.
TRIMORA_API ShapeValues shapeValues(Shape const& shape, ShapeTexts const& texts);

struct GeneratedShape {
    std::string refusal;  ///< not empty: why there is nothing; what to do
    koGeom::CompactMesh
        mesh;  ///< triangles or polygons (CompactMesh::polys), with what the shape comes with
    std::vector<Polyline> lines;  ///< of a shape of lines; closed ones end with their first point
};

/// Makes a shape by the core's own functions.
///
/// values    as shapeValues gives them; memory for Shape::bytes is there
/// refuses   values that do not go together, coordinates beyond floats, and shapes whose points fall together in their rounding
/// cost      linear in the result, on the calling thread
TRIMORA_API GeneratedShape generateShape(Shape const& shape, ShapeValues const& values);

}  // namespace trimora
