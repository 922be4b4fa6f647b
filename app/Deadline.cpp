#include "Deadline.h"

#include <algorithm>
#include <unistd.h>

namespace app {

Deadline::Deadline(Session& session, double seconds, Clock::time_point start) : session_(session) {
    constexpr double longest = 1e9;  // seconds; beyond it the clock's own numbers end
    auto const span = std::chrono::duration<double>(std::min(seconds, longest));
    if (seconds > 0.0)
        watcher_ = std::thread(&Deadline::watch, this,
                               start + std::chrono::duration_cast<Clock::duration>(span));
}

Deadline::~Deadline() {
    end();
    if (watcher_.joinable())
        watcher_.join();
}

void Deadline::guard(koUtil::Progress& work) {
    std::lock_guard<std::mutex> const lock(mutex_);
    work_ = &work;
}

void Deadline::end() {
    {
        std::lock_guard<std::mutex> const lock(mutex_);
        isOver_ = true;
    }
    changed_.notify_all();
}

void Deadline::watch(Clock::time_point limit) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (changed_.wait_until(lock, limit, [this] { return isOver_; }))
        return;
    if (work_ != nullptr) {
        work_->cancel();
        return;
    }
    session_.endCancelled(timedOutWords);
}

}  // namespace app
