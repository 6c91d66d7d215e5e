/// Puts the process into another time zone for as long as it lives; a LocalCalendar made meanwhile
/// takes it over. One thread at a time.
#pragma once

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

namespace quarrydex {

class ScopedZone {
  public:
    /// `zone`: a value of TZ.
    explicit ScopedZone(const char* zone) {
        if (const char* before = std::getenv("TZ"))
            before_ = before;
        ::setenv("TZ", zone, 1);
    }

    ~ScopedZone() {
        if (before_)
            ::setenv("TZ", before_->c_str(), 1);
        else
            ::unsetenv("TZ");
        ::tzset();
    }

    ScopedZone(const ScopedZone&) = delete;
    ScopedZone& operator=(const ScopedZone&) = delete;

  private:
    std::optional<std::string> before_;
};

} // namespace quarrydex
