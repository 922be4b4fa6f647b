#include "toolkit/vertexValues.h"

#include "toolkit/MeshFormat.h"
#include "toolkit/colorMaps.h"
#include "toolkit/detail/recentring.h"
#include "toolkit/surfacePaint.h"
#include "toolkit/writeText.h"

#include <algorithm>
#include <cmath>

namespace trimora {

namespace {

bool endsIn(std::string const& path, std::string const& ending) {
    auto const isSame = [](char letter, char lower) {
        return letter == lower || (letter >= 'A' && letter <= 'Z' && letter - 'A' + 'a' == lower);
    };
    return path.size() > ending.size() &&
           std::equal(path.end() - static_cast<std::ptrdiff_t>(ending.size()), path.end(),
                      ending.begin(), isSame);
}

bool isTable(std::string const& path) {
    return endsIn(path, ".csv");
}

void append(std::string& text, float number, double shift = 0.0) {
    char digits[32];
    if (std::isnan(number))
        text += "nan";  // to_chars writes the sign of some
    else
        text.append(digits, printCoordinate(digits, number, shift));
}

bool holdsValues(MeshFormat const& format) {
    return format.write != nullptr && (format.holds & (HoldsScalars | HoldsColours)) != 0;
}

FileOutcome refused(std::string const& path) {
    std::string formats;
    for (MeshFormat const& format : meshFormats())
        if (holdsValues(format))
            formats += (formats.empty() ? "." : ", .") + std::string(format.extensions.front());
    return FileOutcome::failed(FileOutcome::Failure::Unsupported,
                               path +
                                   ": values are written to .txt (x y z value) or .csv, or with "
                                   "the mesh to " +
                                   formats + "; choose one of these endings");
}

}  // namespace

FileOutcome writeVertexValues(std::string const& path, koGeom::CompactMesh const& mesh,
                              std::string const& name, std::vector<float> const& values,
                              std::array<double, 3> const& shift) {
    if (path != "-" && !isTable(path) && !endsIn(path, ".txt"))
        return refused(path);
    char const separator = isTable(path) ? ',' : ' ';
    std::string text = isTable(path) ? "x,y,z," + name + "\n" : std::string();
    float const* position = mesh.getVerticesRaw();
    for (float const value : values) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            append(text, *position++, shift[axis]);
            text += separator;
        }
        append(text, value);
        text += '\n';
    }
    return writeText(path, text);
}

MeshFormat const* findValueFormat(std::string const& path, FileOutcome& outcome) {
    outcome = FileOutcome::done();
    if (path == "-" || isTable(path) || endsIn(path, ".txt"))
        return nullptr;
    MeshFormat const* const format = findMeshFormat(path, {}, outcome);
    if (format != nullptr && holdsValues(*format))
        return format;
    outcome = refused(path);
    return nullptr;
}

void addVertexValues(koGeom::CompactMesh& mesh, MeshFormat const& format, std::string const& name,
                     std::vector<float> const& values) {
    if ((format.holds & HoldsScalars) != 0 && !values.empty())
        std::copy(values.begin(), values.end(), mesh.allocAttributes(name.c_str(), 1)->asFloat());
    if ((format.holds & HoldsColours) == 0)
        return;
    SurfacePaint const paint = paintDeviation(values);
    bool const isLight = format.name == "glb";
    float* channel = mesh.allocAttributes(koGeom::PointMesh::ColoursName, 4)->asFloat();
    for (float const value : paint.values) {
        LinearColor const color = ColorMap::diverging().at(
            (static_cast<double>(value) - paint.low) / (paint.high - paint.low));
        for (float const light : {color.r, color.g, color.b})
            *channel++ = isLight ? light : static_cast<float>(toByte(light)) / 255.0f;
        *channel++ = 1.0f;
    }
}

}  // namespace trimora
