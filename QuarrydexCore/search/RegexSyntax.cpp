#include "QuarrydexCore/search/RegexSyntax.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

namespace quarrydex {

namespace {

/// Sizes stop growing here, far above every limit and far below overflow.
constexpr std::size_t manyParts = 1'000'000;

/// How often a part may stand one after the other.
struct Repetition {
    bool isPlain = true;    ///< no repetition operator follows
    bool isRequired = true; ///< at least once
    std::size_t copies = 1; ///< made of the part when the pattern is compiled
    std::size_t anchorFactor = 1;
};

/// One open group, or the whole pattern.
struct SyntaxGroup {
    std::string longest; ///< literal of the alternative being read, complete runs only
    std::string run;     ///< bytes that must stand right before what is read next
    bool hasAlternatives = false;
    std::size_t parts = 1;
    std::size_t anchors = 0;

    void keepLonger(std::string literal) {
        if (literal.size() > longest.size())
            longest = std::move(literal);
    }

    void endRun() { keepLonger(std::exchange(run, {})); }

    /// The literal of the whole group.
    [[nodiscard]] std::string literal() {
        endRun();
        return hasAlternatives ? std::string() : std::move(longest);
    }
};

class Examiner {
  public:
    explicit Examiner(std::string_view pattern) : rest_(pattern) {}

    RegexSyntax examine() {
        while (!rest_.empty() && isSound_)
            readPart();
        isSound_ = isSound_ && groups_.size() == 1;
        if (!isSound_)
            return {};
        return {.isAcceptable = true, .requiredLiteral = groups_.front().literal()};
    }

  private:
    void readPart() {
        const char c = take();
        switch (c) {
        case '(':
            groups_.emplace_back();
            isSound_ = groups_.size() <= RegexSyntax::maxDepth + 1;
            break;
        case ')':
            groups_.size() > 1 ? closeGroup() : addByte(c);
            break;
        case '|':
            nextAlternative();
            break;
        case '[':
            readBracket();
            break;
        case '\\':
            readEscape();
            break;
        case '.':
            addUnknown();
            break;
        case '^':
        case '$':
            addAnchor(1);
            break;
        case '*':
        case '+':
        case '?':
        case '{':
            isSound_ = false; // nothing to repeat
            break;
        default:
            addByte(c);
        }
    }

    void nextAlternative() {
        SyntaxGroup& group = groups_.back();
        group.endRun();
        group.longest.clear();
        group.hasAlternatives = true;
        if (groups_.size() == 1)
            group.anchors = 0; // nothing repeats the alternatives of the whole pattern
        addSize(1, 0, {});
    }

    void closeGroup() {
        SyntaxGroup inner = std::move(groups_.back());
        groups_.pop_back();
        SyntaxGroup& group = groups_.back();
        group.endRun();
        const Repetition repetition = readRepetition();
        addSize(inner.parts, inner.anchors, repetition);
        if (repetition.isRequired)
            group.keepLonger(inner.literal());
    }

    void addByte(char c) {
        SyntaxGroup& group = groups_.back();
        const Repetition repetition = readRepetition();
        addSize(1, 0, repetition);
        if (repetition.isRequired)
            group.run += c;
        if (repetition.isPlain)
            return;
        group.endRun();
        if (repetition.isRequired)
            group.run = c; // the last of the repeated bytes
    }

    /// A part that stands for any of several bytes.
    void addUnknown() {
        groups_.back().endRun();
        addSize(1, 0, readRepetition());
    }

    void addAnchor(std::size_t anchors) {
        groups_.back().endRun();
        addSize(2 * anchors - 1, anchors, {});
    }

    void readEscape() {
        if (rest_.empty()) {
            isSound_ = false;
            return;
        }
        const char c = take();
        constexpr std::string_view classes = "wWsS";
        constexpr std::string_view wordSides = "bB"; // compiled as two anchors
        constexpr std::string_view anchors = "<>`'";
        if (c >= '1' && c <= '9')
            isSound_ = false; // a back-reference
        else if (classes.find(c) != std::string_view::npos)
            addUnknown();
        else if (wordSides.find(c) != std::string_view::npos)
            addAnchor(2);
        else if (anchors.find(c) != std::string_view::npos)
            addAnchor(1);
        else
            addByte(c);
    }

    /// [abc], [^a-z], [[:digit:]_], []] …; one that holds a single byte is that byte.
    void readBracket() {
        const std::string_view whole = rest_;
        bool closed = false;
        if (peek() == '^')
            take();
        if (peek() == ']')
            take();
        while (!rest_.empty() && !closed) {
            const char c = take();
            if (c == '[' && (peek() == ':' || peek() == '.' || peek() == '='))
                skipNamed(take());
            else
                closed = c == ']';
        }
        const std::size_t length = whole.size() - rest_.size();
        if (!closed)
            isSound_ = false;
        else if (length == 2)
            addByte(whole.front());
        else
            addUnknown();
    }

    /// The rest of [:name:], [.name.] or [=name=].
    void skipNamed(char kind) {
        const char end[] = {kind, ']'};
        const std::size_t at = rest_.find(std::string_view(end, 2));
        rest_.remove_prefix(at == std::string_view::npos ? rest_.size() : at + 2);
    }

    /// The operators after a part, of which several may follow each other.
    Repetition readRepetition() {
        Repetition out;
        for (;;) {
            const std::optional<char> next = peek();
            std::size_t copies = 1;
            if (next == '*' || next == '?') {
                out.isRequired = false;
            } else if (next == '+') {
                copies = 2; // x+ is compiled as xx*
            } else if (next != '{') {
                return out;
            }
            take();
            if (next == '{')
                copies = readInterval(out.isRequired);
            out.isPlain = false;
            out.copies = std::min(out.copies * copies, manyParts);
            out.anchorFactor = std::min(out.anchorFactor * 2 * copies, manyParts);
        }
    }

    /// The rest of {n}, {n,}, {,m} or {n,m}; returns the number of copies.
    std::size_t readInterval(bool& isRequired) {
        const std::optional<std::size_t> least = readNumber();
        std::optional<std::size_t> most = least;
        const bool isRange = peek() == ',';
        if (isRange) {
            take();
            most = readNumber();
        }
        if (peek() != '}' || (!isRange && !least) || (most && *most < least.value_or(0))) {
            isSound_ = false;
            return 1;
        }
        take();
        isRequired = isRequired && least.value_or(0) > 0;
        return std::max<std::size_t>(most ? *most : least.value_or(0) + 1, 1);
    }

    std::optional<std::size_t> readNumber() {
        std::optional<std::size_t> value;
        while (peek() >= '0' && peek() <= '9')
            value = std::min(value.value_or(0) * 10 + static_cast<std::size_t>(take() - '0'),
                             manyParts);
        return value;
    }

    void addSize(std::size_t parts, std::size_t anchors, const Repetition& repetition) {
        SyntaxGroup& group = groups_.back();
        const std::size_t operators = repetition.isPlain ? 0 : 2;
        group.parts = std::min(group.parts + (parts + operators) * repetition.copies, manyParts);
        group.anchors = std::min(group.anchors + anchors * repetition.anchorFactor, manyParts);
        if (group.parts > RegexSyntax::maxParts || group.anchors > RegexSyntax::maxAnchors)
            isSound_ = false;
    }

    [[nodiscard]] std::optional<char> peek() const {
        return rest_.empty() ? std::nullopt : std::optional(rest_.front());
    }

    char take() {
        const char c = rest_.front();
        rest_.remove_prefix(1);
        return c;
    }

    std::string_view rest_; ///< of the pattern, not yet read
    std::vector<SyntaxGroup> groups_ = std::vector<SyntaxGroup>(1);
    bool isSound_ = true;
};

} // namespace

RegexSyntax examineRegex(std::string_view pattern) {
    const bool holdsNul = pattern.find('\0') != std::string_view::npos;
    if (holdsNul || pattern.size() > RegexSyntax::maxLength)
        return {};
    return Examiner(pattern).examine();
}

} // namespace quarrydex
