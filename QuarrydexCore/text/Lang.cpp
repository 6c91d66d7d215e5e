#include "QuarrydexCore/text/Lang.h"

#include "QuarrydexCore/text/tr.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
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

/// One form of a counted text; the last one when there are fewer.
std::string form(std::string_view forms, std::size_t index) {
    for (; index > 0 && forms.find('\0') != forms.npos; --index)
        forms.remove_prefix(forms.find('\0') + 1);
    return std::string(forms.substr(0, forms.find('\0')));
}

/// The text with its arguments in place of their names in braces.
std::string filled(std::string_view text, std::span<const TrArg> args) {
    std::string out;
    for (std::size_t open; (open = text.find('{')) != text.npos;) {
        out += text.substr(0, open);
        text.remove_prefix(open);
        const std::size_t close = text.find('}');
        const std::string_view name = text.substr(1, close == text.npos ? 0 : close - 1);
        const auto arg = std::ranges::find(args, name, &TrArg::name);
        const bool isKnown = close != text.npos && arg != args.end();
        out += isKnown ? std::string_view(arg->value) : text.substr(0, 1);
        text.remove_prefix(isKnown ? close + 1 : 1);
    }
    return out.append(text);
}

} // namespace

Lang& Lang::shared() {
    static Lang lang(systemLanguages([](const char* name) {
                         // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody writes it
                         const char* value = std::getenv(name);
                         return std::string(value == nullptr ? "" : value);
                     }),
                     catalogues());
    return lang;
}

Lang::Lang(std::vector<std::string> preferred, std::span<const Catalogue> catalogues)
    : preferred_(std::move(preferred)), catalogues_(catalogues) {
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

/// The translation with all its forms; nullptr where there is none.
const std::string* Lang::find(std::string_view englishText) const {
    const auto table = tables_.find(code_);
    if (table == tables_.end())
        return nullptr;
    const auto found = table->second.find(std::string(englishText));
    return found == table->second.end() || found->second.empty() ? nullptr : &found->second;
}

std::string Lang::text(std::string_view englishText) const {
    const MutexLock held(lock_);
    const std::string* translation = find(englishText);
    return translation != nullptr ? form(*translation, 0) : std::string(englishText);
}

std::string Lang::text(std::string_view one, std::string_view many, std::uint64_t count) const {
    const MutexLock held(lock_);
    if (const std::string* translation = find(one))
        return form(*translation, pluralForm(code_, count));
    return std::string(count == 1 ? one : many);
}

std::size_t Lang::pluralForm(std::string_view code, std::uint64_t count) {
    if (code == "ja")
        return 0;
    if (code == "fr" || code == "pt-BR")
        return count > 1 ? 1 : 0;
    return count != 1 ? 1 : 0;
}

/// True for English and a language with texts; reads those of its catalogue the first time.
bool Lang::canShow(std::string_view code) {
    if (code == english || tables_.find(code) != tables_.end())
        return true;
    const auto catalogue = std::ranges::find(catalogues_, code, &Catalogue::code);
    if (catalogue == catalogues_.end())
        return false;
    std::optional<Texts> texts = readMo(catalogue->bytes);
    if (!texts)
        return false;
    tables_.emplace(code, std::move(*texts));
    return true;
}

/// The first wanted language that can be shown, exactly or by its primary language ("de-AT" is
/// served by "de", "pt" by "pt-BR"); English when there is none.
void Lang::resolve() {
    code_ = english;
    const std::vector<std::string> chosen{choice_};
    for (const std::string& wanted : choice_ == system ? preferred_ : chosen) {
        for (const bool exactly : {true, false})
            for (const Language& language : supported) {
                const bool isWanted =
                    exactly ? language.code == wanted
                            : primaryLanguage(language.code) == primaryLanguage(wanted);
                if (isWanted && canShow(language.code)) {
                    code_ = language.code;
                    return;
                }
            }
    }
}

std::string tr(std::string_view englishText) {
    return Lang::shared().text(englishText);
}

std::string tr(std::string_view englishText, std::initializer_list<TrArg> args) {
    return filled(Lang::shared().text(englishText), args);
}

std::string trn(std::string_view one,
                std::string_view many,
                std::uint64_t count,
                std::initializer_list<TrArg> args) {
    std::vector<TrArg> all(args);
    all.emplace_back("count", count);
    return filled(Lang::shared().text(one, many, count), all);
}

} // namespace quarrydex
