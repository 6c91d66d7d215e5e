/// An item as the desktop's search shows it and names it in later calls: by an identifier that
/// needs no memory of the search, the path with every byte that is not plain ASCII written as %XX,
/// and a
/// "/" at its end for a folder.
///
/// Threads: any; no state. Failure: nothing, for an identifier that was not made here.
#pragma once

#include "QuarrydexApp/dbus/NameSearch.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace quarrydex {

class DesktopItem {
  public:
    static constexpr std::size_t maxItems = 20;       ///< of an answer
    static constexpr qsizetype maxText = 1000;        ///< characters that are searched for
    static constexpr qsizetype maxIdentifier = 16384; ///< characters

    explicit DesktopItem(FoundItem found) : found_(std::move(found)) {}

    [[nodiscard]] static std::optional<DesktopItem> fromId(const QString& id);

    [[nodiscard]] QString id() const;
    [[nodiscard]] QString uri() const;
    [[nodiscard]] QString name() const;
    [[nodiscard]] QString folder() const; ///< in which it stands

    /// Names of its icon in the desktop's theme, the best one first.
    [[nodiscard]] QStringList iconNames() const;

    [[nodiscard]] const std::string& path() const { return found_.path; }

  private:
    FoundItem found_;
};

} // namespace quarrydex
