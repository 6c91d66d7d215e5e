/// "Perform n iterations at once": the one way in which searches and sorts use several cores.
///
/// The helper threads are process-wide, started on first use and kept. The calling thread works
/// too, so a call always makes progress, also when it is made from inside another parallelFor or
/// while every helper is busy.
#pragma once

#include <cstddef>
#include <functional>

namespace quarrydex {

/// Number of processors this process may run on, at least 1.
[[nodiscard]] unsigned processorCount();

/// Calls body(i) once for each i below n, on at most `threads` threads (the caller's included), and
/// returns when every call has returned. Everything the bodies wrote is visible to the caller.
/// REQUIRES: body does not throw.
void parallelFor(std::size_t n, unsigned threads, const std::function<void(std::size_t)>& body);

} // namespace quarrydex
