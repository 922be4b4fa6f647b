#include "toolkit/vertexValues.h"

#include "toolkit/writeText.h"

#include <algorithm>
#include <charconv>
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

void append(std::string& text, float number) {
    char digits[32];
    if (std::isnan(number))
        text += "nan";  // to_chars writes the sign of some
    else
        text.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

}  // namespace

FileOutcome checkVertexValuesPath(std::string const& path) {
    if (path == "-" || isTable(path) || endsIn(path, ".txt"))
        return FileOutcome::done();
    return FileOutcome::failed(
        FileOutcome::Failure::Unsupported,
        path + ": values are written to .txt (x y z value) or .csv; choose one of these endings");
}

FileOutcome writeVertexValues(std::string const& path, koGeom::CompactMesh const& mesh,
                              std::string const& name, std::vector<float> const& values) {
    if (FileOutcome const possible = checkVertexValuesPath(path); !possible)
        return possible;
    char const separator = isTable(path) ? ',' : ' ';
    std::string text = isTable(path) ? "x,y,z," + name + "\n" : std::string();
    float const* position = mesh.getVerticesRaw();
    for (float const value : values) {
        for (int axis = 0; axis < 3; ++axis) {
            append(text, *position++);
            text += separator;
        }
        append(text, value);
        text += '\n';
    }
    return writeText(path, text);
}

}  // namespace trimora
