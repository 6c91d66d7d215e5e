/// The meaning of a query, written down as plainly as possible: one entry, one term at a time. The
/// fast search must agree with it on every catalogue and every query.
#pragma once

#include "QuarrydexCore/audio/AudioMeta.h"
#include "QuarrydexCore/query/Query.h"

#include "tests/support/PlainCatalog.h"
#include "tests/support/PosixRegex.h"
#include "tests/support/RandomAudio.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace quarrydex::testing {

class SlowSearch {
  public:
    SlowSearch(const std::vector<PlainEntry>& entries, const std::map<EntryId, AudioMeta>& audio)
        : entries_(entries), audio_(audio) {
        for (const PlainEntry& entry : entries) {
            std::string folded = storedFold(entry.name);
            if (!isAscii(entry.name))
                folded = std::string(withoutFiller(folded));
            const bool isRoot = entry.parent == noParent;
            path_.push_back(isRoot ? folded : below(path_[entry.parent]) + "/" + folded);
            folded_.push_back(std::move(folded));
        }
    }

    [[nodiscard]] std::vector<EntryId> search(const Query& query, bool showJunk) const {
        std::vector<EntryId> out;
        for (EntryId id = 0; id < entries_.size(); ++id) {
            bool isHit = query.groups.empty() && isShown(id, {}, showJunk);
            for (const std::vector<Term>& group : query.groups)
                isHit = isHit || (isShown(id, group, showJunk) && satisfiesAll(id, group));
            if (isHit)
                out.push_back(id);
        }
        return out;
    }

    /// Whether the pattern is the whole name: * is any bytes, ? one character.
    static bool globs(std::string_view pattern, std::string_view name) {
        std::vector<bool> isStart(name.size() + 1);
        for (std::size_t at = 0; at < name.size(); at += characterLength(name.substr(at)))
            isStart[at] = true;
        return globsFrom(pattern, name, 0, isStart);
    }

  private:
    static std::string below(const std::string& path) { return path == "/" ? "" : path; }

    [[nodiscard]] bool isShown(EntryId id, const std::vector<Term>& group, bool showJunk) const {
        const std::uint8_t flags = entries_[id].flags;
        const auto has = [&]<typename P>(P*) {
            return std::ranges::any_of(
                group, [](const Term& term) { return std::holds_alternative<P>(term.pred); });
        };
        const bool asksJunk = has(static_cast<preds::Junk*>(nullptr));
        const bool asksExt = has(static_cast<preds::Ext*>(nullptr));
        if ((flags & (EntryFlags::deleted | EntryFlags::root)) != 0)
            return false;
        if (asksJunk)
            return true;
        if (showJunk)
            return !asksExt || (flags & EntryFlags::junk) == 0;
        return (flags & (EntryFlags::junk | EntryFlags::hidden)) == 0;
    }

    [[nodiscard]] bool satisfiesAll(EntryId id, const std::vector<Term>& group) const {
        return std::ranges::all_of(group, [&](const Term& term) {
            const bool invalid =
                std::holds_alternative<preds::Regex>(term.pred) &&
                !PosixRegex(std::get<preds::Regex>(term.pred).pattern, true).isValid();
            return !invalid && std::visit([&](const auto& p) { return is(id, p, term); },
                                          term.pred) != term.neg;
        });
    }

    bool is(EntryId id, const preds::Name& p, const Term& t) const {
        return t.caseSensitive ? holds(entries_[id].name, p.text)
                               : holds(folded_[id], fold(p.text));
    }

    bool is(EntryId id, const preds::Glob& p, const Term& t) const {
        return t.caseSensitive ? globs(p.pattern, entries_[id].name)
                               : globs(fold(p.pattern), folded_[id]);
    }

    bool is(EntryId id, const preds::Regex& p, const Term& t) const {
        return PosixRegex(p.pattern, t.caseSensitive).matches(entries_[id].name);
    }

    bool is(EntryId id, const preds::Ext& p, const Term&) const {
        const std::string& name = folded_[id];
        const std::size_t dot = name.rfind('.');
        if ((entries_[id].flags & EntryFlags::dir) != 0 || dot == std::string::npos || dot == 0 ||
            dot + 1 == name.size() || name.size() - dot - 1 > 15)
            return false;
        return std::ranges::any_of(
            p.exts, [&](const std::string& ext) { return fold(ext) == name.substr(dot + 1); });
    }

    bool is(EntryId id, const preds::Size& p, const Term&) const {
        return p.range.lo <= entries_[id].size && entries_[id].size <= p.range.hi;
    }

    bool is(EntryId id, const preds::Date& p, const Term&) const {
        return p.range.lo <= entries_[id].mtime && entries_[id].mtime <= p.range.hi;
    }

    bool is(EntryId id, const preds::Path& p, const Term&) const {
        const std::string needle = fold(p.text);
        if (needle.find('/') != std::string::npos)
            return holds(path_[id], needle);
        for (EntryId at = entries_[id].parent; at != noParent; at = entries_[at].parent)
            if (holds(folded_[at], needle))
                return true;
        return false;
    }

    bool is(EntryId id, const preds::Kind& p, const Term&) const {
        return ((entries_[id].flags & EntryFlags::dir) != 0) == p.folder;
    }

    bool is(EntryId id, const preds::Junk&, const Term&) const {
        return (entries_[id].flags & EntryFlags::junk) != 0;
    }

    bool is(EntryId id, const preds::Audio& p, const Term&) const {
        const auto found = audio_.find(id);
        return found != audio_.end() && satisfies(found->second, p.cond);
    }

    static bool holds(std::string_view text, std::string_view part) {
        return text.find(part) != std::string_view::npos;
    }

    /// Length of the valid UTF-8 character at the start of the text, else 1.
    static std::size_t characterLength(std::string_view text) {
        const auto at = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
        const unsigned lead = at(0);
        const std::size_t length = lead < 0xC2   ? 1
                                   : lead < 0xE0 ? 2
                                   : lead < 0xF0 ? 3
                                   : lead < 0xF5 ? 4
                                                 : 1;
        if (length > text.size())
            return 1;
        for (std::size_t i = 1; i < length; ++i)
            if ((at(i) & 0xC0) != 0x80)
                return 1;
        const bool overlong = (lead == 0xE0 && at(1) < 0xA0) || (lead == 0xF0 && at(1) < 0x90);
        const bool outside = (lead == 0xED && at(1) > 0x9F) || (lead == 0xF4 && at(1) > 0x8F);
        return overlong || outside ? 1 : length;
    }

    static bool globsFrom(std::string_view pattern,
                          std::string_view name,
                          std::size_t at,
                          const std::vector<bool>& isStart) {
        if (pattern.empty())
            return at == name.size();
        const std::string_view rest = pattern.substr(1);
        if (pattern[0] == '*') {
            for (std::size_t next = at; next <= name.size(); ++next)
                if (globsFrom(rest, name, next, isStart))
                    return true;
            return false;
        }
        if (pattern[0] == '?')
            return isStart[at] &&
                   globsFrom(rest, name, at + characterLength(name.substr(at)), isStart);
        return at < name.size() && pattern[0] == name[at] && globsFrom(rest, name, at + 1, isStart);
    }

    const std::vector<PlainEntry>& entries_;
    const std::map<EntryId, AudioMeta>& audio_;
    std::vector<std::string> folded_; ///< without filler
    std::vector<std::string> path_;   ///< folded full paths
};

} // namespace quarrydex::testing
