#pragma once

#include "Session.h"

#include <condition_variable>

namespace app {

/// The time limit of a run that keeps what it has done: it stops the work, not the process. Before the work has begun there
/// is nothing to keep, and it ends the process as the session's own limit does.
class Deadline {
public:
    using Clock = std::chrono::steady_clock;

    /// seconds   after the start; 0: no limit
    Deadline(Session& session, double seconds, Clock::time_point start);
    ~Deadline();
    Deadline(Deadline const&) = delete;
    Deadline& operator=(Deadline const&) = delete;

    /// From now on it cancels the work.
    void guard(koUtil::Progress& work);
    /// The work is done: the limit holds no longer.
    void end();

private:
    void watch(Clock::time_point limit);

    Session& session_;
    koUtil::Progress* work_ = nullptr;
    bool isOver_ = false;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::thread watcher_;  // last: it reads all the others
};

}  // namespace app
