#include "exhaustion.h"

#include "support/sanitizers.h"

#include <algorithm>
#include <cstdlib>
#include <doctest/doctest.h>
#include <limits>
#include <string_view>
#include <utility>

namespace exhaustion {

bool isWanted() {
    char const* const value = std::getenv("TRIMORA_EXHAUSTIVE");
    return value != nullptr && std::string_view(value) == "1";
}

std::int64_t mostTries() {
    if (support::hasThreadSanitizer)
        return 4;
    return support::hasAddressSanitizer ? 25 : std::numeric_limits<std::int64_t>::max();
}

Tally::Tally(std::string calls, std::string tries)
    : calls_(std::move(calls)), tries_(std::move(tries)) {}

Tally::~Tally() {
    if (isWanted() || numTried_ < numTries_)
        MESSAGE(numCalls_ << " " << calls_ << ", " << numTries_ << " " << tries_ << ", "
                          << numTried_ << " tried");
}

std::int64_t Tally::stepOver(std::int64_t numTries, std::int64_t most) {
    std::int64_t const step = isWanted() || numTries <= most ? 1 : (numTries / most) | 1;
    ++numCalls_;
    numTries_ += numTries;
    numTried_ += (numTries + step - 1) / step;
    return step;
}

}  // namespace exhaustion
