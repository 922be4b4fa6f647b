#pragma once

#include "trimora/export.h"

#include <functional>
#include <memory>

namespace koOS {

/// The developers' log: one-line messages in the manner of printf, without levels. Off until it is given a sink.
///
/// threads   any; the sink is called by one thread at a time and may itself print or replace the sink
class TRIMORA_API DebugChannel {
public:
    using Sink = std::function<void(char const*)>;

    DebugChannel();
    ~DebugChannel();
    DebugChannel(DebugChannel const&) = delete;
    DebugChannel& operator=(DebugChannel const&) = delete;

    /// Formats the message and hands it to the sink, if there is one. Messages never change behaviour: what the sink
    /// throws is dropped, and so is a message for which there is no memory.
    void print(char const* format, ...) __attribute__((format(printf, 2, 3)));

    /// Where messages go from now on; null turns the channel off.
    void setSink(Sink sink);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace koOS
