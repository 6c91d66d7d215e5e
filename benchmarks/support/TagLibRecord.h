/// The same record of an audio file as the tag readers give, by TagLib: what they are held against.
///
/// Threads: any. Without TagLib at build time nothing is read.
#pragma once

#include "QuarrydexCore/audio/AudioMeta.h"

#include <optional>
#include <string>

namespace quarrydex::bench {

[[nodiscard]] bool hasTagLib();

/// Properties and texts, tempo and key among them. The codec is that of the file type.
[[nodiscard]] std::optional<AudioMeta> tagLibRecord(const std::string& path);

} // namespace quarrydex::bench
