#pragma once

#include <cstdint>
#include <string>

/// Tests that try a call again for each of its questions or of its allocations: how many of the tries a build can afford.
namespace exhaustion {

/// Whether TRIMORA_EXHAUSTIVE=1 is in the environment: nothing is left out, and the figures are told.
bool isWanted();

/// Most tries of one call: all in a plain build, 25 in that of the address sanitizer, 4 in that of the thread sanitizer.
std::int64_t mostTries();

/// What a test has tried. At its end it tells when it left something out, or was asked to leave out nothing.
class Tally {
public:
    Tally(std::string calls, std::string tries);
    ~Tally();
    Tally(Tally const&) = delete;
    Tally& operator=(Tally const&) = delete;

    /// From one try of a call to the next. Odd, as lengths of loops often are not.
    ///
    /// most   tries of this call; TRIMORA_EXHAUSTIVE has none left out
    std::int64_t stepOver(std::int64_t numTries, std::int64_t most = mostTries());

private:
    std::string calls_;
    std::string tries_;
    std::int64_t numCalls_ = 0;
    std::int64_t numTries_ = 0;
    std::int64_t numTried_ = 0;
};

}  // namespace exhaustion
