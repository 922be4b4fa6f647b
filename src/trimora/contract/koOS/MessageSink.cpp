#include "trimora/contract/koOS/detail/MessageSink.h"

#include <cstdio>
#include <string>
#include <utility>

namespace koOS {

void MessageSink::set(Sink sink) {
    std::shared_ptr<Sink const> next =
        sink ? std::make_shared<Sink const>(std::move(sink)) : nullptr;
    std::lock_guard const lock(mutex_);
    enabled_.store(next != nullptr, std::memory_order_relaxed);
    sink_.swap(next);
}

void MessageSink::print(char const* format, std::va_list arguments) {
    if (!enabled_.load(std::memory_order_relaxed) || format == nullptr)
        return;
    char shortMessage[512];
    std::va_list again;
    va_copy(again, arguments);
    int const length = std::vsnprintf(shortMessage, sizeof shortMessage, format, arguments);
    try {
        if (length >= static_cast<int>(sizeof shortMessage)) {
            std::string longMessage(static_cast<std::size_t>(length), '\0');
            std::vsnprintf(longMessage.data(), longMessage.size() + 1, format, again);
            deliver(longMessage.c_str());
        } else if (length >= 0) {
            deliver(shortMessage);
        }
    } catch (...) {  // messages never change behaviour
    }
    va_end(again);
}

void MessageSink::deliver(char const* message) {
    std::lock_guard const lock(mutex_);
    std::shared_ptr<Sink const> const sink = sink_;
    if (sink != nullptr)
        (*sink)(message);
}

}  // namespace koOS
