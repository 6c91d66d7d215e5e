/// Tags that need not be read again: a catalogue that was scanned anew takes over what the one
/// before it knows of the files that are the same.
///
/// Threads: any but the main one, for it takes a second a million files; neither catalogue needs to
/// be at rest. Memory: about 50 bytes a row of the old table. Fails: never; what is not taken over
/// is read again.
#pragma once

#include "QuarrydexCore/catalog/VolumeIndex.h"

#include <cstddef>
#include <memory>

namespace quarrydex {

/// Gives every audio file of `fresh` that lacks a row the row that `old` has of a file of the same
/// path, modification time and size. Returns the number of rows.
std::size_t carryOver(const VolumeIndex& old, const std::shared_ptr<VolumeIndex>& fresh);

} // namespace quarrydex
