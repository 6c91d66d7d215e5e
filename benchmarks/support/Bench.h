/// The benchmark harness: groups of measurements, one table of what was measured against what.
///
/// A benchmark file defines groups; several files may add to the same group:
///
///     QDX_BENCH(keystroke) {
///         auto catalog = bench::syntheticCatalog(report.entries());
///         const auto [ours, read] = bench::alternate(9, [&] { … }, [&] { … });
///         report.row({.step = "absent needle",
///                     .ours = ours.wallMs,
///                     .anchor = read.wallMs,
///                     .anchorName = "one read of the heap",
///                     .goal = 1.5});
///     }
///
/// A row with a goal holds when ours ≤ goal × anchor. Both sides must come from the same run and
/// use the same number of threads; an anchor may also be a fixed limit (a frame, a byte count).
/// Threads: everything here is called from the main thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex::bench {

enum class Unit : std::uint8_t { seconds, ms, usPerEntry, nsPerEntry, bytesPerEntry, bytes, count };

/// One line of the table.
struct Row {
    std::string step;
    double ours{};
    double anchor{};          ///< what ours is held against; 0 = nothing
    std::string anchorName{}; ///< "bare walk", "limit", …
    double goal{};            ///< largest ours ÷ anchor that holds; 0 = a figure without a goal
    Unit unit = Unit::ms;
};

class Report {
  public:
    explicit Report(std::size_t entries) : entries_(entries) {}

    /// Entries that synthetic catalogues should have.
    [[nodiscard]] std::size_t entries() const { return entries_; }

    void row(Row row);

    /// A step that cannot be measured here. It is printed with its reason and counts as nothing:
    /// neither as holding nor as falling short.
    void skip(std::string step, std::string reason);

    /// Says on standard error what is being done, while it is being done.
    void progress(std::string_view what) const;

    /// Prints the rows gathered since the last call, on standard output.
    void printGroup(std::string_view group);

    /// Goals over all groups.
    [[nodiscard]] std::size_t held() const { return held_; }

    [[nodiscard]] std::size_t fellShort() const { return fellShort_; }

    [[nodiscard]] std::size_t skipped() const { return skipped_; }

  private:
    struct Line {
        Row row;
        std::string skipReason; ///< not empty: the step was skipped
    };

    std::size_t entries_;
    std::vector<Line> lines_;
    std::size_t held_ = 0;
    std::size_t fellShort_ = 0;
    std::size_t skipped_ = 0;
};

// --- Groups -------------------------------------------------------------------------------------

using GroupFunction = void (*)(Report&);

struct Group {
    std::string name;
    std::vector<GroupFunction> functions;
};

/// Adds a function to the group of that name. Returns true, so that a static may call it.
bool registerGroup(std::string_view name, GroupFunction function);

/// All groups, by name.
[[nodiscard]] const std::vector<Group>& groups();

// --- Measuring ----------------------------------------------------------------------------------

/// What one run of a closure took. Processor time is that of all threads of this process and of
/// the child processes that were waited for meanwhile.
struct Sample {
    double wallMs{};
    double cpuMs{};
};

/// Medians over the same rounds.
struct Comparison {
    Sample ours;
    Sample anchor;
};

/// User and system time so far, this process with its finished children.
[[nodiscard]] double processorMs();

/// The value at `fraction` (0 … 1) of the sorted values, nearest rank. REQUIRES: not empty.
[[nodiscard]] double quantile(std::vector<double> values, double fraction);

/// Medians of the wall and of the processor times, each for itself. REQUIRES: not empty.
[[nodiscard]] Sample median(const std::vector<Sample>& samples);

template <typename F> Sample timeOnce(F&& body) {
    const double cpu = processorMs();
    const auto start = std::chrono::steady_clock::now();
    body();
    const std::chrono::duration<double, std::milli> wall = std::chrono::steady_clock::now() - start;
    return {wall.count(), processorMs() - cpu};
}

template <typename F> Sample medianOf(std::size_t rounds, F&& body) {
    std::vector<Sample> samples;
    for (std::size_t i = 0; i < rounds; ++i)
        samples.push_back(timeOnce(body));
    return median(samples);
}

/// Runs the two in turn, swapping who goes first, after one round of each that is not counted, so
/// that caches, clock speed and neighbours weigh on both alike.
template <typename F, typename G> Comparison alternate(std::size_t rounds, F&& ours, G&& anchor) {
    ours();
    anchor();
    std::vector<Sample> a;
    std::vector<Sample> b;
    for (std::size_t i = 0; i < rounds; ++i) {
        if (i % 2 == 0) {
            a.push_back(timeOnce(ours));
            b.push_back(timeOnce(anchor));
        } else {
            b.push_back(timeOnce(anchor));
            a.push_back(timeOnce(ours));
        }
    }
    return {median(a), median(b)};
}

/// Makes the compiler believe that the value is used.
template <typename T> void keep(const T& value) {
    asm volatile("" : : "g"(&value) : "memory");
}

/// Full path of a program found in PATH, empty when there is none.
[[nodiscard]] std::string programInPath(std::string_view name);

/// Runs a program with its standard streams on the null device and waits for it. Returns its exit
/// status, -1 when it could not be started or was killed.
int runProgram(const std::vector<std::string>& argv);

} // namespace quarrydex::bench

#define QDX_BENCH_JOIN2(a, b) a##b
#define QDX_BENCH_JOIN(a, b) QDX_BENCH_JOIN2(a, b)
// NOLINTBEGIN(bugprone-macro-parentheses): names of functions
#define QDX_BENCH_NAMED(group, function)                                                           \
    static void function(::quarrydex::bench::Report& report);                                      \
    [[maybe_unused]] static const bool QDX_BENCH_JOIN(function, Registered) =                      \
        ::quarrydex::bench::registerGroup(#group, &function);                                      \
    static void function([[maybe_unused]] ::quarrydex::bench::Report& report)
// NOLINTEND(bugprone-macro-parentheses)

/// Defines a function of the named group; its body sees `Report& report`.
#define QDX_BENCH(group) QDX_BENCH_NAMED(group, QDX_BENCH_JOIN(qdxBench_##group##_, __LINE__))
