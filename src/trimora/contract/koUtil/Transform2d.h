#pragma once

namespace koUtil {

/// Scale and offset of texture coordinates, with the order in which the two are applied.
struct Transform2d {
    float uScale = 1.0f;
    float vScale = 1.0f;
    float uOffset = 0.0f;
    float vOffset = 0.0f;
    /// 0: u becomes u * scale + offset. Anything else: (u + offset) * scale.
    int mode = 1;

    constexpr bool operator==(Transform2d const&) const = default;
};

}  // namespace koUtil
