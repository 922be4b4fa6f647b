#pragma once

#include "toolkit/writeMesh.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>

/// Parts of PLY files, for the tests that make some.
namespace plyTexts {

inline std::string const square = "0 0 0\n1 0 0\n1 1 0\n0 1 0\n";

inline std::string textHeader(std::string const& elements) {
    return "ply\nformat ascii 1.0\n" + elements + "end_header\n";
}

inline std::string const xyz = "property float x\nproperty float y\nproperty float z\n";
inline std::string const faceList = "property list uchar int vertex_indices\n";

/// Writes PLY files of any layout: each scalar in the form of the file.
class PlyText {
public:
    PlyText(std::string const& form) : form_(form) { text_ = "ply\nformat " + form + " 1.0\n"; }
    void line(std::string const& line) { text_ += line + "\n"; }
    void endHeader() { text_ += "end_header\n"; }
    void number(std::string const& type, double value) {
        if (type == "char" || type == "int8")
            put(static_cast<std::int8_t>(value));
        else if (type == "uchar" || type == "uint8")
            put(static_cast<std::uint8_t>(value));
        else if (type == "short" || type == "int16")
            put(static_cast<std::int16_t>(value));
        else if (type == "ushort" || type == "uint16")
            put(static_cast<std::uint16_t>(value));
        else if (type == "int" || type == "int32")
            put(static_cast<std::int32_t>(value));
        else if (type == "uint" || type == "uint32")
            put(static_cast<std::uint32_t>(value));
        else if (type == "float" || type == "float32")
            put(static_cast<float>(value));
        else
            put(value);
    }
    void endItem() {
        if (form_ == "ascii")
            text_ += "\n";
    }
    std::string const& text() const { return text_; }

private:
    template <class T>
    void put(T value) {
        if (form_ == "ascii") {
            text_ += std::to_string(static_cast<double>(value)) + " ";
            std::size_t const point = text_.rfind('.');
            if (std::is_integral_v<T>)
                text_.resize(point), text_ += " ";
            return;
        }
        char bytes[sizeof value];
        std::memcpy(bytes, &value, sizeof value);
        if ((form_ == "binary_big_endian") == (std::endian::native == std::endian::little))
            std::reverse(bytes, bytes + sizeof value);
        text_.append(bytes, sizeof value);
    }

    std::string const form_;
    std::string text_;
};

inline trimora::WriteOptions encoded(trimora::WriteOptions::Encoding encoding) {
    trimora::WriteOptions options;
    options.encoding = encoding;
    return options;
}

}  // namespace plyTexts
