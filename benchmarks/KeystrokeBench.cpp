/// A keystroke from end to end: text into the model, ordered rows out of it.
#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/model/WaitUntil.h"

#include "benchmarks/support/Bench.h"
#include "benchmarks/support/SyntheticCatalog.h"

#include <QCoreApplication>

#include <memory>
#include <string>
#include <vector>

namespace quarrydex::bench {

namespace {

using Clock = std::chrono::steady_clock;

const char* const words[] = {"report", "config", "module", "python", "images",
                             "stream", "button", "zigzag", "kernel", "0x7fff"};
constexpr int rounds = 5;

/// Share of the catalogue up to which a result counts as small.
constexpr std::size_t smallPart = 10;

double msSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

/// What keystrokes took, in milliseconds, until …
struct Times {
    std::vector<double> firstScreen;
    std::vector<double> refined; ///< … the first screen, where a small result was refined
    std::vector<double> allRows;
};

/// Types words into a model, one letter after the other.
class Typist {
  public:
    explicit Typist(Model& model) : model_(model) {}

    /// Types every word. `waitsForAll`: a letter follows when all rows of the one before are there;
    /// else when its first screen is, so that two searches are under way at once.
    Times typeAll(bool waitsForAll) {
        Times times;
        for (int round = 0; round < rounds; ++round)
            for (const std::string word : words)
                for (std::size_t length = 1; length <= word.size(); ++length)
                    type(word.substr(0, length), waitsForAll, times);
        return times;
    }

  private:
    void type(const std::string& text, bool waitsForAll, Times& times) {
        const bool refines =
            text.size() > 1 && model_.results()->total <= model_.volumes()[0]->count / smallPart;
        const auto start = Clock::now();
        model_.setQuery(text);
        waitUntil(model_, [&] { return model_.results()->generation == model_.generation(); });
        times.firstScreen.push_back(msSince(start));
        if (refines)
            times.refined.push_back(times.firstScreen.back());
        if (!waitsForAll)
            return;
        waitUntil(model_, [&] { return model_.results()->complete; });
        times.allRows.push_back(msSince(start));
    }

    Model& model_;
};

void addRows(Report& report, const std::string& step, const std::vector<double>& ms, double limit) {
    report.row({.step = step + ", p50", .ours = quantile(ms, 0.5), .anchorName = ""});
    report.row({.step = step + ", p99",
                .ours = quantile(ms, 0.99),
                .anchor = limit,
                .anchorName = limit > 0 ? "limit" : "",
                .goal = limit > 0 ? 1.0 : 0.0});
}

} // namespace

QDX_BENCH(keystroke) {
    int argc = 1;
    char name[] = "bench";
    char* argv[] = {name, nullptr};
    std::unique_ptr<QCoreApplication> app;
    if (QCoreApplication::instance() == nullptr)
        app = std::make_unique<QCoreApplication>(argc, argv);

    Model model({});
    model.addVolume("/synthetic", syntheticCatalog(report.entries()));
    Typist typist(model);
    report.progress("building the name order");
    model.prepareSort(SortKey::name);
    waitUntil(model, [&] { return !model.sorting(); });

    report.progress("typing words");
    const Times calm = typist.typeAll(true);
    const Times hasty = typist.typeAll(false);
    addRows(report, "first screen", calm.firstScreen, 40);
    addRows(report, "first screen, typing on at once", hasty.firstScreen, 40);
    addRows(report, "first screen, refining ≤ 10 %", calm.refined, 16);
    addRows(report, "all rows", calm.allRows, 0);
}

} // namespace quarrydex::bench
