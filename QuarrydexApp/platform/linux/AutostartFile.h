/// LoginStart by a desktop entry in the folder whose entries the desktop starts at login. A desktop
/// that switches the entry off writes so into it; that counts as off.
#pragma once

#include "QuarrydexApp/platform/LoginStart.h"

#include <string>
#include <vector>

namespace quarrydex {

class AutostartFile final : public LoginStart {
  public:
    /// `folder`: "~/.config/autostart", made when needed. `command`: the program's path and
    /// arguments. `name`: as the desktop lists it.
    AutostartFile(const std::string& folder, std::string name, std::vector<std::string> command);

    [[nodiscard]] bool isOn() const override;
    [[nodiscard]] bool set(bool on) override;

  private:
    const std::string path_;
    const std::string name_;
    const std::vector<std::string> command_;
};

} // namespace quarrydex
