#include "trimora/reduce/detail/CollapseQueue.h"

#include <algorithm>
#include <bit>

namespace koGeom {

namespace {

/// Sign and exponent of a double, and up to four bits of the rest when there are many entries: a bucket then holds a few
/// thousand of them, which is what the nearest cache holds.
constexpr int bitsOfSignAndExponent = 12;
constexpr int maxFurtherBits = 4;
constexpr int bitsOfFewEntries = 14;

int bucketShiftFor(std::size_t numHalfEdges) {
    int const furtherBits = static_cast<int>(std::bit_width(numHalfEdges)) - bitsOfFewEntries;
    return 64 - bitsOfSignAndExponent - std::clamp(furtherBits, 0, maxFurtherBits);
}

/// The bits of a double so that they ascend as the numbers do, both zeros alike.
std::uint64_t ascendingBits(double number) {
    auto const bits = std::bit_cast<std::uint64_t>(number + 0.0);
    constexpr std::uint64_t sign = std::uint64_t(1) << 63;
    return (bits & sign) != 0 ? ~bits : bits | sign;
}

bool comesAfter(CollapseQueue::Entry const& a, CollapseQueue::Entry const& b) {
    return a.cost > b.cost || (a.cost == b.cost && a.ticket > b.ticket);
}

}  // namespace

CollapseQueue::CollapseQueue(TopoMeshTriangles& links, std::uint64_t lastTicket)
    : links_(links),
      bucketShift_(bucketShiftFor(links.numHalfEdges())),
      lastTicket_(lastTicket),
      lastPurge_(lastTicket) {
    buckets_.resize(std::size_t(1) << (64 - bucketShift_));
}

std::size_t CollapseQueue::bucketOf(double cost) const {
    return static_cast<std::size_t>(ascendingBits(cost) >> bucketShift_);
}

/// The lower half is never 0, which stands for none.
std::uint64_t CollapseQueue::nextTicket() {
    constexpr std::uint64_t numTags = std::uint64_t(1) << 32;
    if (++lastTicket_ % numTags == 0)
        ++lastTicket_;
    if (lastTicket_ - lastPurge_ > numTags / 2)
        purge();
    return lastTicket_;
}

void CollapseQueue::insert(Index h, double cost) {
    Entry const entry = {cost, nextTicket(), h};
    std::size_t const bucket = bucketOf(cost);
    if (bucket > openBucket_) {
        buckets_[bucket].push_back(entry);
    } else {
        heap_.push_back(entry);
        std::push_heap(heap_.begin(), heap_.end(), comesAfter);
    }
    links_.tag(h) = static_cast<Index>(entry.ticket);
    ++numHeld_;
    ++numStored_;
}

void CollapseQueue::erase(Index h) {
    constexpr std::size_t fewEntries = 1024;
    links_.tag(h) = 0;
    --numHeld_;
    if (numStored_ > 2 * numHeld_ + fewEntries)
        purge();
}

CollapseQueue::Entry const* CollapseQueue::top() {
    do {
        while (!heap_.empty()) {
            if (isAlive(heap_.front()))
                return &heap_.front();
            std::pop_heap(heap_.begin(), heap_.end(), comesAfter);
            heap_.pop_back();
            --numStored_;
        }
    } while (openNextBucket());
    return nullptr;
}

/// Makes the next bucket that is not empty the heap; false when there is none.
bool CollapseQueue::openNextBucket() {
    do {
        if (openBucket_ + 1 == buckets_.size())
            return false;
        ++openBucket_;
    } while (buckets_[openBucket_].empty());
    heap_.swap(buckets_[openBucket_]);
    std::vector<Entry>().swap(buckets_[openBucket_]);
    numStored_ -= heap_.size();
    dropErased(heap_);
    numStored_ += heap_.size();
    std::make_heap(heap_.begin(), heap_.end(), comesAfter);
    return true;
}

void CollapseQueue::purge() {
    dropErased(heap_);
    std::make_heap(heap_.begin(), heap_.end(), comesAfter);
    for (std::vector<Entry>& bucket : buckets_)
        dropErased(bucket);
    numStored_ = numHeld_;
    lastPurge_ = lastTicket_;
}

void CollapseQueue::dropErased(std::vector<Entry>& entries) const {
    std::erase_if(entries, [this](Entry const& entry) { return !isAlive(entry); });
}

}  // namespace koGeom
