/// What the throwing operations of a catalogue report; the message is in the language in effect.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace quarrydex {

class IndexError : public std::runtime_error {
  public:
    enum class Case : std::uint8_t { cannotOpen, cannotSave, refusedPath };

    /// `path` could not be opened as a folder; `error` is the errno, 0 when unknown.
    static IndexError cannotOpen(std::string path, int error);

    /// `path` could not be written; `error` is the errno, 0 when unknown.
    static IndexError cannotSave(std::string path, int error);

    /// `path` is none that the program writes to.
    static IndexError refusedPath(std::string path);

    [[nodiscard]] Case kind() const { return kind_; }

    [[nodiscard]] const std::string& path() const { return path_; }

  private:
    IndexError(Case kind, std::string path, const std::string& message)
        : std::runtime_error(message), kind_(kind), path_(std::move(path)) {}

    Case kind_;
    std::string path_;
};

} // namespace quarrydex
