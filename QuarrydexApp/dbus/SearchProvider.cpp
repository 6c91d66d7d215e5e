#include "QuarrydexApp/dbus/SearchProvider.h"

#include "QuarrydexApp/dbus/BusNames.h"
#include "QuarrydexApp/dbus/DesktopItem.h"
#include "QuarrydexApp/dbus/LateReply.h"

#include <QDBusMetaType>

#include <utility>

namespace quarrydex {

namespace {

/// What was typed; the shell cuts it at spaces.
QString textOf(const QStringList& terms) {
    const QString text = terms.join(QLatin1Char(' ')).trimmed();
    return text.size() <= DesktopItem::maxText ? text : QString();
}

QVariantMap metaOf(const DesktopItem& item, const QString& id) {
    return {{QStringLiteral("id"), id},
            {QStringLiteral("name"), item.name()},
            {QStringLiteral("description"), item.folder()},
            // As GIO writes an icon with several names.
            {QStringLiteral("gicon"),
             QStringLiteral(". GThemedIcon ") + item.iconNames().join(QLatin1Char(' '))}};
}

} // namespace

SearchProvider::SearchProvider(NameSearch& search, FileOpener& opener, FileOpener::Failed failed)
    : search_(search), opener_(opener), failed_(std::move(failed)) {
    qDBusRegisterMetaType<QList<QVariantMap>>();
}

bool SearchProvider::serve(QDBusConnection bus) {
    return bus.registerObject(QLatin1String(busNames::searchProviderPath), this,
                              QDBusConnection::ExportScriptableSlots);
}

QStringList SearchProvider::GetInitialResultSet(const QStringList& terms) {
    const QString text = textOf(terms);
    if (text.isEmpty())
        return {};
    const auto answer = [reply = LateReply<QStringList>::of(*this)](std::vector<FoundItem> items) {
        QStringList ids;
        for (FoundItem& item : items) {
            if (static_cast<std::size_t>(ids.size()) < DesktopItem::maxItems)
                ids.append(DesktopItem(std::move(item)).id());
        }
        reply->give(ids);
    };
    search_.find(text.toStdString(), DesktopItem::maxItems, answer);
    return {}; // not sent
}

QStringList SearchProvider::GetSubsearchResultSet(const QStringList&, const QStringList& terms) {
    // The previous hits are only the best ones; longer words may have better ones.
    return GetInitialResultSet(terms);
}

QList<QVariantMap> SearchProvider::GetResultMetas(const QStringList& ids) {
    QList<QVariantMap> metas;
    for (const QString& id : ids.first(std::min(ids.size(), qsizetype{DesktopItem::maxItems}))) {
        if (const auto item = DesktopItem::fromId(id))
            metas.append(metaOf(*item, id));
    }
    return metas;
}

void SearchProvider::ActivateResult(const QString& id, const QStringList&, uint) {
    if (const auto item = DesktopItem::fromId(id))
        opener_.open({item->path()}, failed_);
}

void SearchProvider::LaunchSearch(const QStringList& terms, uint) {
    Q_EMIT searchRequested(textOf(terms));
}

} // namespace quarrydex
