/// The command line as a record of options.
/// Threads: any; no state. Fails: by value, with a message for the user.
#pragma once

#include "QuarrydexAudio/dupes/DuplicateFinder.h"
#include "QuarrydexCore/catalog/SortKey.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace quarrydex {

struct Options {
    enum class Mode : std::uint8_t {
        none,
        list,
        batch,
        explain,
        duplicates,
        selfTest,
        startupBench,
        version,
        help
    };

    Mode mode = Mode::none;
    std::vector<std::string> roots;       ///< --root, in the order given
    std::vector<std::string> excludes;    ///< --exclude, likewise
    std::vector<std::string> includeExts; ///< --types, without dots; empty records everything
    std::vector<std::string> queries;     ///< --selftest: every argument after it
    std::string query;                    ///< --list
    std::string explainPath;              ///< --explain

    /// What --duplicates prints.
    enum class DuplicateList : std::uint8_t { csv, m3uSurplus, m3uKeep, m3uAll };
    DuplicateList duplicateList = DuplicateList::csv;
    DuplicateFinder::Options finder; ///< --stages, --min-size, --tolerance

    SortKey sort = SortKey::name;
    std::size_t limit = std::numeric_limits<std::size_t>::max();
    bool descending = false;
    bool showJunk = false;
    bool print0 = false;
    bool json = false;
    std::string kindStyle;   ///< --kind; empty: as stored
    std::uint64_t startNs{}; ///< monotonic time at the start of main()
    bool persist = true;     ///< catalogues may be read from and written to disk
};

/// What is wrong with a command line, in one line.
struct CommandLineError {
    std::string message;
};

/// Reads the arguments, without the program's name. The first fault found is told.
[[nodiscard]] std::variant<Options, CommandLineError>
parseCommandLine(std::span<const char* const> arguments);

/// What --help prints.
[[nodiscard]] std::string helpText();

} // namespace quarrydex
