#pragma once

#include <atomic>
#include <cstdarg>
#include <functional>
#include <memory>
#include <mutex>

namespace koOS {

/// What the debug channel and the user's output share: an exchangeable receiver of formatted messages.
class MessageSink {
public:
    using Sink = std::function<void(char const*)>;

    void set(Sink sink);
    /// Formats and hands over; silent without a sink, and on every failure.
    void print(char const* format, std::va_list arguments);

private:
    void deliver(char const* message);

    std::atomic<bool> enabled_{false};  // spares the formatting, and the lock, of the usual case
    std::recursive_mutex mutex_;        // recursive: a sink may print or replace itself
    // Shared: a sink that is being replaced lives until it returns.
    std::shared_ptr<Sink const> sink_;
};

}  // namespace koOS
