/// Reads what FileMeta and FilePreview hold, off the main thread and at arm's length.
///
/// Threads: the main thread; answers arrive on it, through its event loop, in any order. Failure: a
/// file that cannot be read, is no such thing or takes too long gives an empty value.
#pragma once

#include "QuarrydexApp/metadata/FileMeta.h"

#include <QSize>

#include <cstdint>
#include <functional>
#include <string>

namespace quarrydex {

class FileMetaSource {
  public:
    /// Names a request until it was answered or withdrawn. Never 0.
    using Ticket = std::uint64_t;

    virtual ~FileMetaSource() = default;

    /// Newest requests first: what was asked for last is what is looked at.
    virtual Ticket meta(std::string path, std::function<void(const FileMeta&)> answer) = 0;

    /// A picture at most this large, in device pixels.
    virtual Ticket
    preview(std::string path, QSize limit, std::function<void(const FilePreview&)> answer) = 0;

    /// The answer will not be called. Tickets that are gone are fine.
    virtual void withdraw(Ticket ticket) = 0;
};

} // namespace quarrydex
