#pragma once

#include <functional>
#include <string>
#include <vector>

namespace proof {

struct Limits {
    double cpuSeconds = 60.0;  ///< of all threads; ten times as much may pass on a busy machine
    double mebibytes =
        2048.0;  ///< of address space; not set under sanitizers, which need terabytes of it
};

/// How a run in a process of its own ended.
struct ChildResult {
    enum class End { Done, Crashed, TooSlow, TooLarge, Threw };

    End end = End::Done;
    int signal = 0;          ///< that ended it, when it crashed
    std::string said;        ///< what it had written until then
    double seconds = 0.0;    ///< of processor time
    double mebibytes = 0.0;  ///< resident at most
};

/// Something to be done in a child: it writes what is to be known with `say`, which survives whatever happens afterwards.
using ChildWork = std::function<void(std::function<void(std::string const&)> const& say)>;

/// Runs works in forked children, several at a time, and hands on the results in order. The caller must not have started threads, and no
/// work may depend on what another one did.
///
/// onEnd   called with the number of each work and its result, ascending
void runInChildren(std::vector<ChildWork> const& works, int atATime, Limits const& limits,
                   std::function<void(std::size_t work, ChildResult const& result)> const& onEnd);

}  // namespace proof
