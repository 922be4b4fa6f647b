#include "trimora/contract/koUtil/Progress.h"

#include "trimora/contract/koUtil/detail/CancelAtQuestion.h"

#include <algorithm>
#include <utility>

namespace koUtil {

namespace {

/// 0 to 1; NaN, for which every comparison is false, gives 0.
double clampedFraction(double fraction) {
    return fraction > 0.0 ? std::min(fraction, 1.0) : 0.0;
}

}  // namespace

void Progress::set(double fraction) {
    double const value = clampedFraction(fraction);
    nextPhase_.store(value, std::memory_order_relaxed);
    report(value);
}

void Progress::setCaption(char const* caption) {
    for (Progress* progress = this; progress != nullptr; progress = progress->parent_) {
        {
            std::lock_guard const lock(progress->mutex_);
            progress->caption_ = koString::CString(caption);
        }
        progress->notify();
    }
}

void Progress::subPhase(double fraction, Progress& child) {
    for (Progress const* progress = this; progress != nullptr; progress = progress->parent_)
        if (progress == &child)
            return;

    double const begin = nextPhase_.load(std::memory_order_relaxed);
    double const end = std::min(begin + clampedFraction(fraction), 1.0);
    nextPhase_.store(end, std::memory_order_relaxed);
    child.parent_ = this;
    child.begin_ = begin;
    child.end_ = end;
    child.nextPhase_.store(0.0, std::memory_order_relaxed);
    child.value_.store(0.0, std::memory_order_relaxed);

    if (getValue() < begin)  // the phase before this one ended early
        report(begin);
}

void Progress::cancel() {
    cancelled_.store(true, std::memory_order_relaxed);
}

bool Progress::cancelled() const {
    Progress const* outermost = this;
    for (Progress const* progress = this; progress != nullptr; progress = progress->parent_) {
        if (progress->cancelled_.load(std::memory_order_relaxed))
            return true;
        outermost = progress;
    }
    return detail::CancelAtQuestion::cancels(*outermost);
}

void Progress::setListener(Listener listener) {
    std::shared_ptr<Listener const> next =
        listener ? std::make_shared<Listener const>(std::move(listener)) : nullptr;
    std::lock_guard const lock(mutex_);
    hasListener_.store(next != nullptr, std::memory_order_relaxed);
    listener_.swap(next);
}

void Progress::report(double value) {
    if (value_.exchange(value, std::memory_order_relaxed) == value)
        return;
    notify();
    if (parent_ != nullptr)
        parent_->report(value >= 1.0 ? end_ : begin_ + value * (end_ - begin_));
}

void Progress::notify() {
    if (!hasListener_.load(std::memory_order_relaxed))
        return;
    std::lock_guard const lock(mutex_);
    std::shared_ptr<Listener const> const listener = listener_;
    koString::CString const caption = caption_;
    if (listener != nullptr)
        (*listener)(getValue(), caption.asChar());
}

namespace detail {

namespace {

std::atomic<CancelAtQuestion*> present{nullptr};

}  // namespace

CancelAtQuestion::CancelAtQuestion(Progress& progress, std::int64_t question)
    : progress_(progress), question_(question) {
    present.store(this);
}

CancelAtQuestion::~CancelAtQuestion() {
    present.store(nullptr);
}

bool CancelAtQuestion::cancels(Progress const& outermost) {
    CancelAtQuestion* const one = present.load(std::memory_order_relaxed);
    if (one == nullptr || &one->progress_ != &outermost)
        return false;
    if (one->numAsked_.fetch_add(1) + 1 < one->question_)
        return false;
    one->progress_.cancel();
    return true;
}

}  // namespace detail

}  // namespace koUtil
