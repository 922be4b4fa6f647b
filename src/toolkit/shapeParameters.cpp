// Texts of shape parameters: what each kind takes, said where it is not met.

#include "toolkit/shapeParameters.h"

#include "toolkit/detail/textLines.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace trimora {

namespace {

using Kind = ShapeParameterKind;
using Numbers = std::vector<double>;

constexpr double mostDegrees =
    36000.0;  // a hundred turns, beyond which floats are no longer fine enough for angles

/// Finite numbers with commas between them; empty unless there are `count`.
Numbers numbersIn(std::string_view text, std::size_t count) {
    Numbers numbers;
    for (bool goesOn = true; goesOn;) {
        std::size_t const comma = text.find(',');
        double value = 0.0;
        if (!parseWhole(text.substr(0, comma), value) || !std::isfinite(value))
            return {};
        numbers.push_back(value);
        goesOn = comma != std::string_view::npos;
        text.remove_prefix(goesOn ? comma + 1 : text.size());
    }
    return numbers.size() == count ? numbers : Numbers();
}

bool isLength(double value) {
    float const narrow = static_cast<float>(value);
    return narrow > 0.0f && std::isfinite(narrow);
}

bool fitsFloat(double value) {
    return std::isfinite(static_cast<float>(value));
}

Numbers onlyIf(bool isRight, Numbers const& numbers) {
    return isRight ? numbers : Numbers();
}

Numbers lengthsIn(std::string_view text, std::size_t count) {
    Numbers const numbers = numbersIn(text, count);
    return onlyIf(std::all_of(numbers.begin(), numbers.end(), isLength), numbers);
}

Numbers placeIn(std::string_view text, std::size_t count) {
    Numbers const numbers = numbersIn(text, count);
    return onlyIf(std::all_of(numbers.begin(), numbers.end(), fitsFloat), numbers);
}

Numbers directionIn(std::string_view text) {
    Numbers const numbers = placeIn(text, 3);
    bool const isWay =
        std::any_of(numbers.begin(), numbers.end(), [](double x) { return x != 0.0; });
    return onlyIf(isWay, numbers);
}

Numbers axisIn(std::string_view text) {
    std::size_t const axis =
        text.size() == 1 ? std::string_view("xyz").find(text[0]) : std::string_view::npos;
    return axis == std::string_view::npos ? Numbers() : Numbers{static_cast<double>(axis)};
}

Numbers wholeNumberIn(std::string_view text, ShapeParameter const& parameter) {
    std::int64_t value = 0;
    bool const isRight =
        parseWhole(text, value) && value >= parameter.least && value <= parameter.most;
    return onlyIf(isRight, {static_cast<double>(value)});
}

Numbers angleIn(std::string_view text) {
    Numbers const numbers = numbersIn(text, 1);
    return onlyIf(!numbers.empty() && std::abs(numbers[0]) <= mostDegrees, numbers);
}

/// Empty where the text is not right.
Numbers valuesOf(ShapeParameter const& parameter, std::string_view text) {
    switch (parameter.kind) {
    case Kind::Length:
        return lengthsIn(text, 1);
    case Kind::Lengths2:
        return lengthsIn(text, 2);
    case Kind::Lengths3:
        return lengthsIn(text, 3);
    case Kind::Place:
    case Kind::Places:
        return placeIn(text, 3);
    case Kind::FlatPlaces:
        return placeIn(text, 2);
    case Kind::Direction:
        return directionIn(text);
    case Kind::Axis:
        return axisIn(text);
    case Kind::Angle:
        return angleIn(text);
    case Kind::WholeNumber:
        return wholeNumberIn(text, parameter);
    case Kind::Switch:
        break;
    }
    return {};
}

std::string whatItTakes(ShapeParameter const& parameter) {
    switch (parameter.kind) {
    case Kind::Length:
        return "a length above 0, 3.4e38 at most";
    case Kind::Lengths2:
        return "two lengths above 0 like 2,1";
    case Kind::Lengths3:
        return "three lengths above 0 like 3,2,1";
    case Kind::Place:
    case Kind::Places:
        return "x,y,z within 3.4e38";
    case Kind::FlatPlaces:
        return "x,y within 3.4e38";
    case Kind::Direction:
        return "x,y,z, not all 0";
    case Kind::Axis:
        return "x, y or z";
    case Kind::Angle:
        return "degrees from -36000 to 36000";
    case Kind::WholeNumber:
        return "a whole number from " + std::to_string(parameter.least) + " to " +
               std::to_string(parameter.most);
    case Kind::Switch:
        break;
    }
    return "no value";
}

}  // namespace

std::string faultOfShapeParameter(ShapeParameter const& parameter, std::string const& text) {
    return valuesOf(parameter, text).empty()
               ? "takes " + whatItTakes(parameter) + ", not '" + text + "'"
               : std::string();
}

void ShapeValues::add(ShapeParameter const& parameter, std::string_view text) {
    Numbers& numbers = numbers_[std::string(parameter.name)];
    Numbers const more = valuesOf(parameter, text);
    numbers.insert(numbers.end(), more.begin(), more.end());
}

}  // namespace trimora
