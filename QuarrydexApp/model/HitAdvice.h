/// What to drop from a query without hits so that there are some.
///
/// For each word of the query the hits of the rest are counted in the background, one word after
/// the other, over the volumes that the model searches.
///
/// Threads: the main thread; counting runs on a queue of its own. Ownership: refers to the model,
/// which outlives it. Failure: none; a rest that cannot be parsed or finds nothing is left out.
#pragma once

#include "QuarrydexApp/model/QtMainQueue.h"
#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/base/SerialQueue.h"

#include <QObject>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

class Model;
class Searcher;

class HitAdvice : public QObject {
    Q_OBJECT

  public:
    struct Without {
        std::string word;  ///< as typed; empty: the category
        std::string query; ///< the rest
        std::size_t hits{};

        bool operator==(const Without&) const = default;
    };

    /// More words than this are not tried.
    static constexpr std::size_t maxWords = 8;

    explicit HitAdvice(const Model& model);
    ~HitAdvice() override;

    /// Counts for the model's present state, in place of what was asked before.
    void ask();

    /// Nothing more is wanted of what was asked.
    void withdraw();

    /// The words of a query as they stand in it, bars left out; quoted ones are one word.
    [[nodiscard]] static std::vector<std::string_view> words(std::string_view query);

  Q_SIGNALS:
    /// All that have hits, most hits first; not emitted when there are none.
    void advised(const std::vector<quarrydex::HitAdvice::Without>& advice);

  private:
    class Count;

    const Model& model_;
    std::shared_ptr<Count> running_;
    QtMainQueue mainQueue_;
    SerialQueue queue_;
};

} // namespace quarrydex
