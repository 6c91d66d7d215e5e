/// A query as one line of text, so that tests can state in a table what a text is read as:
///
///     name(remix) & !glob(*.wav)cs | size(0..10)
///
/// "cs" marks a case-sensitive term; an open bound of an audio condition is left out.
#pragma once

#include "QuarrydexCore/query/Query.h"

#include <limits>
#include <string>
#include <variant>

namespace quarrydex {

template <typename T> std::string describe(const ClosedRange<T>& range) {
    return std::to_string(range.lo) + ".." + std::to_string(range.hi);
}

inline std::string describe(const AudioCond& cond) {
    using Limits = std::numeric_limits<std::int64_t>;
    const std::string field(rawValue(cond.field));
    if (cond.isText())
        return field + "~" + cond.text;
    if (cond.field == AudioCond::Field::lossless)
        return field + (cond.flag ? "=yes" : "=no");
    return field + "=" + (cond.lo == Limits::min() ? "" : std::to_string(cond.lo)) + ".." +
           (cond.hi == Limits::max() ? "" : std::to_string(cond.hi));
}

struct PredDescriber {
    std::string operator()(const preds::Name& pred) const { return "name(" + pred.text + ")"; }

    std::string operator()(const preds::Glob& pred) const { return "glob(" + pred.pattern + ")"; }

    std::string operator()(const preds::Regex& pred) const { return "regex(" + pred.pattern + ")"; }

    std::string operator()(const preds::Ext& pred) const {
        std::string list;
        for (const std::string& ext : pred.exts)
            list += (list.empty() ? "" : ",") + ext;
        return "ext(" + list + ")";
    }

    std::string operator()(const preds::Size& pred) const {
        return "size(" + describe(pred.range) + ")";
    }

    std::string operator()(const preds::Date& pred) const {
        return "date(" + describe(pred.range) + ")";
    }

    std::string operator()(const preds::Path& pred) const { return "path(" + pred.text + ")"; }

    std::string operator()(const preds::Kind& pred) const {
        return pred.folder ? "folder" : "file";
    }

    std::string operator()(const preds::Audio& pred) const {
        return "audio(" + describe(pred.cond) + ")";
    }

    std::string operator()(const preds::Junk&) const { return "junk"; }
};

inline std::string describe(const Query& query) {
    std::string out;
    for (const std::vector<Term>& group : query.groups) {
        out += out.empty() ? "" : " | ";
        for (const Term& term : group)
            out += std::string(&term == &group.front() ? "" : " & ") + (term.neg ? "!" : "") +
                   std::visit(PredDescriber{}, term.pred) + (term.caseSensitive ? "cs" : "");
    }
    return out;
}

} // namespace quarrydex
