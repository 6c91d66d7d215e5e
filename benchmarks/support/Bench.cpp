#include "benchmarks/support/Bench.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quarrydex::bench {

namespace {

std::string formatted(const char* format, double value) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), format, value);
    return text.data();
}

std::string_view unitText(Unit unit) {
    switch (unit) {
    case Unit::seconds:
        return " s";
    case Unit::ms:
        return " ms";
    case Unit::usPerEntry:
        return " µs/entry";
    case Unit::nsPerEntry:
        return " ns/entry";
    case Unit::bytesPerEntry:
        return " B/entry";
    case Unit::bytes:
        return " B";
    case Unit::count:
        return "";
    }
    return "";
}

/// Three significant digits, or all digits before the point.
std::string valueText(double value, Unit unit) {
    const double size = std::fabs(value);
    const char* format = size >= 100 || value == 0 ? "%.0f"
                         : size >= 10              ? "%.1f"
                         : size >= 1               ? "%.2f"
                         : size >= 0.1             ? "%.3f"
                                                   : "%.4f";
    return formatted(format, value) + std::string(unitText(unit));
}

bool holds(const Row& row) {
    return row.ours <= row.goal * row.anchor;
}

/// Columns that a text takes on a terminal; every character counts one.
std::size_t columnsOf(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) >> 6) != 2;
    }));
}

std::string padded(const std::string& text, std::size_t width, bool right) {
    const std::string space(width - std::min(width, columnsOf(text)), ' ');
    return right ? space + text : text + space;
}

constexpr std::size_t cellCount = 7;
using Cells = std::array<std::string, cellCount>;

Cells cellsOf(const Row& row) {
    const bool anchored = row.anchor > 0;
    const bool hasGoal = anchored && row.goal > 0;
    return {row.step,
            valueText(row.ours, row.unit),
            anchored ? valueText(row.anchor, row.unit) : "–",
            row.anchorName,
            anchored ? formatted("%.3f", row.ours / row.anchor) : "–",
            hasGoal ? formatted("≤ %.3g", row.goal) : "–",
            hasGoal ? (holds(row) ? "holds" : "FALLS SHORT") : "–"};
}

void printLine(const Cells& cells, const std::array<std::size_t, cellCount>& widths) {
    constexpr std::array<bool, cellCount> right = {false, true, true, false, true, true, false};
    std::string line;
    for (std::size_t i = 0; i < cellCount; ++i)
        line += (i == 0 ? "  " : "   ") + padded(cells[i], widths[i], right[i]);
    line.erase(line.find_last_not_of(' ') + 1);
    std::printf("%s\n", line.c_str());
}

std::vector<Group>& mutableGroups() {
    static std::vector<Group> all;
    return all;
}

} // namespace

void Report::row(Row row) {
    if (row.goal > 0 && row.anchor > 0)
        ++(holds(row) ? held_ : fellShort_);
    const Cells cells = cellsOf(row);
    progress("  " + cells[0] + ": " + cells[1] + ", ratio " + cells[4] + ", " + cells[6]);
    lines_.push_back({std::move(row), {}});
}

void Report::skip(std::string step, std::string reason) {
    ++skipped_;
    progress("  " + step + ": skipped, " + reason);
    lines_.push_back({{.step = std::move(step)}, std::move(reason)});
}

void Report::progress(std::string_view what) const {
    std::fprintf(stderr, "%.*s\n", static_cast<int>(what.size()), what.data());
}

void Report::printGroup(std::string_view group) {
    const Cells head = {"step", "ours", "anchor", "which is", "ratio", "goal", "verdict"};
    std::array<std::size_t, cellCount> widths{};
    std::vector<Cells> table = {head};
    for (const Line& line : lines_)
        table.push_back(line.skipReason.empty() ? cellsOf(line.row) : Cells{line.row.step});
    for (const Cells& cells : table)
        for (std::size_t i = 0; i < cellCount; ++i)
            widths[i] = std::max(widths[i], columnsOf(cells[i]));

    std::printf("\n%.*s\n", static_cast<int>(group.size()), group.data());
    printLine(head, widths);
    for (std::size_t i = 0; i < lines_.size(); ++i) {
        if (lines_[i].skipReason.empty())
            printLine(table[i + 1], widths);
        else
            std::printf("  %s   skipped: %s\n",
                        padded(lines_[i].row.step, widths[0], false).c_str(),
                        lines_[i].skipReason.c_str());
    }
    std::fflush(stdout);
    lines_.clear();
}

bool registerGroup(std::string_view name, GroupFunction function) {
    std::vector<Group>& all = mutableGroups();
    auto at =
        std::lower_bound(all.begin(), all.end(), name,
                         [](const Group& group, std::string_view n) { return group.name < n; });
    if (at == all.end() || at->name != name)
        at = all.insert(at, {std::string(name), {}});
    at->functions.push_back(function);
    return true;
}

const std::vector<Group>& groups() {
    return mutableGroups();
}

double processorMs() {
    double total = 0;
    for (int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
        rusage usage{};
        ::getrusage(who, &usage);
        for (const timeval& time : {usage.ru_utime, usage.ru_stime})
            total +=
                static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
    }
    return total;
}

double quantile(std::vector<double> values, double fraction) {
    const double rank = std::ceil(fraction * static_cast<double>(values.size())) - 1;
    const auto at = static_cast<std::size_t>(std::max(0.0, rank));
    const auto nth = values.begin() + static_cast<std::ptrdiff_t>(std::min(at, values.size() - 1));
    std::nth_element(values.begin(), nth, values.end());
    return *nth;
}

Sample median(const std::vector<Sample>& samples) {
    std::vector<double> wall;
    std::vector<double> cpu;
    for (const Sample& sample : samples) {
        wall.push_back(sample.wallMs);
        cpu.push_back(sample.cpuMs);
    }
    return {quantile(std::move(wall), 0.5), quantile(std::move(cpu), 0.5)};
}

std::string programInPath(std::string_view name) {
    const char* path = std::getenv("PATH"); // NOLINT(concurrency-mt-unsafe): nobody writes it
    std::string_view rest = path != nullptr ? path : "/usr/bin:/bin";
    while (!rest.empty()) {
        const std::string_view folder = rest.substr(0, rest.find(':'));
        rest.remove_prefix(std::min(rest.size(), folder.size() + 1));
        std::string candidate = std::string(folder) + '/' + std::string(name);
        if (::access(candidate.c_str(), X_OK) == 0)
            return candidate;
    }
    return {};
}

int runProgram(const std::vector<std::string>& argv) {
    std::vector<char*> raw;
    raw.reserve(argv.size() + 1);
    for (const std::string& argument : argv)
        raw.push_back(const_cast<char*>(argument.c_str()));
    raw.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&actions, fd, "/dev/null", O_RDWR, 0);
    pid_t child = -1;
    const int error = ::posix_spawnp(&child, raw[0], &actions, nullptr, raw.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (error != 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

} // namespace quarrydex::bench
