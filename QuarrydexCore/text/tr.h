/// `tr`: the one way by which a text reaches the user.
///
///     tr("Nothing was found")
///     tr("{key}: needs a value", {{"key", key}})
///     trn("{count} file in {name}", "{count} files in {name}", count, {{"name", name}})
///
/// The English text is the key. It must be a literal, so that the texts can be extracted, and holds
/// a {name} for each argument: a translator may put them in any order. Values are inserted as they
/// are, braces in them included; a placeholder without an argument stays as it is. A text that
/// counts something goes through trn, since languages have other forms for other counts.
///
/// A comment "// Translators: …" on the line before the call reaches the translators. After adding
/// a text, run tools/update_po.py and translate it in po/*.po; a test fails until that is done.
///
/// In a class with Q_OBJECT write quarrydex::tr(…): its own tr hides this one without a warning.
/// Threads: any. Fails: never; a text without a translation is the English text.
#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace quarrydex {

/// One argument of a text: a text or a whole number (decimal digits, no grouping).
struct TrArg {
    TrArg(std::string_view name_, std::string_view value_) : name(name_), value(value_) {}

    template <std::integral Number>
    TrArg(std::string_view name_, Number value_) : name(name_), value(std::to_string(value_)) {}

    std::string_view name; ///< lives as long as the call
    std::string value;
};

[[nodiscard]] std::string tr(std::string_view english);
[[nodiscard]] std::string tr(std::string_view english, std::initializer_list<TrArg> args);

/// {count} in the texts is the count.
[[nodiscard]] std::string trn(std::string_view one,
                              std::string_view many,
                              std::uint64_t count,
                              std::initializer_list<TrArg> args = {});

} // namespace quarrydex
