/// Work that must not be noticed.
#pragma once

namespace quarrydex {

/// From here to its end the calling thread gets processor time and disk only as far as others leave
/// some. Without effect where the system does not know such a thing.
void yieldToOthers();

} // namespace quarrydex
