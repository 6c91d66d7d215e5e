/// quarrydex-bench [--entries N] [group…]: measures, prints one table a group, and says whether
/// every goal holds. Exit status: 0 yes, 1 some goal falls short, 2 wrong arguments.
#include "QuarrydexCore/base/ParallelFor.h"

#include "benchmarks/support/Bench.h"

#include <charconv>
#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/sysinfo.h>
#include <sys/utsname.h>

namespace quarrydex::bench {

namespace {

constexpr std::size_t defaultEntries = 10'000'000;
constexpr std::size_t maxEntries = 60'000'000; ///< a catalogue takes 67 million

struct Arguments {
    std::size_t entries = defaultEntries;
    std::vector<std::string_view> groups; ///< empty: all
};

bool isGroup(std::string_view name) {
    for (const Group& group : groups())
        if (group.name == name)
            return true;
    return false;
}

void printUsage(std::FILE* to) {
    std::fprintf(to, "usage: quarrydex-bench [--entries N] [group…]\ngroups:");
    for (const Group& group : groups())
        std::fprintf(to, " %s", group.name.c_str());
    std::fprintf(to, "\n");
}

std::optional<std::size_t> parseEntries(std::string_view text) {
    std::size_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < 1000 ||
        value > maxEntries)
        return std::nullopt;
    return value;
}

/// Nothing when an argument is wrong; the reason has then been printed.
std::optional<Arguments> parse(const std::vector<std::string_view>& words) {
    Arguments arguments;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (words[i] == "--entries") {
            const std::string_view value = ++i < words.size() ? words[i] : "";
            const auto entries = parseEntries(value);
            if (!entries) {
                std::fprintf(stderr, "--entries takes a number from 1000 to %zu\n", maxEntries);
                return std::nullopt;
            }
            arguments.entries = *entries;
        } else if (isGroup(words[i])) {
            arguments.groups.push_back(words[i]);
        } else {
            std::fprintf(stderr, "no such group: %.*s\n", static_cast<int>(words[i].size()),
                         words[i].data());
            printUsage(stderr);
            return std::nullopt;
        }
    }
    return arguments;
}

std::string processorName() {
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);)
        if (line.starts_with("model name"))
            return line.substr(line.find(':') + 2);
    return "unknown processor";
}

void printMachine(std::size_t entries) {
    utsname kernel{};
    ::uname(&kernel);

    struct sysinfo memory {};

    ::sysinfo(&memory);
    const double gib = static_cast<double>(memory.totalram) * memory.mem_unit / (1U << 30);
    std::printf("machine: %u processors (%s), %.1f GiB memory, %s %s %s\n", processorCount(),
                processorName().c_str(), gib, kernel.sysname, kernel.release, kernel.machine);
    std::printf("entries: %zu\n", entries);
    std::fflush(stdout);
}

int run(const Arguments& arguments) {
    printMachine(arguments.entries);
    Report report(arguments.entries);
    for (const Group& group : groups()) {
        const auto& wanted = arguments.groups;
        bool chosen = wanted.empty();
        for (std::string_view name : wanted)
            chosen = chosen || name == group.name;
        if (!chosen)
            continue;
        report.progress(group.name);
        for (GroupFunction function : group.functions)
            function(report);
        report.printGroup(group.name);
    }
    std::printf("\n%zu goals hold, %zu fall short, %zu steps skipped\n", report.held(),
                report.fellShort(), report.skipped());
    return report.fellShort() == 0 ? 0 : 1;
}

} // namespace

} // namespace quarrydex::bench

int main(int argc, char** argv) {
    using namespace quarrydex::bench;
    const std::vector<std::string_view> words(argv + 1, argv + argc);
    for (std::string_view word : words) {
        if (word == "--help" || word == "-h") {
            printUsage(stdout);
            return 0;
        }
    }
    const auto arguments = parse(words);
    return arguments ? run(*arguments) : 2;
}
