#include "QuarrydexApp/model/GlobalOrder.h"
#include "QuarrydexCore/base/Checksum.h"
#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/catalog/EqualRows.h"
#include "QuarrydexCore/catalog/NameOrder.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <utility>

namespace quarrydex {

namespace {

/// One volume's part of the work.
struct Source {
    Source(const VolumeIndex& volumeIndex, std::uint32_t entries, Perm order, std::uint32_t first)
        : index(volumeIndex), perm(std::move(order)), names(index.base(), entries),
          firstNumber(first) {}

    /// Names are NUL-terminated.
    [[nodiscard]] const char* name(EntryId id) const {
        return index.base().folded + names.offset(id);
    }

    const VolumeIndex& index;
    Perm perm;
    NameChunks names;
    std::uint32_t firstNumber;
};

/// Goes through a part of a volume's name order. The names are fetched in blocks, so that the cache
/// misses of many overlap.
class Cursor {
  public:
    Cursor(const Source& source, std::span<const EntryId> ids) : source_(&source), left_(ids) {
        refill();
    }

    [[nodiscard]] bool isAtEnd() const { return at_ == filled_; }

    [[nodiscard]] std::uint32_t number() const { return source_->firstNumber + head().id; }

    void advance() {
        if (++at_ == filled_)
            refill();
    }

    /// A name at which a cursor stood.
    struct Name {
        std::uint64_t chunk; ///< its first eight bytes
        const char* text;

        [[nodiscard]] int compare(const Name& other) const {
            if (chunk != other.chunk)
                return chunk < other.chunk ? -1 : 1;
            return NameChunks::endsName(chunk) ? 0 : std::strcmp(text + 8, other.text + 8);
        }
    };

    [[nodiscard]] Name name() const {
        return {head().chunk, source_->index.base().folded + head().offset};
    }

  private:
    static constexpr std::size_t blockSize = 256;

    [[nodiscard]] const NameRecord& head() const { return block_[at_]; }

    void refill() {
        at_ = 0;
        filled_ = std::min(left_.size(), blockSize);
        for (std::size_t i = 0; i < filled_; ++i)
            block_[i] = {0, left_[i], source_->names.offset(left_[i])};
        for (std::size_t i = 0; i < filled_; ++i)
            block_[i].chunk = source_->names.at(block_[i].offset);
        left_ = left_.subspan(filled_);
    }

    const Source* source_;
    std::span<const EntryId> left_; ///< not in the block yet
    std::size_t at_ = 0;
    std::size_t filled_ = 0;
    std::array<NameRecord, blockSize> block_;
};

/// Merges the volumes' name orders by parts of the alphabet, one at a time to a thread. Parts end
/// where some sampled name begins, so equal names are all in one part.
class NameMerge {
  public:
    NameMerge(std::span<const Source> sources, const GlobalOrder::IsStale& isStale)
        : sources_(sources), isStale_(isStale), rows_(totalRows(sources)), equal_(rows_) {}

    /// Nothing when it became stale.
    [[nodiscard]] std::optional<PermEntry> run() {
        const std::vector<Part> parts = cutIntoParts();
        std::vector<std::uint32_t> numbers(rows_);
        std::atomic<bool> isGivenUp{false};
        parallelFor(parts.size() - 1, processorCount(), [&](std::size_t i) {
            if (isGivenUp.load(std::memory_order_relaxed))
                return;
            if (isStale_ && isStale_())
                isGivenUp.store(true, std::memory_order_relaxed);
            else
                merge(parts[i], parts[i + 1], numbers.data());
        });
        if (isGivenUp.load())
            return std::nullopt;
        PermEntry order;
        order.perm = Perm(std::move(numbers));
        order.equalToPrevious = std::make_shared<const BitWords>(equal_.take());
        return order;
    }

  private:
    static constexpr std::size_t rowsPerPart = 1 << 16;

    /// Where a part begins.
    struct Part {
        std::size_t row = 0;
        std::vector<std::size_t> begins; ///< [sources] row of each volume's name order
    };

    static std::size_t totalRows(std::span<const Source> sources) {
        std::size_t rows = 0;
        for (const Source& source : sources)
            rows += source.perm.count();
        return rows;
    }

    /// The beginnings of all parts, and the end of the last.
    [[nodiscard]] std::vector<Part> cutIntoParts() const {
        std::vector<const char*> cuts;
        for (const Source& source : sources_)
            for (std::size_t row = rowsPerPart; row < source.perm.count(); row += rowsPerPart)
                cuts.push_back(source.name(source.perm.ids()[row]));
        const auto less = [](const char* a, const char* b) { return std::strcmp(a, b) < 0; };
        std::ranges::sort(cuts, less);

        std::vector<Part> parts = {{0, std::vector<std::size_t>(sources_.size())}};
        for (const char* cut : cuts)
            parts.push_back(partFrom(cut, parts.back()));
        parts.push_back({rows_, {}});
        for (const Source& source : sources_)
            parts.back().begins.push_back(source.perm.count());
        return parts;
    }

    /// The part whose names are not less than `cut`, after one whose names are.
    [[nodiscard]] Part partFrom(const char* cut, const Part& before) const {
        Part part;
        for (std::size_t s = 0; s < sources_.size(); ++s) {
            const Source& source = sources_[s];
            const auto rest = source.perm.ids().subspan(before.begins[s]);
            const auto at =
                std::lower_bound(rest.begin(), rest.end(), cut, [&](EntryId id, const char* name) {
                    return std::strcmp(source.name(id), name) < 0;
                });
            part.begins.push_back(before.begins[s] + static_cast<std::size_t>(at - rest.begin()));
            part.row += part.begins.back();
        }
        return part;
    }

    void merge(const Part& part, const Part& next, std::uint32_t* numbers) {
        std::vector<Cursor> cursors;
        for (std::size_t s = 0; s < sources_.size(); ++s)
            if (part.begins[s] < next.begins[s])
                cursors.emplace_back(
                    sources_[s], sources_[s].perm.ids().subspan(part.begins[s],
                                                                next.begins[s] - part.begins[s]));
        Cursor::Name last{};
        std::size_t run = part.row; // where the rows named `last` begin
        for (std::size_t row = part.row; row < next.row; ++row) {
            const auto first = firstOf(cursors);
            const Cursor::Name name = first->name();
            if (row > run && name.compare(last) != 0) {
                equal_.markRun(run, row);
                run = row;
            }
            last = name;
            numbers[row] = first->number();
            first->advance();
            if (first->isAtEnd())
                cursors.erase(first);
        }
        equal_.markRun(run, next.row);
    }

    /// The cursor whose name comes first; of equal names the earliest volume's.
    static std::vector<Cursor>::iterator firstOf(std::vector<Cursor>& cursors) {
        auto best = cursors.begin();
        for (auto it = best + 1; it < cursors.end(); ++it)
            if (it->name().compare(best->name()) < 0)
                best = it;
        return best;
    }

    std::span<const Source> sources_;
    const GlobalOrder::IsStale& isStale_;
    const std::size_t rows_;
    EqualRows equal_;
};

} // namespace

std::uint64_t GlobalOrder::namesChecksum(const VolumeIndex& index, std::uint32_t k) {
    return checksum64(index.base().folded, index.base().name_off[k]);
}

std::shared_ptr<const GlobalOrder> GlobalOrder::build(Indexes indexes, const IsStale& isStale) {
    std::vector<Perm> perms;
    std::vector<std::uint32_t> ks;
    for (const auto& index : indexes) {
        if (isStale && isStale())
            return nullptr;
        auto [perm, k] = index->permutationAndCount(SortKey::name);
        perms.push_back(std::move(perm));
        ks.push_back(k);
    }
    std::optional<RowNumbers> numbers = RowNumbers::of(ks);
    if (!numbers)
        return nullptr;

    std::vector<Source> sources;
    std::vector<Volume> volumes;
    for (std::size_t v = 0; v < indexes.size(); ++v) {
        sources.emplace_back(*indexes[v], ks[v], perms[v], numbers->first(v));
        volumes.push_back({indexes[v], indexes[v]->storeID(), ks[v], 0});
    }
    std::optional<PermEntry> order = NameMerge(sources, isStale).run();
    if (!order || std::ranges::any_of(perms, &Perm::isDamaged))
        return nullptr;
    parallelFor(volumes.size(), processorCount(),
                [&](std::size_t v) { volumes[v].names = namesChecksum(*indexes[v], ks[v]); });
    return std::shared_ptr<const GlobalOrder>(
        new GlobalOrder(std::move(volumes), *std::move(numbers), *std::move(order)));
}

} // namespace quarrydex
