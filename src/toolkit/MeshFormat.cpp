#include "toolkit/MeshFormat.h"

#include "toolkit/detail/objFormat.h"

#include <algorithm>
#include <array>
#include <string>

namespace trimora {

namespace {

constexpr std::array<std::string_view, 1> objExtensions = {"obj"};
constexpr std::array<MeshFormat, 1> formats = {
    MeshFormat{"obj", objExtensions, nullptr, &readObj, &writeObj,
               HoldsTextureCoordinates | HoldsNormals | HoldsPolygons}};

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

std::string knownFormats() {
    std::string names;
    for (MeshFormat const& format : formats)
        names += (names.empty() ? "" : ", ") + std::string(format.name);
    return names;
}

}  // namespace

std::span<MeshFormat const> meshFormats() {
    return formats;
}

MeshFormat const* findMeshFormat(std::string_view path, std::string_view name,
                                 FileOutcome& outcome) {
    outcome = FileOutcome::done();
    if (name.empty() && (path.empty() || path == "-"))
        return &formats.front();
    std::string const wanted = name.empty() ? extensionOf(path) : lowerCase(name);
    for (MeshFormat const& format : formats) {
        bool const byExtension = std::find(format.extensions.begin(), format.extensions.end(),
                                           wanted) != format.extensions.end();
        if (name.empty() ? byExtension : format.name == wanted)
            return &format;
    }
    std::string const what = !name.empty()    ? "no format is named '" + std::string(name) + "'"
                             : wanted.empty() ? "the name has no extension that tells its format"
                                              : "no format has the extension '." + wanted + "'";
    outcome = FileOutcome::failed(FileOutcome::Failure::Unsupported,
                                  std::string(path) + ": " + what +
                                      "; the formats are: " + knownFormats());
    return nullptr;
}

}  // namespace trimora
