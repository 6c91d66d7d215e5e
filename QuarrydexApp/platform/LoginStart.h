/// Whether the program starts when the user logs in.
///
/// Threads: any; both functions go to the disk, so not the main thread. Failure: false.
#pragma once

namespace quarrydex {

class LoginStart {
  public:
    virtual ~LoginStart() = default;

    [[nodiscard]] virtual bool isOn() const = 0;

    /// False when it could not be changed.
    [[nodiscard]] virtual bool set(bool on) = 0;
};

} // namespace quarrydex
