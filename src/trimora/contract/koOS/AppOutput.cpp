#include "trimora/contract/koOS/AppOutput.h"

#include "trimora/contract/koOS/detail/MessageSink.h"

#include <utility>

namespace koOS {

class AppOutput::Impl {
public:
    MessageSink info;
    MessageSink error;
};

AppOutput::AppOutput() : impl_(std::make_unique<Impl>()) {}

AppOutput::~AppOutput() = default;

AppOutput& AppOutput::getInstance() {
    // Never destroyed: what runs at exit may still speak.
    static AppOutput& instance = *new AppOutput;
    return instance;
}

void AppOutput::info(char const* format, ...) const {
    std::va_list arguments;
    va_start(arguments, format);
    impl_->info.print(format, arguments);
    va_end(arguments);
}

void AppOutput::error(char const* format, ...) const {
    std::va_list arguments;
    va_start(arguments, format);
    impl_->error.print(format, arguments);
    va_end(arguments);
}

void AppOutput::setSink(Sink const& sink) {
    setSink(sink, sink);
}

void AppOutput::setSink(Sink info, Sink error) {
    impl_->info.set(std::move(info));
    impl_->error.set(std::move(error));
}

}  // namespace koOS
