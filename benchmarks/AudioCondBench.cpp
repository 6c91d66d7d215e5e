/// What it costs to find the files that satisfy a condition on their music, against one read of the
/// column or of the texts; and whether a search is held up while tags are being read.
#include "QuarrydexAudio/index/AudioIndexer.h"
#include "QuarrydexCore/audio/AudioTable.h"
#include "QuarrydexCore/base/Bits.h"
#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/platform/ThreadPriority.h"
#include "QuarrydexCore/search/Searcher.h"

#include "benchmarks/support/AudioFiles.h"
#include "benchmarks/support/Bench.h"
#include "benchmarks/support/Random.h"
#include "benchmarks/support/SyntheticCatalog.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace quarrydex::bench {

namespace {

using Field = AudioCond::Field;

constexpr std::size_t rounds = 15;

// --- A large table ------------------------------------------------------------------------------

/// Words of one to four syllables; every tenth has a letter with an accent.
class Words {
  public:
    explicit Words(Random& random) {
        constexpr std::array<std::string_view, 24> syllables = {
            "la", "the", "ro", "mi", "sun", "ka", "no", "ver", "de", "ta", "lo",   "ne",
            "ri", "in",  "an", "er", "so",  "be", "du", "el",  "go", "wa", "stra", "y"};
        for (std::string& word : words_) {
            for (std::size_t i = random.below(4) + 1; i > 0; --i)
                word += random.pick(syllables);
            if (random.chance(0.1))
                word += "é";
            word[0] = static_cast<char>(word[0] - 'a' + 'A');
        }
    }

    [[nodiscard]] std::string some(Random& random, std::size_t least, std::size_t most) const {
        std::string text;
        for (std::size_t i = least + random.below(most - least + 1); i > 0; --i)
            text.append(text.empty() ? "" : " ").append(random.pick(words_));
        return text;
    }

  private:
    std::array<std::string, 4000> words_;
};

/// Music as it lies on drives: albums of some twelve files with neighbouring ids, other files
/// between them.
class Music {
  public:
    explicit Music(std::size_t rows) {
        Random random(7);
        const Words words(random);
        std::vector<AudioTable::Analysed> batch;
        AudioMeta meta;
        for (std::size_t row = 0, left = 0; row < rows; ++row, --left) {
            if (left == 0) {
                left = 8 + random.below(9);
                entries_ += random.below(60);
                beginAlbum(random, words, meta);
            }
            meta.durationMs = static_cast<std::uint32_t>(60'000 + random.below(400'000));
            meta.bpm10 =
                static_cast<std::uint16_t>(random.chance(0.3) ? 0 : 700 + random.below(1100));
            meta.title = words.some(random, 1, 4);
            meta.key = keys[random.below(keys.size())];
            batch.push_back({static_cast<EntryId>(entries_++), 1, meta});
            if (batch.size() == rows / 4 || row + 1 == rows) {
                table_.upsert(batch);
                batch.clear();
            }
        }
        cols_ = table_.snapshot();
    }

    [[nodiscard]] const AudioTable::Cols& cols() const { return *cols_; }

    /// Of the catalogue that the table could belong to.
    [[nodiscard]] std::size_t entries() const { return entries_; }

  private:
    static constexpr std::array<const char*, 6> keys = {"", "", "Am", "C", "F#m", "8A"};

    static void beginAlbum(Random& random, const Words& words, AudioMeta& meta) {
        constexpr std::array<AudioCodec, 5> codecs = {
            AudioCodec::mp3, AudioCodec::mp3, AudioCodec::flac, AudioCodec::aac, AudioCodec::pcm};
        meta.artist = words.some(random, 1, 3);
        meta.album = words.some(random, 1, 4);
        meta.genre = random.pick(genres);
        meta.year = static_cast<std::uint16_t>(random.chance(0.1) ? 0 : 1960 + random.below(65));
        meta.codec = random.pick(codecs);
        meta.channels = random.chance(0.05) ? 1 : 2;
        meta.bitrateKbps = static_cast<std::uint16_t>(128 + 64 * random.below(4));
        meta.sampleRate = random.chance(0.2) ? 48'000 : 44'100;
    }

    static constexpr std::array<const char*, 6> genres = {"Techno", "House", "Jazz",
                                                          "Rock",   "Folk",  "Classical"};

    AudioTable table_;
    std::shared_ptr<const AudioTable::Cols> cols_;
    std::size_t entries_ = 0;
};

/// Reads the bytes once, on one thread, as a condition does.
void readOnce(const void* data, std::size_t bytes) {
    const auto* words = static_cast<const std::uint64_t*>(data);
    std::array<std::uint64_t, 8> sums{};
    for (std::size_t i = 0; i + 8 <= bytes / sizeof *words; i += 8)
        for (std::size_t k = 0; k < 8; ++k)
            sums[k] += words[i + k];
    keep(sums);
}

struct Read {
    const void* data;
    std::size_t bytes;
    const char* name;
};

/// `step` is said with the share of the rows that were hit. Both sides work on one thread: their
/// processor time tells the same as the clock, and neighbours weigh on it less.
void condRow(Report& report,
             const Music& music,
             const std::string& step,
             const AudioCond& cond,
             const Read& read) {
    BitWords bits(bitWords(music.entries()));
    const auto [ours, once] = alternate(
        rounds, [&] { AudioTable::fill(music.cols(), cond, bits, music.entries()); },
        [&] { readOnce(read.data, read.bytes); });
    const double hit =
        100.0 * static_cast<double>(countBits(bits)) / static_cast<double>(music.cols().count());
    char share[32];
    std::snprintf(share, sizeof share, "  (%.2g %% hit)", hit);
    report.row({.step = step + share,
                .ours = ours.cpuMs,
                .anchor = once.cpuMs,
                .anchorName = read.name,
                .goal = 1.5});
}

template <typename T> Read columnOf(const std::vector<T>& column) {
    return {column.data(), column.size() * sizeof(T), "one read of the column"};
}

} // namespace

QDX_BENCH(audioConditions) {
    const std::size_t rows = std::min<std::size_t>(report.entries(), 2'000'000);
    report.progress("making a table");
    const Music music(rows);
    const AudioTable::Cols& cols = music.cols();
    const auto number = [&](const std::string& step, const auto& column, AudioCond cond) {
        condRow(report, music, step, cond, columnOf(column));
    };
    number("dur, few", cols.dur, {.field = Field::dur, .lo = 459'000});
    number("dur, half", cols.dur, {.field = Field::dur, .lo = 260'000});
    number("dur, all", cols.dur, {.field = Field::dur});
    number("bpm, few", cols.bpm, {.field = Field::bpm, .lo = 1200, .hi = 1205});
    number("bpm, many", cols.bpm, {.field = Field::bpm, .lo = 900, .hi = 1500});
    number("year, some", cols.year, {.field = Field::year, .lo = 1990, .hi = 1999});
    number("channels, few", cols.channels, {.field = Field::channels, .lo = 1, .hi = 1});
    number("channels, most", cols.channels, {.field = Field::channels, .lo = 2});
    number("lossless", cols.codec, {.field = Field::lossless, .flag = true});

    const Read pool{cols.pool.data(), cols.pool.size(), "one read of the texts"};
    const auto text = [&](const std::string& name, Field field, const std::string& wanted) {
        condRow(report, music, name + " '" + wanted + "'", {.field = field, .text = wanted}, pool);
    };
    text("title", Field::title, "qzjxwv");
    text("title", Field::title, "strawago");
    text("title", Field::title, "sun");
    text("title", Field::title, "the la");
    text("title", Field::title, "ro");
    text("title", Field::title, "a");
    text("artist", Field::artist, "stra");
    text("artist", Field::artist, "n");
    text("genre", Field::genre, "techno");
    text("key", Field::key, "am");
}

// --- A search while tags are read ----------------------------------------------------------------

namespace {

/// Reads the tags of a folder of files, again and again, while it lives.
class EndlessIndexing {
  public:
    explicit EndlessIndexing(const std::string& folder) {
        const std::string roots[] = {folder};
        index_->scan(roots, 1);
        thread_ = std::thread([this] {
            yieldToOthers(); // as the thread of AudioPasses does
            while (!isOver_) {
                AudioIndexer indexer(index_, std::clamp(processorCount(), 2U, 4U));
                AudioIndexer::Pending all = indexer.pending();
                if (all.todo.empty())
                    all.todo = everyFile_;
                else
                    everyFile_ = all.todo;
                filesRead_ += indexer.run(all);
            }
        });
    }

    ~EndlessIndexing() {
        isOver_ = true;
        thread_.join();
    }

    EndlessIndexing(const EndlessIndexing&) = delete;
    EndlessIndexing& operator=(const EndlessIndexing&) = delete;

    [[nodiscard]] std::size_t filesRead() const { return filesRead_; }

  private:
    const std::shared_ptr<VolumeIndex> index_ = std::make_shared<VolumeIndex>(1U << 16, 1U << 22);
    std::vector<EntryId> everyFile_;
    std::atomic<bool> isOver_ = false;
    std::atomic<std::size_t> filesRead_ = 0;
    std::thread thread_;
};

} // namespace

QDX_BENCH(indexing) {
    constexpr std::size_t fileCount = 2000;
    constexpr std::size_t turns = 12;
    constexpr std::size_t searches = 50; ///< a turn
    const AudioFiles files(AudioFiles::Size::small, fileCount);
    if (files.paths().empty()) {
        report.skip("search while tags are read", "ffmpeg makes no audio files here");
        return;
    }
    const std::string folder = std::filesystem::path(files.paths().front()).parent_path();
    const auto catalog = syntheticCatalog(std::min<std::size_t>(report.entries(), 2'000'000));
    for (const char* needle : {"qzjxwv", "e"}) {
        const Query query{{{{false, preds::Name{needle}, false}}}};
        const auto search = [&] {
            Searcher searcher(*catalog);
            keep(searcher.searchBits(query, true)->count);
        };
        std::vector<double> alone;
        std::vector<double> beside;
        std::size_t read = 0;
        for (std::size_t turn = 0; turn < turns; ++turn) {
            for (std::size_t i = 0; i < searches; ++i)
                alone.push_back(timeOnce(search).wallMs);
            const EndlessIndexing indexing(folder);
            while (indexing.filesRead() == 0) // it has begun in earnest
                std::this_thread::yield();
            for (std::size_t i = 0; i < searches; ++i)
                beside.push_back(timeOnce(search).wallMs);
            read += indexing.filesRead();
        }
        for (const auto& [fraction, name] : {std::pair{0.5, ", p50"}, std::pair{0.99, ", p99"}})
            report.row({.step = "'" + std::string(needle) + "' while tags are read" + name,
                        .ours = quantile(beside, fraction),
                        .anchor = quantile(alone, fraction),
                        .anchorName = "the same alone",
                        .goal = 1.3});
        report.row({.step = "files read meanwhile",
                    .ours = static_cast<double>(read),
                    .unit = Unit::count});
    }
}

} // namespace quarrydex::bench
