/// What this process gives up before it looks at the first foreign byte.
///
/// Threads: the main thread, before others are started. Fails: never; a limit that the system does
/// not know is left out.
#pragma once

namespace quarrydex {

/// No more memory, files or rights than reading one file at a time needs; nothing is written, no
/// core left behind; processor time after what the user works with; the end when the parent ends.
void confine();

/// So many seconds of processor time from here on, then the process is killed.
void allowProcessorTime(unsigned seconds);

} // namespace quarrydex
