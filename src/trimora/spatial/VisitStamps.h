#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace koGeom {

/// Marks which elements a query has met. A new query takes the next stamp in place of a clear; when
/// the stamps run out the marks are cleared once.
class VisitStamps {
public:
    explicit VisitStamps(int numElements)
        : marks_(static_cast<std::size_t>(numElements > 0 ? numElements : 0), 0u) {}

    int size() const { return static_cast<int>(marks_.size()); }

    /// True the first time that an element is met in a query.
    bool meet(int element) {
        std::uint32_t& mark = marks_[static_cast<std::size_t>(element)];
        bool const isNew = mark != stamp_;
        mark = stamp_;
        return isNew;
    }

    bool hasMet(int element) const { return marks_[static_cast<std::size_t>(element)] == stamp_; }

    /// Where the mark of an element lies, to be fetched ahead.
    void const* address(int element) const { return &marks_[static_cast<std::size_t>(element)]; }

    void nextQuery() {
        if (++stamp_ == std::numeric_limits<std::uint32_t>::max()) {
            std::fill(marks_.begin(), marks_.end(), 0u);
            stamp_ = 1;
        }
    }

private:
    std::vector<std::uint32_t> marks_;
    std::uint32_t stamp_ = 1;
};

}  // namespace koGeom
