#include "QuarrydexApp/headless/CommandLine.h"

#include "QuarrydexCore/base/AppInfo.h"
#include "QuarrydexCore/query/ExtPatterns.h"
#include "QuarrydexCore/text/tr.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

namespace quarrydex {

namespace {

using Mode = Options::Mode;

/// Reads arguments one after the other into options; stops at the first fault.
class Reader {
  public:
    explicit Reader(std::span<const char* const> arguments) : rest_(arguments) {}

    std::variant<Options, CommandLineError> read() {
        while (!rest_.empty() && fault_.empty())
            readFlag(take());
        if (fault_.empty())
            checkTogether();
        if (!fault_.empty())
            return CommandLineError{std::move(fault_)};
        return std::move(options_);
    }

  private:
    std::string take() {
        std::string argument = rest_.front();
        rest_ = rest_.subspan(1);
        return argument;
    }

    void readFlag(const std::string& flag) {
        if (flag == "--root") {
            if (!rest_.empty()) // without a value it is ignored
                options_.roots.push_back(take());
        } else if (flag == "--selftest") {
            setMode(Mode::selfTest, flag);
            options_.persist = false;
            while (!rest_.empty())
                options_.queries.push_back(take());
        } else if (!readSwitch(flag) && !readWindowFlag(flag) && !readValueFlag(flag)) {
            fault_ =
                flag.starts_with('-')
                    ? tr("Unknown option {option}: see --help.", {{"option", flag}})
                    : tr("Unexpected argument “{argument}”: see --help.", {{"argument", flag}});
        }
    }

    /// The flags without a value.
    bool readSwitch(const std::string& flag) {
        if (flag == "--no-persist")
            options_.persist = false;
        else if (flag == "--desc")
            options_.descending = forList(flag);
        else if (flag == "--show-junk")
            options_.showJunk = forList(flag);
        else if (flag == "--print0")
            options_.print0 = forList(flag);
        else if (flag == "--json")
            options_.json = forList(flag);
        else if (flag == "--batch")
            setMode(Mode::batch, flag);
        else if (flag == "--startup-bench")
            setMode(Mode::startupBench, flag);
        else if (flag == "--background")
            setAsk(Options::Ask::background, flag);
        else if (flag == "--toggle")
            setAsk(Options::Ask::toggle, flag);
        else if (flag == "--show")
            setAsk(Options::Ask::show, flag);
        else if (flag == "--version")
            setMode(Mode::version, flag);
        else if (flag == "--help" || flag == "-h")
            setMode(Mode::help, flag);
        else
            return false;
        return true;
    }

    /// The flags that change how the windows look or picture one. Without its value, such a flag is
    /// ignored.
    bool readWindowFlag(const std::string& flag) {
        Options::Screenshot& picture = options_.screenshot;
        const std::pair<std::string_view, bool*> switches[] = {{"--dupes", &picture.dupes},
                                                               {"--chooser", &picture.chooser},
                                                               {"--settings", &picture.settings},
                                                               {"--select", &picture.select}};
        for (const auto& [name, field] : switches) {
            if (flag == name)
                return *field = true;
        }
        const std::pair<std::string_view, std::string*> texts[] = {
            {"--kind", &options_.kindStyle},
            {"--query", &picture.query},
            {"--filter", &picture.filter},
            {"--appearance", &picture.appearance}};
        for (const auto& [name, field] : texts) {
            if (flag == name) {
                if (!rest_.empty())
                    *field = take();
                return true;
            }
        }
        return readPictureFlag(flag);
    }

    bool readPictureFlag(const std::string& flag) {
        if (flag != "--snapshot" && flag != "--after" && flag != "--show-columns")
            return false;
        if (rest_.empty())
            return true;
        const std::string value = take();
        if (flag == "--snapshot") {
            setMode(Mode::none, flag);
            options_.screenshot.file = value;
        } else if (flag == "--after") {
            setAfter(value);
        } else {
            setColumns(value);
        }
        return true;
    }

    void setAfter(const std::string& value) {
        constexpr double day = 24 * 60 * 60;
        options_.screenshot.afterS = number<double>("--after", value);
        if (fault_.empty() &&
            !(options_.screenshot.afterS >= 0 && options_.screenshot.afterS <= day))
            fault_ = tr("{option} takes a number, not “{value}”.",
                        {{"option", "--after"}, {"value", value}});
    }

    void setColumns(const std::string& value) {
        options_.showColumns.clear();
        for (std::size_t begin = 0; begin < value.size();) {
            const std::size_t end = std::min(value.find(',', begin), value.size());
            if (end > begin)
                options_.showColumns.push_back(value.substr(begin, end - begin));
            begin = end + 1;
        }
    }

    /// The flags that cannot do without their value.
    bool readValueFlag(const std::string& flag) {
        constexpr std::string_view known[] = {
            "--list",       "--explain", "--exclude",  "--types",     "--sort",  "--limit",
            "--duplicates", "--stages",  "--min-size", "--tolerance", "--search"};
        if (std::ranges::find(known, flag) == std::end(known))
            return false;
        const bool mayBeEmpty = flag == "--list" || flag == "--search" || flag == "--limit";
        if (rest_.empty() || (*rest_.front() == '\0' && !mayBeEmpty)) {
            fault_ = tr("{option} needs a value.", {{"option", flag}});
            return true;
        }
        const std::string value = take();
        if (readFinderFlag(flag, value))
            return true;
        if (flag == "--list") {
            setMode(Mode::list, flag);
            options_.query = value;
        } else if (flag == "--explain") {
            setMode(Mode::explain, flag);
            options_.explainPath = value;
        } else if (flag == "--search") {
            setAsk(Options::Ask::search, flag);
            options_.askText = value;
        } else if (flag == "--exclude") {
            options_.excludes.push_back(value);
        } else if (flag == "--types") {
            setTypes(value);
        } else if (flag == "--sort") {
            forList(flag);
            setSort(value);
        } else {
            forList(flag);
            options_.limit = number<std::size_t>(flag, value);
        }
        return true;
    }

    /// --duplicates and what goes with it.
    bool readFinderFlag(const std::string& flag, const std::string& value) {
        if (flag == "--duplicates") {
            setMode(Mode::duplicates, flag);
            setDuplicateList(value);
            return true;
        }
        if (flag == "--stages")
            setStages(value);
        else if (flag == "--min-size")
            options_.finder.minSize = number<std::uint64_t>(flag, value);
        else if (flag == "--tolerance")
            options_.finder.durationToleranceMs = number<std::uint32_t>(flag, value);
        else
            return false;
        finderFlag_ = flag;
        return true;
    }

    void setDuplicateList(const std::string& value) {
        using List = Options::DuplicateList;
        constexpr std::pair<std::string_view, List> lists[] = {{"csv", List::csv},
                                                               {"m3u-surplus", List::m3uSurplus},
                                                               {"m3u-keep", List::m3uKeep},
                                                               {"m3u-all", List::m3uAll}};
        const auto found =
            std::ranges::find(lists, value, &std::pair<std::string_view, List>::first);
        if (found != std::end(lists))
            options_.duplicateList = found->second;
        else
            fault_ = tr("--duplicates takes csv, m3u-surplus, m3u-keep or m3u-all, not “{value}”.",
                        {{"value", value}});
    }

    void setStages(const std::string& value) {
        options_.finder.stages = {};
        for (std::size_t begin = 0; begin <= value.size();) {
            const std::size_t end = std::min(value.find(',', begin), value.size());
            const std::string name = value.substr(begin, end - begin);
            if (const auto stage = dupStageNamed(name))
                options_.finder.stages.insert(*stage);
            else
                fault_ = tr("--stages takes size, quickHash, fullHash, sameSong and fingerprint, "
                            "separated by commas, not “{value}”.",
                            {{"value", name}});
            begin = end + 1;
        }
    }

    template <typename T> T number(const std::string& flag, const std::string& value) {
        T result{};
        const char* const end = value.data() + value.size();
        const auto [stop, error] = std::from_chars(value.data(), end, result);
        if (error != std::errc{} || stop != end)
            fault_ =
                tr("{option} takes a number, not “{value}”.", {{"option", flag}, {"value", value}});
        return result;
    }

    void setMode(Mode mode, const std::string& flag) {
        if (!modeFlag_.empty() && modeFlag_ != flag)
            fault_ = tr("{first} and {second} cannot be used together.",
                        {{"first", modeFlag_}, {"second", flag}});
        options_.mode = mode;
        modeFlag_ = flag;
    }

    void setAsk(Options::Ask ask, const std::string& flag) {
        setMode(Mode::none, flag);
        options_.ask = ask;
    }

    /// Notes a flag that means something with --list alone.
    bool forList(const std::string& flag) {
        listFlag_ = flag;
        return true;
    }

    void setTypes(const std::string& value) {
        ExtPatterns types = ExtPatterns::parse(value);
        std::string rejected;
        for (const std::string& piece : types.rejected)
            rejected += (rejected.empty() ? "" : " ") + piece;
        if (!rejected.empty())
            fault_ = tr("Not understood (only *.extension, separated by semicolons): ") + rejected;
        options_.includeExts = std::move(types.exts);
    }

    void setSort(const std::string& value) {
        if (const std::optional<SortKey> key = sortKeyFromRaw(value))
            options_.sort = *key;
        else
            fault_ = tr("--sort takes name, path, size, date or created, not “{value}”.",
                        {{"value", value}});
    }

    void checkTogether() {
        if (!listFlag_.empty() && options_.mode != Mode::list && options_.mode != Mode::help)
            fault_ = tr("{option} works with --list only.", {{"option", listFlag_}});
        else if (!finderFlag_.empty() && options_.mode != Mode::duplicates &&
                 options_.mode != Mode::help)
            fault_ = tr("{option} works with --duplicates only.", {{"option", finderFlag_}});
        else if (options_.print0 && options_.json)
            fault_ = tr("{first} and {second} cannot be used together.",
                        {{"first", "--print0"}, {"second", "--json"}});
        else if (options_.ask != Options::Ask::nothing && !options_.roots.empty())
            fault_ = tr("{first} and {second} cannot be used together.",
                        {{"first", modeFlag_}, {"second", "--root"}});
    }

    std::span<const char* const> rest_;
    Options options_;
    std::string fault_;      ///< empty: none so far
    std::string modeFlag_;   ///< the flag that chose the mode
    std::string listFlag_;   ///< a flag that was given and works with --list only
    std::string finderFlag_; ///< likewise with --duplicates
};

} // namespace

std::variant<Options, CommandLineError> parseCommandLine(std::span<const char* const> arguments) {
    return Reader(arguments).read();
}

std::string helpText() { // NOLINT(readability-function-size): one text
    return tr(R"(Usage: quarrydex [--root DIR…] [MODE] [OPTION…]

Finds files and folders by name below the given folders, or in the sources that were chosen.
Without a mode its window opens, or the window of the instance that runs already.

The running instance:
  --toggle            show the search window, or hide it where it is in front: for a key of your own
  --show              show the search window
  --search TEXT       show it and search for the text
  --background        start without a window where a tray icon or a hot key can show it

Modes:
  --list QUERY        print the path of every hit, one a line
  --batch             answer one JSON request a line from standard input
  --explain PATH      say why a path is found, or why not
  --duplicates LIST   find duplicate music and print a list of it: csv, m3u-surplus (playlist of what
                      need not be kept), m3u-keep or m3u-all. Nothing is ever deleted.
  --selftest [QUERY…] scan, then time every query under every order; stands last
  --startup-bench     print how long it takes until there are rows
  --version, --help

What is searched:
  --root DIR          a folder to search; may be repeated
  --exclude DIR       a folder to leave out; may be repeated
  --types LIST        record only files of these types, for example '*.mp3;*.flac'
  --no-persist        neither read nor write saved catalogues

The windows, for this run:
  --show-columns LIST the columns of the results, for example name,path,size,date
  --kind STYLE        how kinds of files are named, in place of the stored setting

A picture of a window:
  --snapshot FILE     write it as PNG and end, without a display too
  --query TEXT        search for this first
  --filter CATEGORY   choose this category
  --select            select the first row
  --dupes, --chooser, --settings
                      the duplicates, the source chooser or the settings instead of the results
  --appearance LOOK   dark or light
  --after SECONDS     wait before the picture is taken

With --list:
  --sort KEY          name (the default), path, size, date or created
  --desc              largest, newest or last name first
  --show-junk         hidden and system files too
  --limit N           print at most N hits
  --print0            end every path with a NUL instead of a newline
  --json              one JSON object a line: path, name, size, mtime, ctime, kind, flags, ext,
                      drive, and audio where it is known. A path that is not UTF-8 is also
                      given as pathBase64.

With --duplicates:
  --stages LIST       some of size,quickHash,fullHash,sameSong,fingerprint (all but the last)
  --min-size N        files of fewer bytes are left out (1024)
  --tolerance MS      how much the lengths of one song may differ (2000)

Requests of --batch:  {"query": "remix ext:flac", "sort": "date", "desc": true,
                       "showJunk": false, "limit": 100}, every field optional
Answers:              {"count": all hits, "ms": milliseconds, "paths": […]} or {"error": "…"}
                      Where a path is not UTF-8, "pathsBase64" stands beside "paths": the raw
                      bytes of that path at the same place, null for the others.

The exit status is 0 when there are hits (with --explain: when a plain search finds the path), 1 when
there are none, 2 after an error or when --duplicates was interrupted, and 3 when --snapshot could
not be taken.
)");
}

} // namespace quarrydex
