/// Civil dates of the proleptic Gregorian calendar, and the time zones that turn them into
/// instants. Threads: any; no mutable state. Fails: never.
#pragma once

#include <compare>
#include <cstdint>

namespace quarrydex {

struct CivilDate {
    std::int64_t year{};
    std::int64_t month{}; ///< 1 … 12
    std::int64_t day{};   ///< 1 … 31

    auto operator<=>(const CivilDate&) const = default;
};

/// Days from 1970-01-01 to the date. A month or day beyond its end counts on into the next ones.
[[nodiscard]] std::int64_t daysFromCivil(const CivilDate& date);

/// The inverse, for any number of days that a year of int range holds.
[[nodiscard]] CivilDate civilFromDays(std::int64_t days);

/// Instants are seconds since 1970-01-01 UTC.
class Calendar {
  public:
    virtual ~Calendar() = default;

    /// The date that a clock on the wall shows.
    [[nodiscard]] virtual CivilDate dateAt(std::int64_t instant) const = 0;

    /// The first second of the day; where clocks skipped midnight, the first that existed. A day
    /// that does not exist, or that clocks skipped whole, gives the start of the one it counts on
    /// to. REQUIRES: a year in 1 … 10,000.
    [[nodiscard]] virtual std::int64_t startOfDay(const CivilDate& date) const = 0;
};

/// The zone of the process.
class LocalCalendar final : public Calendar {
  public:
    /// Takes over a zone that was changed since the last call (TZ, or the system's setting).
    LocalCalendar();

    [[nodiscard]] CivilDate dateAt(std::int64_t instant) const override;
    [[nodiscard]] std::int64_t startOfDay(const CivilDate& date) const override;
};

/// A zone that is the same at all times.
class FixedOffsetCalendar final : public Calendar {
  public:
    /// `secondsEast`: local time minus UTC.
    explicit FixedOffsetCalendar(std::int64_t secondsEast = 0) : secondsEast_(secondsEast) {}

    [[nodiscard]] CivilDate dateAt(std::int64_t instant) const override;
    [[nodiscard]] std::int64_t startOfDay(const CivilDate& date) const override;

  private:
    std::int64_t secondsEast_;
};

} // namespace quarrydex
