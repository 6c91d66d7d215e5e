#include "QuarrydexCore/query/QueryParser.h"

#include "QuarrydexCore/query/QueryError.h"
#include "QuarrydexCore/text/Characters.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

namespace quarrydex {

namespace {

/// The half-read query: what one token adds depends on the flags that earlier ones set.
struct Reading {
    std::int64_t now;
    const Calendar& calendar;
    Query query{{{}}};
    bool caseSensitive = false; ///< of the terms to come, in every group
    bool wordsAreRegex = false; ///< of the unquoted plain words to come

    void add(Pred pred, bool neg) {
        query.groups.back().push_back({neg, std::move(pred), caseSensitive});
    }
};

using Preds = std::vector<Pred>;

/// What "key:value" asks; may set flags. The key comes in lower case.
using KeyReader = Preds (*)(Reading& reading, std::string_view key, std::string_view value);

Preds nameUnlessEmpty(std::string_view value) {
    if (value.empty())
        return {};
    return {preds::Name{std::string(value)}};
}

Preds kind(bool folder, std::string_view value) {
    Preds out = nameUnlessEmpty(value);
    out.insert(out.begin(), preds::Kind{folder});
    return out;
}

Preds regex(Reading& reading, std::string_view, std::string_view value) {
    if (!value.empty())
        return {preds::Regex{std::string(value)}};
    reading.wordsAreRegex = true;
    return {};
}

Preds extensions(Reading&, std::string_view key, std::string_view value) {
    std::vector<std::string> exts;
    while (!value.empty()) {
        const std::size_t end = std::min(value.find_first_of(";,"), value.size());
        const std::string piece = lowerCased(value.substr(0, end));
        value.remove_prefix(std::min(end + 1, value.size()));
        const std::size_t first = piece.find_first_not_of('.');
        if (first != piece.npos)
            exts.push_back(piece.substr(first, piece.find_last_not_of('.') + 1 - first));
    }
    if (exts.empty())
        throw QueryError::needsValue(key);
    return {preds::Ext{std::move(exts)}};
}

Preds path(Reading&, std::string_view, std::string_view value) {
    if (value.empty())
        throw QueryError::needsValue("path");
    return {preds::Path{std::string(value)}};
}

Preds date(Reading& reading, std::string_view, std::string_view value) {
    return {preds::Date{QueryParser::parseDate(value, reading.now, reading.calendar)}};
}

template <AudioCond::Field field,
          std::int64_t exactSlack,
          std::int64_t (*read)(std::string_view key, std::string_view value)>
Preds audioNumber(Reading&, std::string_view key, std::string_view value) {
    const auto reader = [&](std::string_view side) { return read(key, side); };
    return {preds::Audio{QueryParser::numCond(field, value, exactSlack, reader)}};
}

template <AudioCond::Field field>
Preds audioText(Reading&, std::string_view key, std::string_view value) {
    if (value.empty())
        throw QueryError::needsValue(key);
    AudioCond cond;
    cond.field = field;
    cond.text = value;
    return {preds::Audio{cond}};
}

Preds lossless(Reading&, std::string_view key, std::string_view value) {
    static constexpr std::string_view yes[] = {"", "yes", "true", "1", "ja"};
    static constexpr std::string_view no[] = {"no", "false", "0", "nein"};
    const std::string answer = lowerCased(value);
    const bool isYes = std::ranges::find(yes, answer) != std::end(yes);
    if (!isYes && std::ranges::find(no, answer) == std::end(no))
        throw QueryError::badValue(key, value);
    AudioCond cond;
    cond.field = AudioCond::Field::lossless;
    cond.flag = isYes;
    return {preds::Audio{cond}};
}

std::int64_t bitrate(std::string_view, std::string_view value) {
    return QueryParser::bitrateValue(value);
}

std::int64_t bpm(std::string_view, std::string_view value) {
    return QueryParser::bpmValue(value);
}

std::int64_t duration(std::string_view, std::string_view value) {
    return QueryParser::durationMs(value);
}

std::int64_t year(std::string_view key, std::string_view value) {
    return QueryParser::intValue(value, key, {});
}

std::int64_t sampleRate(std::string_view, std::string_view value) {
    return QueryParser::rateValue(value);
}

std::int64_t bitDepth(std::string_view key, std::string_view value) {
    static constexpr std::string_view suffixes[] = {"bits", "bit", "-bit"};
    return QueryParser::intValue(value, key, suffixes);
}

std::int64_t channels(std::string_view key, std::string_view value) {
    const std::string word = lowerCased(value);
    if (word == "mono")
        return 1;
    if (word == "stereo")
        return 2;
    return QueryParser::intValue(value, key, {});
}

const std::unordered_map<std::string_view, KeyReader>& keyReaders() {
    using Field = AudioCond::Field;
    static const std::unordered_map<std::string_view, KeyReader> readers = {
        {"case",
         [](Reading& reading, std::string_view, std::string_view value) {
             reading.caseSensitive = true;
             return nameUnlessEmpty(value);
         }},
        {"nocase",
         [](Reading& reading, std::string_view, std::string_view value) {
             reading.caseSensitive = false;
             return nameUnlessEmpty(value);
         }},
        {"regex", regex},
        {"ext", extensions},
        {"size",
         [](Reading&, std::string_view, std::string_view value) {
             return Preds{preds::Size{QueryParser::parseSize(value)}};
         }},
        {"dm", date},
        {"datemodified", date},
        {"path", path},
        {"in", path},
        {"folder",
         [](Reading&, std::string_view, std::string_view value) { return kind(true, value); }},
        {"file",
         [](Reading&, std::string_view, std::string_view value) { return kind(false, value); }},
        {"junk", [](Reading&, std::string_view, std::string_view) { return Preds{preds::Junk{}}; }},
        {"bitrate", audioNumber<Field::bitrate, 0, bitrate>},
        {"br", audioNumber<Field::bitrate, 0, bitrate>},
        {"bpm", audioNumber<Field::bpm, 4, bpm>},
        {"dur", audioNumber<Field::dur, 999, duration>},
        {"duration", audioNumber<Field::dur, 999, duration>},
        {"length", audioNumber<Field::dur, 999, duration>},
        {"year", audioNumber<Field::year, 0, year>},
        {"samplerate", audioNumber<Field::rate, 0, sampleRate>},
        {"rate", audioNumber<Field::rate, 0, sampleRate>},
        {"sr", audioNumber<Field::rate, 0, sampleRate>},
        {"bits", audioNumber<Field::bits, 0, bitDepth>},
        {"bitdepth", audioNumber<Field::bits, 0, bitDepth>},
        {"depth", audioNumber<Field::bits, 0, bitDepth>},
        {"channels", audioNumber<Field::channels, 0, channels>},
        {"ch", audioNumber<Field::channels, 0, channels>},
        {"lossless", lossless},
        {"artist", audioText<Field::artist>},
        {"title", audioText<Field::title>},
        {"album", audioText<Field::album>},
        {"genre", audioText<Field::genre>},
        {"key", audioText<Field::key>},
        {"codec", audioText<Field::codec>},
    };
    return readers;
}

/// What an unquoted token without its "!" asks.
Preds wordPreds(Reading& reading, std::string_view text) {
    const std::size_t colon = findCharacter(text, ':');
    if (colon != text.npos) {
        const std::string key = lowerCased(text.substr(0, colon));
        const auto reader = keyReaders().find(key);
        if (reader != keyReaders().end())
            return reader->second(reading, key, text.substr(colon + 1));
    }
    return {QueryParser::namePred(text, {.asRegex = reading.wordsAreRegex})};
}

bool isNegated(std::string_view text) {
    return text.size() > 1 && text.front() == '!' && firstCharacterSize(text) == 1;
}

void readToken(Reading& reading, const QueryParser::Token& token) {
    if (token.isOr) {
        if (!reading.query.groups.back().empty())
            reading.query.groups.emplace_back();
        return;
    }
    if (token.quoted) {
        reading.add(QueryParser::namePred(token.text, {}), false);
        return;
    }
    std::string_view text = token.text;
    const bool neg = isNegated(text);
    if (neg)
        text.remove_prefix(1);
    for (Pred& pred : wordPreds(reading, text))
        reading.add(std::move(pred), neg);
}

} // namespace

Query QueryParser::parse(std::string_view text, std::int64_t now, const Calendar& calendar) {
    Reading reading{.now = now, .calendar = calendar};
    for (const Token& token : tokenize(text))
        readToken(reading, token);
    std::erase_if(reading.query.groups, [](const auto& group) { return group.empty(); });
    return std::move(reading.query);
}

std::vector<QueryParser::Token> QueryParser::tokenize(std::string_view text) {
    std::vector<Token> tokens;
    Token token;
    bool inQuotes = false;
    bool sawQuote = false;
    const auto endToken = [&] {
        if (!token.text.empty() || sawQuote)
            tokens.push_back(std::move(token));
        token = {};
        sawQuote = false;
    };

    while (!text.empty()) {
        const std::size_t size = firstCharacterSize(text);
        const char c = size == 1 ? text.front() : 'x'; // a longer character is none of the four
        if (c == '"') {
            token.quoted = token.quoted || token.text.empty();
            inQuotes = !inQuotes;
            sawQuote = true;
        } else if (!inQuotes && (c == ' ' || c == '\t' || c == '|')) {
            endToken();
            if (c == '|')
                tokens.push_back({.text = "|", .quoted = false, .isOr = true});
        } else {
            token.text += text.substr(0, size);
        }
        text.remove_prefix(size);
    }
    endToken();
    return tokens;
}

Pred QueryParser::namePred(std::string_view text, NameOptions options) {
    if (options.asRegex)
        return preds::Regex{std::string(text)};
    if (text.find_first_of("*?") != text.npos)
        return preds::Glob{std::string(text)};
    return preds::Name{std::string(text)};
}

} // namespace quarrydex
