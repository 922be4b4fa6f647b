#pragma once

#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace trimora {

/// What the text of a shape's parameter has to be.
enum class ShapeParameterKind {
    Length,       ///< above 0, as a float as well
    Lengths2,     ///< two of them, "2,1"
    Lengths3,     ///< three of them
    Place,        ///< x,y,z
    Places,       ///< several of them, one a text
    FlatPlaces,   ///< several x,y, one a text
    Direction,    ///< x,y,z, not all 0
    Axis,         ///< x, y or z
    Angle,        ///< degrees, a hundred turns at most
    WholeNumber,  ///< from `least` to `most`
    Switch        ///< given or not, without a text
};

/// One parameter of a shape, as people set it by name.
struct ShapeParameter {
    std::string_view name;  ///< "radius"
    ShapeParameterKind kind;
    std::string_view
        preset;  ///< its text when it is not given; several are parted by blanks. Empty for a switch
    std::string_view meaning;
    std::int64_t least = 0;
    std::int64_t most = 0;
};

/// What is wrong with the text of a parameter, "takes a length above 0, not 'x'", or nothing. A switch takes no text.
TRIMORA_API std::string faultOfShapeParameter(ShapeParameter const& parameter,
                                              std::string const& text);

/// Texts by the names of parameters: one each, several for places, none for a switch.
using ShapeTexts = std::map<std::string, std::vector<std::string>, std::less<>>;

/// The numbers behind the texts of one shape's parameters, presets included.
class ShapeValues {
public:
    /// The text has to be without fault.
    void add(ShapeParameter const& parameter, std::string_view text);

    bool has(std::string_view name) const { return numbers_.find(name) != numbers_.end(); }
    /// The numbers of a parameter that is there, of all its texts. An axis is 0, 1 or 2.
    std::vector<double> const& all(std::string_view name) const {
        return numbers_.find(name)->second;
    }
    double number(std::string_view name) const { return all(name)[0]; }
    float length(std::string_view name, std::size_t i = 0) const {
        return static_cast<float>(all(name)[i]);
    }
    int whole(std::string_view name) const { return static_cast<int>(number(name)); }
    koLinear::Point place(std::string_view name) const {
        return {all(name)[0], all(name)[1], all(name)[2]};
    }

private:
    std::map<std::string, std::vector<double>, std::less<>> numbers_;
};

}  // namespace trimora
