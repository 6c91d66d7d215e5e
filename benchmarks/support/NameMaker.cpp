#include "benchmarks/support/NameMaker.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace quarrydex::bench {

namespace {

constexpr std::size_t maxNames = 300'000;
constexpr std::size_t maxStem = 80;
constexpr double nonAsciiShare = 0.05;
constexpr double extensionShare = 0.8;
constexpr double numberShare = 0.3;
constexpr double personalShare = 0.2; ///< of the extensions: what people keep, not programs

/// Composed and decomposed accents, Cyrillic, Japanese with and without voicing marks.
constexpr std::array<std::string_view, 40> nonAsciiWords = {
    "Café",     "résumé", "naïve",     "Übersicht", "größe",      "façade", "señor",    "Ångström",
    "smörgås",  "Straße", "déjà",      "vu\u0308",  "cafe\u0301", "Été",    "crème",    "brûlée",
    "Zürich",   "Kraków", "português", "ação",      "отчёт",      "Музыка", "письмо",   "Фото",
    "документ", "Москва", "книга",     "проект",    "лето",       "данные", "写真",     "音楽",
    "書類",     "ガイド", "かな",      "テスト",    "東京",       "設定",   "ミックス", "日本語"};

constexpr std::array<std::string_view, 12> personalExtensions = {".jpg", ".JPG",  ".png",  ".pdf",
                                                                 ".mp3", ".flac", ".wav",  ".mp4",
                                                                 ".txt", ".zip",  ".docx", ".xlsx"};

constexpr std::array<std::string_view, 3> separators = {"-", "_", " "};

bool isSeparator(char c) {
    return c == '-' || c == '_' || c == ' ' || c == '.' || c == '+';
}

/// Names below /usr in sorted order, so that the order of the disk does not matter.
std::vector<std::string> namesOfThisMachine() {
    namespace fs = std::filesystem;
    std::vector<std::string> names;
    std::error_code error;
    fs::recursive_directory_iterator at("/usr", fs::directory_options::skip_permission_denied,
                                        error);
    while (!error && at != fs::recursive_directory_iterator() && names.size() < maxNames) {
        names.push_back(at->path().filename().string());
        at.increment(error);
    }
    std::sort(names.begin(), names.end());
    return names;
}

void appendWords(std::string_view stem, std::vector<std::string>& words) {
    for (std::size_t at = 0; at < stem.size();) {
        std::size_t end = at;
        while (end < stem.size() && !isSeparator(stem[end]))
            ++end;
        if (end - at >= 2)
            words.emplace_back(stem.substr(at, end - at));
        at = end + 1;
    }
}

} // namespace

NameMaker::NameMaker(double meanLength) {
    for (const std::string& name : namesOfThisMachine()) {
        const std::size_t dot = name.rfind('.');
        const bool hasExtension = dot != std::string::npos && dot > 0 && name.size() - dot <= 8;
        const std::string stem = hasExtension ? name.substr(0, dot) : name;
        if (hasExtension)
            extensions_.push_back(name.substr(dot));
        if (stem.front() == '.' || stem.size() > maxStem)
            continue;
        stems_.push_back(stem);
        appendWords(stem, words_);
    }
    if (stems_.empty() || words_.empty() || extensions_.empty()) {
        stems_.insert(stems_.end(), {"README", "index", "report", "notes"});
        words_.insert(words_.end(), {"main", "test", "draft", "copy", "data"});
        extensions_.insert(extensions_.end(), {".txt", ".md", ".cpp", ".mp3"});
    }

    constexpr std::size_t samples = 20'000;
    const auto meanOf = [&] {
        Random random(1);
        std::string name;
        std::size_t total = 0;
        for (std::size_t i = 0; i < samples; ++i) {
            makeFile(random, name);
            total += name.size();
        }
        return static_cast<double>(total) / samples;
    };
    extraWord_ = 0;
    const double shortest = meanOf();
    extraWord_ = 1;
    const double longest = meanOf();
    extraWord_ = std::clamp((meanLength - shortest) / (longest - shortest), 0.0, 1.0);
}

void NameMaker::appendStem(Random& random, std::string& out) const {
    if (random.chance(nonAsciiShare)) {
        out += random.pick(nonAsciiWords);
        out += random.pick(separators);
        out += random.pick(words_);
    } else if (random.chance(0.5)) {
        out += random.pick(stems_);
    } else {
        out += random.pick(words_);
        out += random.pick(separators);
        out += random.pick(words_);
    }
    if (random.chance(extraWord_)) {
        out += random.pick(separators);
        out += random.pick(words_);
    }
}

void NameMaker::makeFile(Random& random, std::string& out) const {
    out.clear();
    appendStem(random, out);
    if (!random.chance(extensionShare))
        return;
    if (random.chance(numberShare)) {
        out += random.pick(separators);
        out += std::to_string(random.below(random.chance(0.5) ? 100 : 10'000));
    }
    if (random.chance(personalShare))
        out += random.pick(personalExtensions);
    else
        out += random.pick(extensions_);
}

void NameMaker::makeFolder(Random& random, std::string& out) const {
    out.clear();
    appendStem(random, out);
}

} // namespace quarrydex::bench
