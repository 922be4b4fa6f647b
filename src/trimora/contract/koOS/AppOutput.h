#pragma once

#include "trimora/contract/koOS/DebugChannel.h"
#include "trimora/export.h"

namespace koOS {

/// Messages meant for the user of the host application. Off until it is given a sink; threads as DebugChannel.
class TRIMORA_API AppOutput {
public:
    using Sink = DebugChannel::Sink;

    /// The one of the process.
    static AppOutput& getInstance();

    AppOutput(AppOutput const&) = delete;
    AppOutput& operator=(AppOutput const&) = delete;

    void info(char const* format, ...) const __attribute__((format(printf, 2, 3)));
    void error(char const* format, ...) const __attribute__((format(printf, 2, 3)));

    /// Where messages of both kinds go from now on; null turns them off.
    void setSink(Sink const& sink);
    /// The same, for each kind by itself.
    void setSink(Sink info, Sink error);

private:
    AppOutput();
    ~AppOutput();

    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace koOS
