#include "QuarrydexCore/text/Lang.h"

#include "QuarrydexCore/text/tr.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace quarrydex {

namespace {

constexpr std::string_view english = "en";

/// "pt_BR.UTF-8@euro" → "pt-BR"; empty for a locale that names no language.
std::string languageTag(std::string_view locale) {
    std::string tag(locale.substr(0, locale.find_first_of(".@")));
    std::replace(tag.begin(), tag.end(), '_', '-');
    return tag == "C" || tag == "POSIX" ? std::string() : tag;
}

std::string_view primaryLanguage(std::string_view tag) {
    return tag.substr(0, tag.find('-'));
}

} // namespace

Lang& Lang::shared() {
    static Lang lang(systemLanguages([](const char* name) {
        const char* value = std::getenv(name);
        return std::string(value == nullptr ? "" : value);
    }));
    return lang;
}

Lang::Lang(std::vector<std::string> preferred) : preferred_(std::move(preferred)) {
    const MutexLock held(lock_);
    resolve();
}

std::vector<std::string>
Lang::systemLanguages(const std::function<std::string(const char*)>& variable) {
    std::string locale;
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"})
        if (locale.empty())
            locale = variable(name);
    const std::string last = languageTag(locale);
    if (last.empty())
        return {};

    std::vector<std::string> out;
    const std::string list = variable("LANGUAGE");
    for (std::string_view rest = list; !rest.empty();) {
        const std::size_t end = std::min(rest.find(':'), rest.size());
        if (std::string tag = languageTag(rest.substr(0, end)); !tag.empty())
            out.push_back(std::move(tag));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    out.push_back(last);
    return out;
}

std::string Lang::choice() const {
    const MutexLock held(lock_);
    return choice_;
}

std::string Lang::code() const {
    const MutexLock held(lock_);
    return code_;
}

void Lang::setChoice(std::string_view choice) {
    std::vector<Listener> listeners;
    {
        const MutexLock held(lock_);
        if (choice == choice_)
            return;
        choice_ = choice;
        resolve();
        for (const auto& [token, listener] : listeners_)
            listeners.push_back(listener);
    }
    for (const Listener& listener : listeners)
        listener();
}

void Lang::install(std::string_view code, Texts texts) {
    const MutexLock held(lock_);
    tables_.insert_or_assign(std::string(code), std::move(texts));
    resolve();
}

std::size_t Lang::addListener(Listener listener) {
    const MutexLock held(lock_);
    listeners_.emplace(nextToken_, std::move(listener));
    return nextToken_++;
}

void Lang::removeListener(std::size_t token) {
    const MutexLock held(lock_);
    listeners_.erase(token);
}

std::string Lang::text(std::string_view englishText) const {
    const MutexLock held(lock_);
    std::string key(englishText);
    const auto table = tables_.find(code_);
    if (table == tables_.end())
        return key;
    const auto found = table->second.find(key);
    return found == table->second.end() ? key : found->second;
}

bool Lang::canShow(std::string_view code) const {
    return code == english || tables_.find(code) != tables_.end();
}

/// The first wanted language that can be shown, exactly or by its primary language ("de-AT" is
/// served by "de", "pt" by "pt-BR"); English when there is none.
void Lang::resolve() {
    std::vector<std::string_view> shown;
    for (const Language& language : supported)
        if (canShow(language.code))
            shown.push_back(language.code);

    code_ = english;
    const std::vector<std::string> chosen{choice_};
    for (const std::string& wanted : choice_ == system ? preferred_ : chosen) {
        auto best = std::ranges::find(shown, wanted);
        if (best == shown.end())
            best = std::ranges::find(shown, primaryLanguage(wanted), primaryLanguage);
        if (best != shown.end()) {
            code_ = *best;
            return;
        }
    }
}

std::string tr(std::string_view englishText) {
    return Lang::shared().text(englishText);
}

std::string tr(std::string_view englishText, std::initializer_list<TrArg> args) {
    const std::string text = Lang::shared().text(englishText);
    std::string out;
    std::string_view rest = text;
    for (std::size_t open; (open = rest.find('{')) != rest.npos;) {
        out += rest.substr(0, open);
        rest.remove_prefix(open);
        const std::size_t close = rest.find('}');
        const std::string_view name = rest.substr(1, close == rest.npos ? 0 : close - 1);
        const auto* arg = std::ranges::find(args, name, &TrArg::name);
        const bool isKnown = close != rest.npos && arg != args.end();
        out += isKnown ? std::string_view(arg->value) : rest.substr(0, 1);
        rest.remove_prefix(isKnown ? close + 1 : 1);
    }
    out += rest;
    return out;
}

} // namespace quarrydex
