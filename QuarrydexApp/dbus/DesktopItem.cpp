#include "QuarrydexApp/dbus/DesktopItem.h"

#include "QuarrydexCore/base/Files.h"

#include <QByteArray>
#include <QMimeDatabase>

namespace quarrydex {

namespace {

QString encoded(const std::string& path) {
    return QString::fromLatin1(QByteArray::fromStdString(path).toPercentEncoding("/"));
}

} // namespace

std::optional<DesktopItem> DesktopItem::fromId(const QString& id) {
    if (id.size() > maxIdentifier || !id.startsWith(QLatin1Char('/')))
        return std::nullopt;
    const std::string path = QByteArray::fromPercentEncoding(id.toLatin1()).toStdString();
    FoundItem found{std::string(withoutEndSlashes(path)), path.ends_with('/')};
    DesktopItem item(std::move(found));
    // What does not encode to itself was not made here: a NUL's place would be another file.
    if (item.id() != id || path.find('\0') != std::string::npos)
        return std::nullopt;
    return item;
}

QString DesktopItem::id() const {
    const QString path = encoded(found_.path);
    return found_.isFolder && !path.endsWith(QLatin1Char('/')) ? path + QLatin1Char('/') : path;
}

QString DesktopItem::uri() const {
    return QStringLiteral("file://") + encoded(found_.path);
}

QString DesktopItem::name() const {
    const std::string& path = found_.path;
    return QString::fromStdString(path.size() > 1 ? path.substr(path.rfind('/') + 1) : path);
}

QString DesktopItem::folder() const {
    return QString::fromStdString(folderOf(found_.path));
}

QStringList DesktopItem::iconNames() const {
    if (found_.isFolder)
        return {QStringLiteral("folder")};
    // By the name alone: the file itself may lie on a drive that sleeps.
    const QMimeType type = QMimeDatabase().mimeTypeForFile(name(), QMimeDatabase::MatchExtension);
    return {type.iconName(), type.genericIconName()};
}

} // namespace quarrydex
