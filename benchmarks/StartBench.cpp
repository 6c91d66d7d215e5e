/// The program from the start of main() until there is something to see, and what its idle window
/// needs in memory. It is the built program that is started, with home folders of its own.
#include "QuarrydexCore/catalog/VolumeIndex.h"

#include "benchmarks/support/Bench.h"
#include "benchmarks/support/SyntheticCatalog.h"
#include "benchmarks/support/TempFolder.h"

#include <QProcess>
#include <QProcessEnvironment>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace quarrydex::bench {

namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

constexpr std::size_t savedEntries = 1'000'000;
constexpr std::size_t rounds = 15;
constexpr int patienceMs = 60'000;
constexpr double headlessMs = 60;
constexpr double paintedMs = 250;

/// A real tree for the idle window, which soon would find that a made-up one is not there.
constexpr const char* realTree = "/usr";

/// The program beside this one.
std::string program() {
    return (fs::read_symlink("/proc/self/exe").parent_path() / "quarrydex").string();
}

/// Catalogues, settings and locks of one imaginary user.
class Home {
  public:
    [[nodiscard]] bool isMade() const { return folder_.isMade(); }

    [[nodiscard]] std::string path(const std::string& name) const { return folder_.path(name); }

    [[nodiscard]] std::unique_ptr<QProcess> start(const std::vector<std::string>& arguments) const {
        auto process = std::make_unique<QProcess>();
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_RUNTIME_DIR"})
            environment.insert(name, QString::fromStdString(folder_.path()));
        for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY"})
            environment.remove(name);
        environment.insert("QT_QPA_PLATFORM", "offscreen");
        environment.insert("DBUS_SESSION_BUS_ADDRESS", "disabled:");
        environment.insert("QUARRYDEX_VERBOSE", "1");
        process->setProcessEnvironment(environment);
        process->setProcessChannelMode(QProcess::MergedChannels);
        QStringList list;
        for (const std::string& argument : arguments)
            list.append(QString::fromStdString(argument));
        process->start(QString::fromStdString(program()), list);
        return process;
    }

    /// Runs to its end.
    bool run(const std::vector<std::string>& arguments) const {
        return start(arguments)->waitForFinished(patienceMs);
    }

    /// The catalogue that a run has saved.
    [[nodiscard]] std::optional<std::string> catalogue() const {
        std::error_code error;
        for (const auto& file : fs::recursive_directory_iterator(folder_.path(), error))
            if (file.path().extension() == ".idx")
                return file.path().string();
        return std::nullopt;
    }

  private:
    TempFolder folder_ = TempFolder::onDisk();
};

/// What the program says from those words on, to the end of the line; nothing when it ends first.
std::optional<std::string> lineAfter(QProcess& process, const std::string& words) {
    std::string said;
    for (;;) {
        const std::size_t at = said.find(words);
        const std::size_t end = said.find('\n', at);
        if (at != said.npos && end != said.npos)
            return said.substr(at + words.size(), end - at - words.size());
        if (!process.waitForReadyRead(patienceMs))
            return std::nullopt;
        said += process.readAll().toStdString();
    }
}

/// A home with a saved catalogue of made-up entries, for a folder that is there.
class SavedHome {
  public:
    SavedHome() {
        if (!home_.isMade())
            return;
        fs::create_directory(root());
        const std::ofstream file(root() +
                                 "/x"); // not among what is searched for: rows are the catalogue's
        home_.run({"--root", root(), "--list", "x"});
        const auto made = home_.catalogue();
        const auto header = made ? VolumeIndex::peek(*made) : std::nullopt;
        if (!header)
            return;
        const auto index = syntheticCatalog(savedEntries);
        for (const SortKey key : allSortKeys)
            index->permutation(key);
        place_ = *made;
        index->save(kept(), header->info);
    }

    [[nodiscard]] bool isMade() const { return !place_.empty(); }

    /// Each start finds the same: a program replaces the file, and never writes into it.
    [[nodiscard]] std::unique_ptr<QProcess> start(std::vector<std::string> arguments) const {
        fs::remove(place_);
        fs::create_hard_link(kept(), place_);
        arguments.insert(arguments.begin(), {"--root", root()});
        return home_.start(arguments);
    }

  private:
    [[nodiscard]] std::string root() const { return home_.path("files"); }

    [[nodiscard]] std::string kept() const { return home_.path("kept.idx"); }

    Home home_;
    std::string place_;
};

struct Starts {
    std::vector<double> inside;  ///< milliseconds since main() began, as the program tells them
    std::vector<double> outside; ///< since it was started, as they are seen from here
};

/// Starts the program again and again, each time until it has said those words.
Starts measureStarts(const SavedHome& home,
                     const std::vector<std::string>& arguments,
                     const std::string& words,
                     double msPerNumber) {
    Starts starts;
    for (std::size_t i = 0; i <= rounds; ++i) {
        const auto begin = std::chrono::steady_clock::now();
        const auto process = home.start(arguments);
        const auto line = lineAfter(*process, words);
        const std::chrono::duration<double, std::milli> took =
            std::chrono::steady_clock::now() - begin;
        process->kill();
        process->waitForFinished(patienceMs);
        if (!line || line->find(" scan") != line->npos)
            return {};
        if (i == 0)
            continue; // its libraries and the catalogue came from the disk
        starts.inside.push_back(std::strtod(line->c_str(), nullptr) * msPerNumber);
        starts.outside.push_back(took.count());
    }
    return starts;
}

void addRows(Report& report, const std::string& step, const Starts& starts, double limit) {
    if (starts.inside.empty()) {
        report.skip(step, "the program does not say when it shows the catalogue");
        return;
    }
    report.row({.step = step,
                .ours = quantile(starts.inside, 0.5),
                .anchor = limit,
                .anchorName = "limit",
                .goal = 1});
    report.row({.step = "  fastest of 15", .ours = quantile(starts.inside, 0)});
    report.row({.step = "  with loading the program, p50", .ours = quantile(starts.outside, 0.5)});
}

// --- Memory -------------------------------------------------------------------------------------

struct Memory {
    double all{};       ///< bytes, each page shared with n processes counted as 1/n
    double catalogue{}; ///< of it, of the mapped catalogue
};

Memory memoryOf(qint64 process) {
    std::ifstream maps("/proc/" + std::to_string(process) + "/smaps");
    Memory memory;
    bool isCatalogue = false;
    for (std::string line; std::getline(maps, line);) {
        // "7f00-7f80 rw-p … /a/path" begins a mapping, "Name:   12 kB" tells of it.
        if (line.find(':') > line.find(' '))
            isCatalogue = line.find(".idx") != line.npos;
        if (!line.starts_with("Pss:"))
            continue;
        const double bytes = 1024 * std::strtod(line.c_str() + 4, nullptr);
        memory.all += bytes;
        memory.catalogue += isCatalogue ? bytes : 0;
    }
    return memory;
}

/// Of all its threads, so far.
double processorTicks(qint64 process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string text;
    std::getline(file, text);
    std::istringstream fields(text.substr(text.rfind(')') + 1));
    std::vector<std::string> all{std::istream_iterator<std::string>(fields), {}};
    return all.size() > 12 ? std::stod(all[11]) + std::stod(all[12]) : 0;
}

/// It does next to nothing for two seconds.
void waitUntilIdle(qint64 process) {
    constexpr double mostTicks = 4; ///< 2 % of a core
    for (int i = 0; i < 60; ++i) {
        const double before = processorTicks(process);
        std::this_thread::sleep_for(2s);
        if (processorTicks(process) - before <= mostTicks)
            return;
    }
}

void measureMemory(Report& report) {
    const Home home;
    const std::string step = "memory of the idle window";
    if (!home.isMade() || !home.run({"--root", realTree, "--list", "zzzz"}) || !home.catalogue()) {
        report.skip(step, "no catalogue was saved");
        return;
    }
    const auto header = VolumeIndex::peek(*home.catalogue());
    const auto process = home.start({"--root", realTree});
    process->waitForStarted(patienceMs);
    waitUntilIdle(process->processId());
    const Memory memory = memoryOf(process->processId());
    process->kill();
    process->waitForFinished(patienceMs);
    report.row({.step = step + ", " + std::to_string(header->count) + " entries of " + realTree,
                .ours = memory.all,
                .unit = Unit::bytes});
    report.row({.step = "  beyond its catalogue",
                .ours = memory.all - memory.catalogue,
                .anchor = memory.catalogue,
                .anchorName = "the catalogue, as mapped",
                .unit = Unit::bytes});
}

} // namespace

QDX_BENCH(start) {
    if (!fs::exists(program())) {
        report.skip("starts", "the program is not built");
        return;
    }
    report.progress("saving a catalogue of a million entries");
    const SavedHome home;
    if (home.isMade()) {
        addRows(report, "main() → first rows of a saved million, no window",
                measureStarts(home, {"--startup-bench"}, "startup: ", 1), headlessMs);
        // A picture that is to be taken much later: only such a start has a query and a folder.
        addRows(report, "main() → first rows of a saved million, painted",
                measureStarts(home, {"--snapshot", "/dev/null", "--query", "e", "--after", "600"},
                              "first rows painted ", 1e-3),
                paintedMs);
    } else {
        report.skip("starts", "no catalogue was saved");
    }
    measureMemory(report);
}

} // namespace quarrydex::bench
