#pragma once

#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

#include <atomic>
#include <cstdint>
#include <limits>

namespace koUtil::detail {

/// Makes a progress answer its k-th question, and every later one, with "cancelled": so that a test can stop a call at each place at
/// which it asks. Questions of its children count. One at a time in a process.
class TRIMORA_API CancelAtQuestion {
public:
    static constexpr std::int64_t never = std::numeric_limits<std::int64_t>::max();

    /// progress   without a parent; has to live as long as this
    /// question   1 or more
    CancelAtQuestion(Progress& progress, std::int64_t question);
    ~CancelAtQuestion();
    CancelAtQuestion(CancelAtQuestion const&) = delete;
    CancelAtQuestion& operator=(CancelAtQuestion const&) = delete;

    /// How many were asked until now; those after the cancelling are not counted.
    std::int64_t numAsked() const { return numAsked_.load(); }

    /// Asked by Progress::cancelled of the outermost progress, when nothing else has cancelled it.
    static bool cancels(Progress const& outermost);

private:
    Progress& progress_;
    std::int64_t const question_;
    std::atomic<std::int64_t> numAsked_{0};
};

}  // namespace koUtil::detail
