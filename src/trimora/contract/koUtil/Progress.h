#pragma once

#include "trimora/contract/koString/CString.h"
#include "trimora/export.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

namespace koUtil {

/// How far a long call has come, and whether its user asked it to stop. Lives on the caller's stack.
///
/// A call cuts its own range into phases: subPhase() makes a child report into the next part of it, and phases add up.
/// A child must not be used after its parent is gone. Nobody needs to watch: without a listener nothing happens.
/// threads   set, cancel, cancelled and getValue: any; the rest on the thread that runs the call
class TRIMORA_API Progress {
public:
    /// Receives the value and the latest caption, "" before the first one.
    using Listener = std::function<void(double value, char const* caption)>;

    Progress() = default;
    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;

    /// Reports that `fraction` of this object's range is done; the next phase starts there.
    /// Clamped to 0 to 1, NaN counts as 0. set(0) makes a used object ready for another call.
    void set(double fraction);
    /// What is being done, for the user; copied, null counts as "". Goes to this object and all its parents.
    void setCaption(char const* caption);

    /// Makes `child` report into the next `fraction` of this object's range, from its 0 on. The end is clamped to
    /// this range; a fraction below 0 or NaN counts as 0. A child can be given further phases, one after the other;
    /// a cancelled child stays cancelled. Nothing happens when the child is this object or one of its parents.
    void subPhase(double fraction, Progress& child);

    /// Asks to stop: this object and all its children, now and later, are cancelled. It cannot be taken back.
    void cancel();
    bool cancelled() const;

    /// Fraction done, 0 to 1.
    double getValue() const { return value_.load(std::memory_order_relaxed); }

    /// Called after every change of value or caption of this object, its children included; null for none. Calls come
    /// one at a time, on the thread that reported: within the library's parallel runs the one that called it. The listener
    /// may cancel; it must not throw.
    void setListener(Listener listener);

private:
    void report(double value);
    void notify();

    std::atomic<double> value_{0.0};
    std::atomic<bool> cancelled_{false};
    std::atomic<bool> hasListener_{false};

    std::atomic<double> nextPhase_{0.0};  // where the next phase starts, in this object's range
    Progress* parent_ = nullptr;
    double begin_ = 0.0;  // this object's range, in its parent's
    double end_ = 1.0;

    std::recursive_mutex mutex_;  // guards what follows, and keeps calls of the listener apart
    koString::CString caption_;
    // Shared: one that is being replaced lives until it returns.
    std::shared_ptr<Listener const> listener_;
};

}  // namespace koUtil
