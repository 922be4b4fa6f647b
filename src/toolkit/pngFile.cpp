// Pictures leave through libpng's simplified interface, into memory first: a file is written whole or not at all.

#include "toolkit/pngFile.h"

#include "toolkit/writeText.h"

#include <algorithm>
#include <cctype>
#include <png.h>

namespace trimora {

namespace {

bool endsInPng(std::string path) {
    std::transform(path.begin(), path.end(), path.begin(), [](char letter) {
        return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    });
    return path.size() > 4 && path.compare(path.size() - 4, 4, ".png") == 0;
}

}  // namespace

FileOutcome checkPicturePath(std::string const& path) {
    return path == "-" || endsInPng(path)
               ? FileOutcome::done()
               : FileOutcome::failed(FileOutcome::Failure::Unsupported,
                                     path +
                                         ": pictures are written as .png; name a file like that");
}

FileOutcome writePng(std::string const& path, Picture const& picture) {
    if (FileOutcome const outcome = checkPicturePath(path); !outcome)
        return outcome;
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture.width);
    image.height = static_cast<png_uint_32>(picture.height);
    image.format = PNG_FORMAT_RGB;
    std::string bytes(PNG_IMAGE_PNG_SIZE_MAX(image), '\0');
    png_alloc_size_t size = bytes.size();
    if (png_image_write_to_memory(&image, bytes.data(), &size, 0, picture.rgb.data(), 0, nullptr) ==
        0)
        return FileOutcome::failed(FileOutcome::Failure::Unwritable,
                                   path + ": cannot be packed: " + image.message);
    bytes.resize(size);
    return writeText(path, bytes);
}

}  // namespace trimora
