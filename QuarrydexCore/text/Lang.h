/// The language of the user's texts: what was chosen, what that comes to, and the texts themselves.
///
/// The texts of a language are read from its catalogue when it first comes into effect. A language
/// without texts is offered but resolves to English, which needs none: its texts are the keys.
///
/// Threads: any; one leaf lock. Listeners run on the thread that made the change, without the lock.
/// Ownership: owns its tables; never gives out views into them. Fails: never.
#pragma once

#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/text/Catalogues.h"
#include "QuarrydexCore/text/MoFile.h"

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

class Lang {
  public:
    struct Language {
        std::string_view code;
        std::string_view name; ///< as its speakers write it
    };

    using Texts = quarrydex::Texts;

    using Listener = std::function<void()>;

    /// Names the change that listeners are told of.
    static constexpr std::string_view didChange = "quarrydex.languageChanged";

    /// The choice that follows the system's languages.
    static constexpr std::string_view system = "system";

    /// The offered languages, in the order in which they are shown.
    static constexpr std::array<Language, 8> supported = {{{"en", "English"},
                                                           {"de", "Deutsch"},
                                                           {"es", "Español"},
                                                           {"it", "Italiano"},
                                                           {"fr", "Français"},
                                                           {"pt-BR", "Português (Brasil)"},
                                                           {"nl", "Nederlands"},
                                                           {"ja", "日本語"}}};

    /// The program's one instance, which tr() asks. Made at the first call, from the environment.
    [[nodiscard]] static Lang& shared();

    /// `preferred`: the user's languages, best first, as systemLanguages() returns them. The
    /// catalogues live as long as the object; one that cannot be read is as if it were not there.
    explicit Lang(std::vector<std::string> preferred, std::span<const Catalogue> catalogues = {});

    Lang(const Lang&) = delete;
    Lang& operator=(const Lang&) = delete;

    /// The languages that the environment asks for, best first: LANGUAGE's list, then the first of
    /// LC_ALL, LC_MESSAGES and LANG that is set ("pt_BR.UTF-8" gives "pt-BR"). Empty for the C
    /// locale. `variable` returns the value of an environment variable, empty when it is not set.
    [[nodiscard]] static std::vector<std::string>
    systemLanguages(const std::function<std::string(const char*)>& variable);

    /// "system" or a code.
    [[nodiscard]] std::string choice() const;

    /// The language in effect: "en", or a supported one that has texts.
    [[nodiscard]] std::string code() const;

    /// The identifier of the locale in effect, for numbers and dates: that of the language.
    [[nodiscard]] std::string locale() const { return code(); }

    /// `setChoice(_:)`: takes effect for every text made afterwards and tells the listeners.
    /// Choosing what is chosen already does nothing.
    void setChoice(std::string_view choice);

    /// Gives a language its texts, in place of those it had, and resolves the choice anew.
    void install(std::string_view code, Texts texts);

    /// Calls the listener after every change of choice; returns what removeListener() takes.
    /// A listener may still be running on another thread when removeListener() returns.
    std::size_t addListener(Listener listener);
    void removeListener(std::size_t token);

    /// The text in the language in effect.
    [[nodiscard]] std::string text(std::string_view english) const;

    /// The form of a counted text that goes with the count.
    [[nodiscard]] std::string
    text(std::string_view one, std::string_view many, std::uint64_t count) const;

    /// Which form of a counted text a supported language takes for the count, from 0 on; as many
    /// and in the order as the catalogues have them.
    [[nodiscard]] static std::size_t pluralForm(std::string_view code, std::uint64_t count);

  private:
    void resolve() QDX_REQUIRES(lock_);
    [[nodiscard]] bool canShow(std::string_view code) QDX_REQUIRES(lock_);
    [[nodiscard]] const std::string* find(std::string_view english) const QDX_REQUIRES(lock_);

    const std::vector<std::string> preferred_;
    const std::span<const Catalogue> catalogues_;
    mutable Mutex lock_;
    std::string choice_ QDX_GUARDED_BY(lock_){system};
    std::string code_ QDX_GUARDED_BY(lock_);
    std::map<std::string, Texts, std::less<>> tables_ QDX_GUARDED_BY(lock_); ///< by code
    std::map<std::size_t, Listener> listeners_ QDX_GUARDED_BY(lock_);        ///< by token
    std::size_t nextToken_ QDX_GUARDED_BY(lock_) = 0;
};

} // namespace quarrydex
