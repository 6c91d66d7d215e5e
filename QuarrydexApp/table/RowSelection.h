/// A set of row positions, kept as ranges: selecting ten million rows costs as much as one.
///
/// Threads: one. Cost: looking up log r, changing r, for r ranges. Fails: never.
#pragma once

#include <cstddef>
#include <vector>

namespace quarrydex {

class RowSelection {
  public:
    /// Rows begin … end − 1.
    struct Range {
        std::size_t begin;
        std::size_t end;

        bool operator==(const Range&) const = default;
    };

    [[nodiscard]] bool contains(std::size_t row) const;

    [[nodiscard]] bool empty() const { return ranges_.empty(); }

    /// Number of rows.
    [[nodiscard]] std::size_t count() const { return count_; }

    /// Rising, neither empty nor touching one another.
    [[nodiscard]] const std::vector<Range>& ranges() const { return ranges_; }

    /// REQUIRES: not empty.
    [[nodiscard]] std::size_t first() const { return ranges_.front().begin; }

    void clear();
    void add(Range range);
    void remove(Range range);
    void toggle(std::size_t row);

    /// Adds a row above all others; for building a set in order.
    void append(std::size_t row);

    bool operator==(const RowSelection&) const = default;

  private:
    std::vector<Range> ranges_;
    std::size_t count_ = 0;
};

} // namespace quarrydex
