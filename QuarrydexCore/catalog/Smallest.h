/// The smallest of many values, found in one pass: whenever twice as many as are wanted have come
/// together, the greater half goes, and from then on most values fail at one comparison.
///
/// Threads: one at a time.
#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace quarrydex {

template <typename T> class Smallest {
  public:
    explicit Smallest(std::size_t limit) : limit_(limit) {}

    void offer(const T& value) {
        if (isFull_ && !(value < greatest_))
            return;
        values_.push_back(value);
        if (values_.size() >= 2 * limit_)
            cut();
    }

    /// The wanted ones and maybe some more, in no order.
    [[nodiscard]] const std::vector<T>& values() const { return values_; }

    /// The wanted ones in ascending order; nothing is left here.
    [[nodiscard]] std::vector<T> sorted() {
        cut();
        std::sort(values_.begin(), values_.end());
        return std::move(values_);
    }

  private:
    void cut() {
        if (values_.size() < limit_ || limit_ == 0) {
            values_.resize(std::min(values_.size(), limit_));
            return;
        }
        std::nth_element(values_.begin(), values_.begin() + (limit_ - 1), values_.end());
        values_.resize(limit_);
        greatest_ = values_.back();
        isFull_ = true;
    }

    std::size_t limit_;
    std::vector<T> values_;
    bool isFull_ = false; ///< greatest_ is known
    T greatest_{};
};

} // namespace quarrydex
