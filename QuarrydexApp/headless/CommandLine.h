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
    std::string kindStyle;                ///< --kind; empty: as stored
    std::vector<std::string> showColumns; ///< --show-columns: ids of columns; empty: as stored

    /// What a start asks of the instance that runs already: --toggle, --show, --search, and
    /// --background nothing. The flags go with no mode and no root. Where none runs, this start
    /// becomes it and does it itself.
    enum class Ask : std::uint8_t { nothing, toggle, show, search, background };
    Ask ask = Ask::nothing;
    std::string askText; ///< --search

    /// --snapshot and what goes with it: one window as a picture in a file.
    struct Screenshot {
        std::string file; ///< PNG to write; empty: no picture is asked for, and the rest is idle
        std::string query;
        std::string filter;     ///< id of a category
        std::string appearance; ///< "dark", empty as stored, anything else is light
        double afterS = 0;      ///< seconds to wait before the picture is taken, up to a day
        bool dupes = false;     ///< the window of duplicates …
        bool chooser = false;   ///< … the source chooser …
        bool settings = false;  ///< … or the settings, in place of the panel
        bool select = false;    ///< the first row is selected
    };

    Screenshot screenshot;

    std::uint64_t startNs{}; ///< monotonic time at the start of main()
    bool persist = true;     ///< catalogues may be read from and written to disk
};

/// True for a start that belongs to the instance that runs already, if there is one: no mode, no
/// folders of its own, no picture to be taken.
[[nodiscard]] inline bool goesToRunningInstance(const Options& options) {
    return options.mode == Options::Mode::none && options.roots.empty() &&
           options.screenshot.file.empty();
}

/// What is wrong with a command line, in one line.
struct CommandLineError {
    std::string message;
};

/// Reads the arguments, without the program's name. The first fault found is told. The flags that
/// windows alone heed may stand last without their value and are then ignored, like --root.
[[nodiscard]] std::variant<Options, CommandLineError>
parseCommandLine(std::span<const char* const> arguments);

/// What --help prints.
[[nodiscard]] std::string helpText();

} // namespace quarrydex
