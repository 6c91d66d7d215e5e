/// The system's regular expressions, without anything of ours.
#pragma once

#include <string>

#include <regex.h>

namespace quarrydex::testing {

class PosixRegex {
  public:
    PosixRegex(const std::string& pattern, bool caseSensitive)
        : isValid_(::regcomp(&expression_,
                             pattern.c_str(),
                             REG_EXTENDED | REG_NOSUB | (caseSensitive ? 0 : REG_ICASE)) == 0) {}

    ~PosixRegex() {
        if (isValid_)
            ::regfree(&expression_);
    }

    PosixRegex(const PosixRegex&) = delete;
    PosixRegex& operator=(const PosixRegex&) = delete;

    [[nodiscard]] bool isValid() const { return isValid_; }

    [[nodiscard]] bool matches(const std::string& text) const {
        return isValid_ && ::regexec(&expression_, text.c_str(), 0, nullptr, 0) == 0;
    }

  private:
    regex_t expression_{};
    bool isValid_;
};

} // namespace quarrydex::testing
