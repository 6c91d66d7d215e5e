/// What it costs to save a catalogue and to have it back.
#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/catalog/CacheFile.h"
#include "QuarrydexCore/catalog/LoadedCatalog.h"
#include "QuarrydexCore/query/Query.h"
#include "QuarrydexCore/search/Searcher.h"

#include "benchmarks/support/Bench.h"
#include "benchmarks/support/SyntheticCatalog.h"
#include "benchmarks/support/TempFolder.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace quarrydex::bench {

namespace {

constexpr std::size_t rounds = 5;

class SavedCatalog {
  public:
    explicit SavedCatalog(std::size_t entries) : index_(syntheticCatalog(entries)) {
        if (!isSaved())
            return;
        for (SortKey key : allSortKeys)
            index_->permutation(key);
        save();
    }

    SavedCatalog(const SavedCatalog&) = delete;
    SavedCatalog& operator=(const SavedCatalog&) = delete;

    [[nodiscard]] bool isSaved() const { return folder_.isMade(); }

    [[nodiscard]] std::string path() const { return folder_.path("a.idx"); }

    void save() { index_->save(path(), {}); }

    [[nodiscard]] std::unique_ptr<VolumeIndex> load() const {
        return std::move(VolumeIndex::load(path(), {})->index);
    }

    /// Drops the file's pages from memory.
    void evict() const {
        const Fd file(::open(path().c_str(), O_RDONLY | O_CLOEXEC));
        ::fsync(file.get());
        ::posix_fadvise(file.get(), 0, 0, POSIX_FADV_DONTNEED);
    }

    /// The same bytes, written in large pieces and flushed, as dd conv=fsync does.
    void writePlainly(const std::vector<char>& bytes) const {
        const std::string copy = folder_.path("copy");
        const Fd file(::open(copy.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
        constexpr std::size_t piece = 1 << 20;
        for (std::size_t at = 0; at < bytes.size(); at += piece)
            if (!writeAt(file.get(), bytes.data() + at, std::min(piece, bytes.size() - at), at))
                return;
        ::fsync(file.get());
    }

  private:
    std::shared_ptr<VolumeIndex> index_;
    TempFolder folder_ = TempFolder::onDisk();
};

/// A word that some names hold, and the first rows of what was found.
std::size_t firstScreen(const VolumeIndex& index) {
    Searcher searcher(index);
    Term term;
    term.pred = preds::Name{"config"};
    const auto hits = searcher.searchBits(Query{{{term}}}, false);
    return index.ordered(*hits, SortKey::name, {.limit = 200}).size();
}

template <typename Body> Sample medianAfterEviction(const SavedCatalog& saved, const Body& body) {
    std::vector<Sample> samples;
    for (std::size_t i = 0; i < rounds; ++i) {
        saved.evict();
        samples.push_back(timeOnce(body));
    }
    return median(samples);
}

void measureLoad(Report& report, const SavedCatalog& saved) {
    const auto load = [&] {
        const auto start = std::chrono::steady_clock::now();
        const auto index = saved.load();
        const std::chrono::duration<double, std::milli> took =
            std::chrono::steady_clock::now() - start;
        keep(index->count());
        return took.count(); // without the unmapping
    };
    std::vector<double> warm;
    for (std::size_t i = 0; i < 21; ++i)
        warm.push_back(load());
    // The promise is for ten million entries; of more, each takes its share.
    const double limit = 3.0 * std::max(1.0, static_cast<double>(report.entries()) / 1e7);
    report.row({.step = "load, file in memory",
                .ours = quantile(warm, 0.5),
                .anchor = limit,
                .anchorName = "limit",
                .goal = 1});
    std::vector<double> cold;
    for (std::size_t i = 0; i < rounds; ++i) {
        saved.evict();
        cold.push_back(load());
    }
    report.row({.step = "load, file on disk", .ours = quantile(cold, 0.5)});
    const auto query = [&] { keep(firstScreen(*saved.load())); };
    report.row(
        {.step = "load and first query, file in memory", .ours = medianOf(rounds, query).wallMs});
    report.row({.step = "load and first query, file on disk",
                .ours = medianAfterEviction(saved, query).wallMs});
    report.row({.step = "background check of what was loaded, file in memory",
                .ours = medianOf(3, [&] { keep(saved.load()->validate()); }).wallMs});
}

} // namespace

QDX_BENCH(snapshot) {
    SavedCatalog saved(report.entries());
    if (!saved.isSaved()) {
        report.skip("snapshots", "no temporary folder here");
        return;
    }
    measureLoad(report, saved);

    const std::string text = CacheFile::read(saved.path())->bytes;
    const std::vector<char> bytes(text.begin(), text.end());
    const auto [ours, plain] = alternate(
        rounds, [&] { saved.save(); }, [&] { saved.writePlainly(bytes); });
    report.row({.step = "save of " + std::to_string(bytes.size() >> 20) + " MiB",
                .ours = ours.wallMs,
                .anchor = plain.wallMs,
                .anchorName = "writing the bytes",
                .goal = 1.2});
}

} // namespace quarrydex::bench
