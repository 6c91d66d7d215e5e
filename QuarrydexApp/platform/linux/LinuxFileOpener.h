/// FileOpener over the desktop's choice of applications and the file manager's bus interface.
#pragma once

#include "QuarrydexApp/platform/FileOpener.h"

#include <QDBusConnection>
#include <QObject>

#include <memory>

namespace quarrydex {

class GioLoop;

class LinuxFileOpener final : public FileOpener {
  public:
    explicit LinuxFileOpener(QDBusConnection bus);
    ~LinuxFileOpener() override;

    void open(const std::vector<std::string>& paths, Failed failed) override;

    /// Where no file manager answers to the interface, the folders are opened instead.
    void reveal(const std::vector<std::string>& paths, Failed failed) override;

  private:
    void openFoldersOf(const std::vector<std::string>& paths, Failed failed);

    QDBusConnection bus_;
    std::unique_ptr<GioLoop> loop_;
    QObject receiver_; ///< of the bus's answers, which end with it
};

} // namespace quarrydex
