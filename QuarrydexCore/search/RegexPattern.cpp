#include "QuarrydexCore/search/RegexPattern.h"

#include "QuarrydexCore/search/RegexSyntax.h"

#include <algorithm>
#include <cstring>

#include <locale.h>
#include <regex.h>

namespace quarrydex {

namespace {

/// Puts the calling thread under the C locale. Case is ignored by toupper() while matching, so
/// compiling under it would not be enough.
class CLocaleScope {
  public:
    CLocaleScope() : before_(::uselocale(cLocale())) {}

    ~CLocaleScope() { ::uselocale(before_); }

    CLocaleScope(const CLocaleScope&) = delete;
    CLocaleScope& operator=(const CLocaleScope&) = delete;

  private:
    /// Kept for the life of the process.
    static locale_t cLocale() {
        static const locale_t locale = ::newlocale(LC_ALL_MASK, "C", nullptr);
        return locale;
    }

    locale_t before_;
};

/// A pattern that need not begin where the name begins matches the same names without ".*" in
/// front, which would make the system's matcher try every end for every beginning.
std::string_view withoutLeadingAnything(std::string_view pattern) {
    constexpr std::string_view anything = ".*";
    constexpr std::string_view repetitions = "*+?{";
    while (pattern.starts_with(anything) &&
           (pattern.size() == anything.size() ||
            repetitions.find(pattern[anything.size()]) == std::string_view::npos))
        pattern.remove_prefix(anything.size());
    return pattern;
}

} // namespace

/// What matching has learnt stays in the compiled expression and has no bound of its own, so it is
/// compiled anew after some bytes of names.
struct RegexPattern::Compiled {
    regex_t expression{};
    std::size_t bytesMatched = 0;

    /// Null when the system does not accept the pattern.
    static std::unique_ptr<Compiled> make(const std::string& pattern, Options options) {
        auto out = std::make_unique<Compiled>();
        const int flags = REG_EXTENDED | REG_NOSUB | (options.caseSensitive ? 0 : REG_ICASE);
        const CLocaleScope scope;
        out->isCompiled = ::regcomp(&out->expression, pattern.c_str(), flags) == 0;
        return out->isCompiled ? std::move(out) : nullptr;
    }

    Compiled() = default;
    Compiled(const Compiled&) = delete;
    Compiled& operator=(const Compiled&) = delete;

    ~Compiled() {
        if (isCompiled)
            ::regfree(&expression);
    }

    bool isCompiled = false;
};

RegexPattern::RegexPattern(std::string_view pattern, Options options)
    : pattern_(withoutLeadingAnything(pattern)), options_(options) {
    RegexSyntax syntax = examineRegex(pattern_);
    if (!syntax.isAcceptable)
        return;
    compiled_ = Compiled::make(pattern_, options_);
    if (compiled_ == nullptr)
        return;
    requiredLiteral_ = std::move(syntax.requiredLiteral);
    if (!options_.caseSensitive)
        for (char& c : requiredLiteral_)
            if (c >= 'A' && c <= 'Z')
                c = static_cast<char>(c - 'A' + 'a');
}

RegexPattern::RegexPattern(RegexPattern&&) noexcept = default;
RegexPattern& RegexPattern::operator=(RegexPattern&&) noexcept = default;
RegexPattern::~RegexPattern() = default;

bool RegexPattern::matches(const char* name) {
    if (compiled_ == nullptr)
        return false;
    constexpr std::size_t bytesPerCompilation = 65'536;
    if (compiled_->bytesMatched > bytesPerCompilation)
        compiled_ = Compiled::make(pattern_, options_);
    if (compiled_ == nullptr)
        return false; // out of memory
    compiled_->bytesMatched += std::strlen(name) + 1;
    const CLocaleScope scope;
    return ::regexec(&compiled_->expression, name, 0, nullptr, 0) == 0;
}

} // namespace quarrydex
