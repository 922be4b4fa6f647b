#pragma once

#include <cstddef>
#include <vector>

namespace koGeom::detail {

/// Values in groups, one a vertex, each in the order of adding. All are added twice: counted first, then placed.
template <class Value>
class GroupsByVertex {
public:
    explicit GroupsByVertex(int numVertices)
        : begins_(static_cast<std::size_t>(numVertices) + 2, 0) {}

    bool isVertex(int vertex) const { return 0 <= vertex && at(vertex) + 2 < begins_.size(); }
    void count(int vertex) { ++begins_[at(vertex) + 2]; }
    void endCounting() {
        for (std::size_t i = 1; i < begins_.size(); ++i)
            begins_[i] += begins_[i - 1];
        values_.resize(begins_.back());
    }
    void place(int vertex, Value value) { values_[begins_[at(vertex) + 1]++] = value; }

    Value* begin(int vertex) { return values_.data() + begins_[at(vertex)]; }
    Value* end(int vertex) { return values_.data() + begins_[at(vertex) + 1]; }
    Value const* begin(int vertex) const { return values_.data() + begins_[at(vertex)]; }
    Value const* end(int vertex) const { return values_.data() + begins_[at(vertex) + 1]; }

private:
    static std::size_t at(int vertex) { return static_cast<std::size_t>(vertex); }

    std::vector<std::size_t> begins_;  // until all are placed, shifted by one
    std::vector<Value> values_;
};

}  // namespace koGeom::detail
