/// NameSearch over the model's catalogues: what the text finds in the window, the newest first, and
/// before these the ones whose name begins with it.
///
/// Searches in the background with searchers of its own, so that neither side cancels the other's.
/// Drives that are hidden in the window are left out here too. A newer question ends an older one.
///
/// Threads: the main thread. Ownership: refers to the model, which outlives it; the destructor
/// waits for the search under way. Failure: a text that is no query finds nothing.
#pragma once

#include "QuarrydexApp/dbus/NameSearch.h"
#include "QuarrydexApp/model/QtMainQueue.h"
#include "QuarrydexCore/base/SerialQueue.h"

#include <atomic>
#include <cstdint>

namespace quarrydex {

class Clock;
class Model;

class ModelNameSearch final : public NameSearch {
  public:
    ModelNameSearch(const Model& model, const Clock& clock) : model_(model), clock_(clock) {}

    ~ModelNameSearch() override { ++newest_; }

    ModelNameSearch(const ModelNameSearch&) = delete;
    ModelNameSearch& operator=(const ModelNameSearch&) = delete;

    void find(const std::string& text, std::size_t limit, Answer answer) override;

  private:
    const Model& model_;
    const Clock& clock_;
    std::atomic<std::uint64_t> newest_{0}; ///< number of the question that is wanted
    QtMainQueue mainQueue_;
    SerialQueue queue_; ///< last: ends before what its tasks use
};

} // namespace quarrydex
