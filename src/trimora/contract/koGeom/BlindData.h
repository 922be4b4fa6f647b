#pragma once

namespace koGeom {

/// A value that an algorithm leaves on a record of a `TopoMesh` for its own use.
///
/// Made from an int, a bool or a double, all of which a double holds exactly, and 0 to begin with. Reading it as another
/// kind converts: a number is true when it is not 0, and as an int it is truncated and clamped (NaN gives 0).
class BlindData {
public:
    constexpr BlindData() = default;
    constexpr BlindData(int value) : value_(value) {}
    constexpr BlindData(bool value) : value_(value ? 1.0 : 0.0) {}
    constexpr BlindData(double value) : value_(value) {}

    constexpr int asInt() const {
        constexpr double low = -2147483648.0;
        constexpr double high = 2147483647.0;
        if (value_ != value_)
            return 0;
        return static_cast<int>(value_ < low ? low : value_ > high ? high : value_);
    }
    constexpr bool asBool() const { return value_ != 0.0; }
    constexpr double asDouble() const { return value_; }

    constexpr bool operator==(BlindData const&) const = default;

private:
    double value_ = 0.0;
};

}  // namespace koGeom
