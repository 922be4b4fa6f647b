#include "trimora/contract/koOS/DebugChannel.h"

#include "trimora/contract/koOS/detail/MessageSink.h"

#include <utility>

namespace koOS {

class DebugChannel::Impl : public MessageSink {};

DebugChannel::DebugChannel() : impl_(std::make_unique<Impl>()) {}

DebugChannel::~DebugChannel() = default;

void DebugChannel::print(char const* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    impl_->print(format, arguments);
    va_end(arguments);
}

void DebugChannel::setSink(Sink sink) {
    impl_->set(std::move(sink));
}

}  // namespace koOS
