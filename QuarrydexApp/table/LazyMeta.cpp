#include "QuarrydexApp/table/LazyMeta.h"

#include <unordered_set>

namespace quarrydex {

LazyMeta::~LazyMeta() {
    for (const auto& [key, ticket] : asked_)
        source_.withdraw(ticket);
}

const FileMeta* LazyMeta::find(const RowKey& key) {
    const Known* known = metaCache_.find(key);
    return known == nullptr ? nullptr : &known->meta;
}

bool LazyMeta::isCurrent(const ShownRow& row) {
    const Known* known = metaCache_.find(row.key());
    return known != nullptr && known->mtime == row.index->mtime(row.entry);
}

void LazyMeta::wantOnly(std::span<const ShownRow> rows) {
    std::unordered_set<RowKey, RowKeyHash> wanted;
    for (const ShownRow& row : rows)
        wanted.insert(row.key());
    for (auto it = asked_.begin(); it != asked_.end();) {
        if (wanted.contains(it->first)) {
            ++it;
            continue;
        }
        source_.withdraw(it->second);
        it = asked_.erase(it);
    }
    // The newest question is answered first: the topmost row is asked for last.
    for (auto row = rows.rbegin(); row != rows.rend(); ++row)
        if (!asked_.contains(row->key()) && !isCurrent(*row))
            ask(*row);
}

void LazyMeta::ask(const ShownRow& row) {
    const RowKey key = row.key();
    const std::uint32_t mtime = row.index->mtime(row.entry);
    asked_[key] =
        source_.meta(row.index->path(row.entry), [this, key, mtime](const FileMeta& meta) {
            asked_.erase(key);
            metaCache_.put(key, {meta, mtime});
            arrived_();
        });
}

void LazyMeta::resetMeta() {
    for (const auto& [key, ticket] : asked_)
        source_.withdraw(ticket);
    asked_.clear();
    metaCache_.clear();
}

} // namespace quarrydex
