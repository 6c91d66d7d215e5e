#include "QuarrydexApp/headless/Terminal.h"

#include "QuarrydexApp/headless/Output.h"
#include "QuarrydexCore/text/Utf8.h"

#include <unistd.h>

namespace quarrydex {

namespace {

/// C0, DEL and C1, or no character at all.
bool isUnprintable(const CodePoint& point) {
    return point.value < 0x20 || (point.value >= 0x7F && point.value < 0xA0);
}

void appendEscaped(std::string& out, std::string_view bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    for (char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\n')
            out += "\\n";
        else if (c == '\t')
            out += "\\t";
        else if (c == '\r')
            out += "\\r";
        else
            out.append("\\x").append({digits[byte >> 4], digits[byte & 15]});
    }
}

} // namespace

bool isTerminal(int fd) {
    return ::isatty(fd) == 1;
}

bool needsEscaping(std::string_view text) {
    while (!text.empty()) {
        const CodePoint point = firstCodePoint(text);
        if (isUnprintable(point))
            return true;
        text.remove_prefix(point.byteCount);
    }
    return false;
}

std::string escaped(std::string_view text) {
    if (!needsEscaping(text))
        return std::string(text);
    std::string out;
    while (!text.empty()) {
        const CodePoint point = firstCodePoint(text);
        const std::string_view bytes = text.substr(0, point.byteCount);
        if (isUnprintable(point))
            appendEscaped(out, bytes);
        else
            out.append(bytes == "\\" ? "\\\\" : bytes);
        text.remove_prefix(point.byteCount);
    }
    return out;
}

void printError(std::string_view line) {
    Output out(STDERR_FILENO);
    out.append(isTerminal(STDERR_FILENO) ? escaped(line) : std::string(line));
    out.append("\n");
}

} // namespace quarrydex
