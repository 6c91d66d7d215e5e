/// Texts for terminals: file names may hold bytes that would move the cursor or worse.
/// Threads: any; no state.
#pragma once

#include <string>
#include <string_view>

namespace quarrydex {

/// True when what is written there is shown by a terminal.
[[nodiscard]] bool isTerminal(int fd);

/// True when the text holds control characters, or bytes that are no UTF-8.
[[nodiscard]] bool needsEscaping(std::string_view text);

/// The text with control characters and bytes that are no UTF-8 written as \n, \t, \r or \xHH, and
/// then with \ doubled. A text without any stays as it is, \ included.
[[nodiscard]] std::string escaped(std::string_view text);

/// Writes one line to standard error, escaped when a terminal shows it.
void printError(std::string_view line);

} // namespace quarrydex
