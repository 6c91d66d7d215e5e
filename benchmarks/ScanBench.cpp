/// What a scan costs beyond asking the system for the same things, on a tree that is there anyway.
#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"

#include "benchmarks/support/BareWalk.h"
#include "benchmarks/support/Bench.h"
#include "benchmarks/support/TempFolder.h"

#include <cstdlib>
#include <memory>
#include <string>

#include <unistd.h>

namespace quarrydex::bench {

namespace {

constexpr const char* root = "/usr";
constexpr std::size_t rounds = 9;

/// A store with the memory of a whole catalogue reserved, filled by one scan.
std::unique_ptr<VolumeIndex> scanRoot(unsigned threads) {
    auto index = std::make_unique<VolumeIndex>();
    const std::string roots[] = {root};
    index->scan(roots, static_cast<int>(threads));
    return index;
}

/// Nothing of it is left out by what the machine's own configuration prunes.
int runUpdatedb(const std::string& program, const std::string& database) {
    return runProgram({program, "--database-root", root, "--output", database,
                       "--require-visibility", "no", "--prunepaths", "", "--prunenames", "",
                       "--prunefs", "", "--prune-bind-mounts", "no"});
}

void compareWithBareWalk(Report& report, unsigned threads) {
    const std::string title = "scan of " + std::string(root) + ", " + std::to_string(threads) +
                              " threads, processor time";
    const double entries = static_cast<double>(bareWalk(root, threads));
    const auto [ours, bare] = alternate(
        rounds, [&] { scanRoot(threads); }, [&] { keep(bareWalk(root, threads)); });
    report.row({.step = title,
                .ours = ours.cpuMs * 1000 / entries,
                .anchor = bare.cpuMs * 1000 / entries,
                .anchorName = "bare walk",
                .goal = 1.15,
                .unit = Unit::usPerEntry});
    report.row({.step = "the same, elapsed",
                .ours = ours.wallMs,
                .anchor = bare.wallMs,
                .anchorName = "bare walk"});
}

} // namespace

QDX_BENCH(scan) {
    compareWithBareWalk(report, processorCount());
    compareWithBareWalk(report, 8);
}

QDX_BENCH(scan) {
    const std::string step = "scan of " + std::string(root) + ", processor time";
    const std::string program = programInPath("updatedb");
    if (program.empty()) {
        report.skip(step, "updatedb is not installed");
        return;
    }
    const TempFolder folder;
    if (!folder.isMade()) {
        report.skip(step, "no temporary folder");
        return;
    }
    const std::string database = folder.path("db");
    bool works = true;
    const auto [ours, theirs] = alternate(
        rounds, [] { scanRoot(processorCount()); },
        [&] { // a database that is there already would be brought up to date instead
            ::unlink(database.c_str());
            works = runUpdatedb(program, database) == 0 && works;
        });
    if (!works) {
        report.skip(step, "updatedb fails here");
        return;
    }
    report.row({.step = step,
                .ours = ours.cpuMs,
                .anchor = theirs.cpuMs,
                .anchorName = "updatedb",
                .goal = 0.5});
}

} // namespace quarrydex::bench
