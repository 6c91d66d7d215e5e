#include "QuarrydexAudio/index/CarryOver.h"

#include "QuarrydexAudio/index/AudioIndexer.h"
#include "QuarrydexCore/base/EntryFlags.h"

#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace quarrydex {

namespace {

/// Rows whose texts are held in memory at once on their way from one table to the other.
constexpr std::size_t batchSize = 1U << 16;

/// The rows of a catalogue by the paths of their files. Paths are kept as hashes alone and compared
/// when a row is asked for: two that share a hash cost the later one its row.
class RowsByPath {
  public:
    explicit RowsByPath(const VolumeIndex& index) : index_(index), cols_(index.audio().snapshot()) {
        rows_.reserve(cols_->count());
        const std::uint32_t count = index.count();
        for (std::size_t row = 0; row < cols_->count(); ++row) {
            const EntryId entry = cols_->entry[row];
            if (entry < count && isUpToDate(row) && (index.flags(entry) & EntryFlags::deleted) == 0)
                rows_.emplace(hash(index.path(entry)), row);
        }
    }

    /// The record of a file, unless that was another file then.
    [[nodiscard]] std::optional<AudioMeta> of(const VolumeIndex& fresh, EntryId id) const {
        const std::string path = fresh.path(id);
        const auto found = rows_.find(hash(path));
        if (found == rows_.end())
            return std::nullopt;
        const std::size_t row = found->second;
        const EntryId entry = cols_->entry[row];
        if (cols_->mtime[row] != fresh.mtime(id) || index_.size(entry) != fresh.size(id) ||
            index_.path(entry) != path)
            return std::nullopt;
        return AudioTable::meta(*cols_, row);
    }

  private:
    static std::size_t hash(std::string_view path) { return std::hash<std::string_view>()(path); }

    /// What is to be read again in the old catalogue is in the new one too.
    [[nodiscard]] bool isUpToDate(std::size_t row) const {
        return cols_->mtime[row] != AudioTable::noTime &&
               cols_->mtime[row] == index_.mtime(cols_->entry[row]);
    }

    const VolumeIndex& index_;
    const std::shared_ptr<const AudioTable::Cols> cols_;
    std::unordered_map<std::size_t, std::size_t> rows_;
};

} // namespace

std::size_t carryOver(const VolumeIndex& old, const std::shared_ptr<VolumeIndex>& fresh) {
    if (old.audio().count() == 0)
        return 0;
    const RowsByPath rows(old);
    std::vector<AudioTable::Analysed> batch;
    std::size_t carried = 0;
    const auto store = [&] {
        carried += batch.size();
        fresh->audio().upsert(batch);
        batch.clear();
    };
    for (const EntryId id : AudioIndexer(fresh, 1).pending().todo) {
        const std::uint32_t mtime = fresh->mtime(id);
        if (auto meta = rows.of(*fresh, id))
            batch.push_back({.entry = id, .mtime = mtime, .meta = *std::move(meta)});
        if (batch.size() == batchSize)
            store();
    }
    store();
    return carried;
}

} // namespace quarrydex
