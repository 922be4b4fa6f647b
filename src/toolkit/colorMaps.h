#pragma once

#include "trimora/export.h"

#include <vector>

namespace trimora {

/// Light, red, green and blue, as it adds up: not the numbers of a file. 0 to 1.
struct LinearColor {
    float r = 0.0f, g = 0.0f, b = 0.0f;

    friend LinearColor operator+(LinearColor const& p, LinearColor const& q) {
        return {p.r + q.r, p.g + q.g, p.b + q.b};
    }
    friend LinearColor operator*(LinearColor const& p, float s) {
        return {p.r * s, p.g * s, p.b * s};
    }
    /// What is left of light that meets paint.
    friend LinearColor operator*(LinearColor const& p, LinearColor const& q) {
        return {p.r * q.r, p.g * q.g, p.b * q.b};
    }
};

/// From one color (share 0) to another (share 1).
inline LinearColor mix(LinearColor const& from, LinearColor const& to, float share) {
    return from * (1.0f - share) + to * share;
}

/// A channel of light as the number from 0 to 255 that stands for it in sRGB, and back.
TRIMORA_API unsigned char toByte(float light);
TRIMORA_API LinearColor fromBytes(int r, int g, int b);

/// Colors by how they look: lightness (0 to 1) and two axes, green to red and blue to yellow, in which distances go with the
/// differences that people see (Ottosson 2020 [ottosson2020]).
struct Oklab {
    double lightness = 0.0, a = 0.0, b = 0.0;
};
TRIMORA_API Oklab toOklab(LinearColor const& color);
/// Clamped to what a screen shows.
TRIMORA_API LinearColor fromOklab(Oklab const& color);
/// By hue in degrees.
TRIMORA_API Oklab oklabOf(double lightness, double chroma, double hue);

/// Colors for numbers: equal steps look equally large.
class TRIMORA_API ColorMap {
public:
    /// From dark violet through blue and green to light yellow, lighter all the way: for what has no middle.
    static ColorMap const& sequential();
    /// From blue through light grey to red, both ends as dark: for what lies on two sides of 0.
    static ColorMap const& diverging();

    /// place   0 to 1; beyond it the ends; NaN is grey
    LinearColor at(double place) const;

private:
    explicit ColorMap(std::vector<std::vector<Oklab>> const& paths);
    std::vector<LinearColor> table_;
};

/// Colors to tell things apart by, one for each number from 0 on; they repeat.
TRIMORA_API LinearColor distinctColor(int number);
inline constexpr int numDistinctColors = 12;

}  // namespace trimora
