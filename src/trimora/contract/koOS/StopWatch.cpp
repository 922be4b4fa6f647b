#include "trimora/contract/koOS/StopWatch.h"

namespace koOS {

double StopWatch::start() {
    double const sofar = elapsed();
    if (!running_) {
        running_ = true;
        started_ = Clock::now();
    }
    return sofar;
}

double StopWatch::stop() {
    before_ = elapsed();
    running_ = false;
    return before_;
}

double StopWatch::clear() {
    double const total = stop();
    before_ = 0.0;
    return total;
}

double StopWatch::elapsed() const {
    if (!running_)
        return before_;
    return before_ + std::chrono::duration<double>(Clock::now() - started_).count();
}

}  // namespace koOS
