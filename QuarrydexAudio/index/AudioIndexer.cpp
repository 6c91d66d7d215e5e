#include "QuarrydexAudio/index/AudioIndexer.h"

#include "QuarrydexAudio/tags/AudioParser.h"
#include "QuarrydexAudio/tags/TagText.h"
#include "QuarrydexCore/platform/Platform.h"
#include "QuarrydexCore/platform/ThreadPriority.h"

#include <algorithm>
#include <string>
#include <thread>
#include <utility>

namespace quarrydex {

namespace {

using SteadyClock = std::chrono::steady_clock;

/// Entries that a thread takes at once: neighbours in the catalogue and mostly on the disk.
constexpr std::size_t sliceSize = 32;

/// A batch merges the whole table, so the larger that is, the rarer it comes.
constexpr std::chrono::milliseconds batchPeriod{200};
constexpr int batchShare = 10;

/// No live file has any of these.
constexpr std::uint8_t noFile =
    EntryFlags::dir | EntryFlags::junk | EntryFlags::root | EntryFlags::deleted;

void shorten(AudioMeta& meta) {
    for (std::string* text : {&meta.artist, &meta.title, &meta.album, &meta.genre, &meta.key}) {
        if (text->size() > AudioIndexer::maxTextBytes)
            *text = shortenedText(*text, AudioIndexer::maxTextBytes);
    }
}

} // namespace

/// Tells which entries are audio files, and which of these have to be read.
class AudioIndexer::Selection {
  public:
    explicit Selection(const VolumeIndex& index) : index_(index), cols_(index.audio().snapshot()) {
        const std::vector<std::string> names(extensions.begin(), extensions.end());
        for (const std::uint16_t id : index.extIDs(names)) {
            if (id >= isAudio_.size())
                isAudio_.resize(id + std::size_t{1});
            isAudio_[id] = true;
        }
    }

    [[nodiscard]] bool isEmpty() const { return isAudio_.empty(); }

    void look(EntryId id, Pending& pending) const {
        const std::uint16_t ext = index_.extID(id);
        if (ext >= isAudio_.size() || !isAudio_[ext] || (index_.flags(id) & noFile) != 0)
            return;
        ++pending.total;
        const auto row = AudioTable::row(id, *cols_);
        if (!row || cols_->mtime[*row] != index_.mtime(id))
            pending.todo.push_back(id);
    }

  private:
    const VolumeIndex& index_;
    const std::shared_ptr<const AudioTable::Cols> cols_;
    std::vector<bool> isAudio_; ///< by extension id
};

AudioIndexer::AudioIndexer(std::shared_ptr<VolumeIndex> index, unsigned threads)
    : index_(std::move(index)), threads_(std::max(threads, 1U)) {}

// --- What there is to do ------------------------------------------------------------------------

AudioIndexer::Pending AudioIndexer::pending() const {
    Pending pending;
    const Selection selection(*index_);
    if (selection.isEmpty())
        return pending;
    const std::uint32_t count = index_->count();
    for (EntryId id = 0; id < count; ++id)
        selection.look(id, pending);
    return pending;
}

AudioIndexer::Pending AudioIndexer::pending(std::span<const EntryId> among) const {
    Pending pending;
    const Selection selection(*index_);
    for (EntryId id : among)
        selection.look(id, pending);
    std::ranges::sort(pending.todo);
    return pending;
}

// --- Doing it -----------------------------------------------------------------------------------

std::size_t AudioIndexer::run() {
    return run(pending());
}

std::size_t AudioIndexer::run(const Pending& work) {
    {
        MutexLock held(lock_);
        next_ = 0;
        stored_ = 0;
        hasUnsettled_ = false;
        storeAt_ = SteadyClock::now() + batchPeriod;
    }
    if (!work.todo.empty()) {
        std::vector<std::thread> readers;
        const std::size_t slices = (work.todo.size() + sliceSize - 1) / sliceSize;
        for (std::size_t i = 0; i < std::min<std::size_t>(threads_, slices); ++i)
            readers.emplace_back([&] {
                if (yields)
                    yieldToOthers();
                this->work(work);
            });
        for (std::thread& reader : readers)
            reader.join();
    }
    MutexLock held(lock_);
    storeBatch(work);
    return stored_;
}

bool AudioIndexer::hasUnsettled() const {
    MutexLock held(lock_);
    return hasUnsettled_;
}

void AudioIndexer::cancel() {
    MutexLock held(lock_);
    cancelled_ = true;
}

void AudioIndexer::work(const Pending& work) {
    for (auto slice = nextSlice(work); !slice.empty(); slice = nextSlice(work))
        for (EntryId id : slice) {
            {
                MutexLock held(lock_);
                if (cancelled_)
                    return;
            }
            add(analyse(id), work);
        }
}

std::span<const EntryId> AudioIndexer::nextSlice(const Pending& work) {
    MutexLock held(lock_);
    const std::size_t size = cancelled_ ? 0 : std::min(sliceSize, work.todo.size() - next_);
    return std::span(work.todo).subspan(std::exchange(next_, next_ + size), size);
}

AudioTable::Analysed AudioIndexer::analyse(EntryId id) const {
    // The time before the file is opened: what changes after that is read again.
    const std::uint32_t mtime = index_->mtime(id);
    const std::string ext(index_->ext(id).value_or(""));
    const std::string path = index_->path(id);
    if (auto meta = AudioParser::parse(path, ext)) {
        shorten(*meta);
        return {.entry = id, .mtime = mtime, .meta = *std::move(meta)};
    }
    PathStatus status;
    if (systemPlatform().dirReader.status(path, status) == 0)
        return {.entry = id, .mtime = mtime, .meta = {}};
    // Gone, maybe with its drive: what was known stays, and a later run looks again.
    return {.entry = id,
            .mtime = AudioTable::noTime,
            .meta = index_->audio().meta(id).value_or(AudioMeta{})};
}

void AudioIndexer::add(AudioTable::Analysed row, const Pending& work) {
    MutexLock held(lock_);
    if (row.mtime >= settledBefore && row.mtime <= now) {
        row.mtime = AudioTable::noTime;
        hasUnsettled_ = true;
    }
    results_.push_back(std::move(row));
    if (SteadyClock::now() >= storeAt_)
        storeBatch(work);
}

void AudioIndexer::storeBatch(const Pending& work) {
    const auto begin = SteadyClock::now();
    index_->audio().upsert(results_);
    stored_ += results_.size();
    results_.clear();
    storeAt_ = SteadyClock::now() + std::max<SteadyClock::duration>(
                                        batchPeriod, batchShare * (SteadyClock::now() - begin));
    if (onProgress)
        onProgress({.done = work.total - work.todo.size() + stored_, .total = work.total});
}

} // namespace quarrydex
