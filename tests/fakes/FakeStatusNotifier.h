/// The tray of a desktop, on a session bus: programs tell it of their items, and it shows what they
/// say, clicks on them and opens their menus. It is there as long as the object.
///
/// Threads: the main thread, with a QCoreApplication. Programs wait for its answers, so the event
/// loop must run while they start. Failure: an item that is not there has no values and no menu.
#pragma once

#include "tests/fakes/FakeBusService.h"
#include "tests/support/BusCall.h"

#include <QDBusArgument>
#include <QDBusVariant>
#include <QString>
#include <QStringList>

#include <utility>
#include <vector>

namespace quarrydex {

class FakeStatusNotifier {
  public:
    explicit FakeStatusNotifier(const QDBusConnection& bus)
        : bus_(bus),
          watcher_(bus, "org.kde.StatusNotifierWatcher", [this](const QDBusMessage& call) {
              return answer(call);
          }) {}

    /// The bus names of the items, as they came.
    [[nodiscard]] const std::vector<QByteArray>& items() const { return items_; }

    /// Of the newest item.
    [[nodiscard]] QVariant value(const char* property) const {
        return call(itemPath, propertiesInterface, "Get",
                    {QString::fromLatin1(itemInterface), QString::fromLatin1(property)})
            .value(0)
            .value<QDBusVariant>()
            .variant();
    }

    /// Clicks on the newest item.
    void activate() const { call(itemPath, itemInterface, "Activate", {0, 0}); }

    /// The texts of the newest item's menu; a separator has none.
    [[nodiscard]] QStringList menu() const {
        QStringList texts;
        for (const Entry& entry : entries())
            texts << entry.text;
        return texts;
    }

    /// Chooses the entry of the newest item's menu; false when it has none like that.
    [[nodiscard]] bool choose(const QString& text) const {
        for (const Entry& entry : entries())
            if (entry.text == text) {
                call(menuPath().constData(), menuInterface, "Event",
                     {entry.id, QStringLiteral("clicked"),
                      QVariant::fromValue(QDBusVariant(QString())), 0U});
                return true;
            }
        return false;
    }

  private:
    struct Entry {
        int id{};
        QString text;
    };

    struct Node {
        Entry entry;
        QVariantList children;
    };

    static constexpr const char* itemPath = "/StatusNotifierItem";
    static constexpr const char* itemInterface = "org.kde.StatusNotifierItem";
    static constexpr const char* menuInterface = "com.canonical.dbusmenu";
    static constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";
    static constexpr const char* description =
        "<node><interface name=\"org.kde.StatusNotifierWatcher\">"
        "<property name=\"IsStatusNotifierHostRegistered\" type=\"b\" access=\"read\"/>"
        "<method name=\"RegisterStatusNotifierItem\"><arg type=\"s\" direction=\"in\"/></method>"
        "</interface></node>";

    QDBusMessage answer(const QDBusMessage& call) {
        if (call.member() == QLatin1String("Introspect"))
            return call.createReply(QString::fromLatin1(description));
        if (call.member() == QLatin1String("Get"))
            return call.createReply(QVariant::fromValue(QDBusVariant(true)));
        if (call.member() != QLatin1String("RegisterStatusNotifierItem"))
            return call.createErrorReply(QDBusError::UnknownMethod, call.member());
        items_.push_back(call.arguments().value(0).toString().toLatin1());
        return call.createReply();
    }

    QVariantList call(const char* path,
                      const char* interface,
                      const char* method,
                      const QVariantList& arguments) const {
        if (items_.empty())
            return {};
        return callBus(bus_, items_.back().constData(), path, interface, method, arguments)
            .arguments();
    }

    [[nodiscard]] QByteArray menuPath() const {
        return value("Menu").value<QDBusObjectPath>().path().toLatin1();
    }

    [[nodiscard]] std::vector<Entry> entries() const {
        const QVariantList reply =
            call(menuPath().constData(), menuInterface, "GetLayout", {0, 1, QStringList()});
        if (reply.size() != 2) // its revision and itself
            return {};
        std::vector<Entry> out;
        for (const QVariant& child : read(reply[1]).children)
            out.push_back(read(child).entry);
        return out;
    }

    /// An entry as it travels: (ia{sv}av).
    [[nodiscard]] static Node read(const QVariant& sent) {
        Node node;
        QVariantMap properties;
        const auto parts = sent.value<QDBusArgument>();
        parts.beginStructure();
        parts >> node.entry.id >> properties >> node.children;
        parts.endStructure();
        node.entry.text = properties.value(QStringLiteral("label")).toString();
        return node;
    }

    QDBusConnection bus_;
    std::vector<QByteArray> items_;
    FakeBusService watcher_; ///< last: it calls answer()
};

} // namespace quarrydex
