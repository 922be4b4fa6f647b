#pragma once

#include "trimora/export.h"

#include <chrono>

namespace koOS {

/// Measures wall time in seconds, added up over the spans between start and stop.
class TRIMORA_API StopWatch {
public:
    /// Stopped, at 0.
    StopWatch() = default;

    /// Runs on from the time so far, which it returns; a running watch is left running.
    double start();
    /// Stops, and returns the time so far; start() goes on from there.
    double stop();
    /// Returns the time so far, stops, and sets it to 0.
    double clear();

private:
    using Clock = std::chrono::steady_clock;

    double elapsed() const;

    Clock::time_point started_;
    double before_ = 0.0;  // seconds of the spans that are over
    bool running_ = false;
};

}  // namespace koOS
