/// SearchProvider and Runner as the desktops call them.
#include "QuarrydexApp/dbus/BusNames.h"
#include "QuarrydexApp/dbus/DesktopItem.h"
#include "QuarrydexApp/dbus/Runner.h"
#include "QuarrydexApp/dbus/SearchProvider.h"

#include "tests/fakes/FakeFileOpener.h"
#include "tests/support/BusCall.h"
#include "tests/support/LoopImage.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/QtApplication.h"

#include <optional>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using testing::comesTo;

/// Finds what it is told to, when it is told to.
class FakeSearch : public NameSearch {
  public:
    void find(const std::string& text, std::size_t limit, Answer answer) override {
        asked.push_back(text);
        limits.push_back(limit);
        if (answersAtOnce)
            answer(found);
        else
            waiting = std::move(answer);
    }

    std::vector<std::string> asked;
    std::vector<std::size_t> limits;
    std::vector<FoundItem> found;
    bool answersAtOnce = true;
    Answer waiting;
};

class DesktopSearchTest : public ::testing::Test {
  protected:
    void SetUp() override {
        QDX_NEEDS(PrivateBus::lack());
        const QDBusConnection bus = PrivateBus::shared().connect();
        service_ = bus.baseService().toLatin1();
        ASSERT_TRUE(provider_.serve(bus) && runner_.serve(bus));
    }

    QDBusMessage shell(const char* method, const QVariantList& arguments) {
        return callBus(client_, service_.constData(), busNames::searchProviderPath,
                       "org.gnome.Shell.SearchProvider2", method, arguments);
    }

    QDBusMessage field(const char* method, const QVariantList& arguments) {
        return callBus(client_, service_.constData(), busNames::runnerPath, "org.kde.krunner1",
                       method, arguments);
    }

    QStringList initial(const QStringList& terms) {
        return shell("GetInitialResultSet", {terms}).arguments().value(0).toStringList();
    }

    RunnerMatches matches(const QString& text) {
        return qdbus_cast<RunnerMatches>(field("Match", {text}).arguments().value(0));
    }

    FakeSearch search_;
    FakeFileOpener opener_;
    SearchProvider provider_{search_, opener_, nullptr};
    Runner runner_{search_, opener_, nullptr};
    QDBusConnection client_ = PrivateBus::shared().connect();
    QByteArray service_;
};

const std::string odd = "/m/caf\xC3\xA9 100%#\xFF.mp3"; // not UTF-8

} // namespace

TEST_F(DesktopSearchTest, TheShellIsShownWhatItFoundAndOpensItByTheSameBytes) {
    search_.found = {{odd, false}, {"/m/Folder", true}, {"/", true}};
    const QStringList ids = initial({"caf", "100"});
    EXPECT_EQ(search_.asked, std::vector<std::string>{"caf 100"});
    EXPECT_EQ(search_.limits, std::vector<std::size_t>{20});
    ASSERT_EQ(ids, (QStringList{"/m/caf%C3%A9%20100%25%23%FF.mp3", "/m/Folder/", "/"}));
    EXPECT_EQ(shell("GetSubsearchResultSet", {ids, QStringList{"x"}}).arguments().value(0), ids);

    const auto metas =
        qdbus_cast<QList<QVariantMap>>(shell("GetResultMetas", {ids}).arguments().value(0));
    ASSERT_EQ(metas.size(), 3);
    EXPECT_EQ(metas[0]["id"], ids[0]);
    EXPECT_EQ(metas[0]["name"], QString::fromUtf8("café 100%#\uFFFD.mp3"));
    EXPECT_EQ(metas[0]["description"], "/m");
    EXPECT_EQ(metas[0]["gicon"], ". GThemedIcon audio-mpeg audio-x-generic");
    EXPECT_EQ(metas[1]["name"], "Folder");
    EXPECT_EQ(metas[1]["gicon"], ". GThemedIcon folder");
    EXPECT_EQ(metas[2]["name"], "/");

    shell("ActivateResult", {ids[0], QStringList{"caf"}, 0U});
    shell("ActivateResult", {ids[1], QStringList{"caf"}, 0U});
    EXPECT_EQ(opener_.opened, (std::vector<std::string>{odd, "/m/Folder"}));
    QString text;
    QObject::connect(&provider_, &SearchProvider::searchRequested,
                     [&](const QString& asked) { text = asked; });
    shell("LaunchSearch", {QStringList{"a", "b"}, 0U});
    EXPECT_EQ(text, "a b");
}

TEST_F(DesktopSearchTest, TheCommandFieldRanksOpensAndReveals) {
    search_.found = {{"/m/song.mp3", false}, {"/m/songs", true}};
    const RunnerMatches found = matches(" Song ");
    EXPECT_EQ(search_.asked, std::vector<std::string>{"Song"});
    ASSERT_EQ(found.size(), 2);
    EXPECT_EQ(found[0].text, "song.mp3");
    EXPECT_EQ(found[0].iconName, "audio-mpeg");
    EXPECT_EQ(found[0].type, RunnerMatch::exact);
    EXPECT_EQ(found[1].type, RunnerMatch::possible);
    EXPECT_GT(found[0].relevance, found[1].relevance);
    EXPECT_EQ(found[1].properties["subtext"], "/m");
    EXPECT_EQ(found[1].properties["urls"].toStringList(), QStringList{"file:///m/songs"});

    const auto actions = qdbus_cast<RunnerActions>(field("Actions", {}).arguments().value(0));
    ASSERT_EQ(actions.size(), 1);
    field("Run", {found[0].id, ""});
    field("Run", {found[1].id, actions[0].id});
    EXPECT_EQ(opener_.opened, std::vector<std::string>{"/m/song.mp3"});
    EXPECT_EQ(opener_.revealed, std::vector<std::string>{"/m/songs"});
}

TEST_F(DesktopSearchTest, AnswersComeLateAndDroppedSearchesAnswerWithNothing) {
    search_.answersAtOnce = false;
    for (const bool isDropped : {false, true}) {
        QDBusMessage call = QDBusMessage::createMethodCall(
            QLatin1String(service_), QLatin1String(busNames::searchProviderPath),
            QStringLiteral("org.gnome.Shell.SearchProvider2"),
            QStringLiteral("GetInitialResultSet"));
        call << QStringList{"a"};
        const QDBusPendingCall pending = client_.asyncCall(call);
        ASSERT_TRUE(comesTo([&] { return search_.waiting != nullptr; }));
        EXPECT_FALSE(pending.isFinished());
        if (!isDropped)
            search_.waiting({{"/a", false}});
        search_.waiting = nullptr;
        ASSERT_TRUE(comesTo([&] { return pending.isFinished(); }));
        EXPECT_EQ(pending.reply().arguments().value(0).toStringList(),
                  isDropped ? QStringList{} : QStringList{"/a"});
    }
}

TEST_F(DesktopSearchTest, WhatComesInAndGoesOutIsBounded) {
    for (int i = 0; i < 30; ++i)
        search_.found.push_back({"/" + std::to_string(i), false});
    EXPECT_EQ(initial({"a"}).size(), 20);
    EXPECT_EQ(matches("a").size(), 20);
    search_.asked.clear();
    for (const QString& text : {QString(), QString(" "), QString(2000, 'x')})
        EXPECT_EQ(initial({text}).size() + matches(text).size(), 0) << text.size();
    EXPECT_TRUE(search_.asked.empty());
}

TEST_F(DesktopSearchTest, IdentifiersNotMadeHereNameNothing) {
    for (const char* id : {"", "a", "relative/a", "/a b", "/a%00b", "/a%2", "/a%2fb", "/%41", "//",
                           "/a//", "/caf\xC3\xA9"}) {
        EXPECT_FALSE(DesktopItem::fromId(QString::fromUtf8(id))) << id;
        shell("ActivateResult", {QString::fromUtf8(id), QStringList(), 0U});
        field("Run", {QString::fromUtf8(id), "reveal"});
    }
    EXPECT_FALSE(DesktopItem::fromId("/" + QString(20'000, 'a')));
    EXPECT_TRUE(opener_.opened.empty() && opener_.revealed.empty());
    EXPECT_TRUE(DesktopItem::fromId("/a~_.-b/"));
}

} // namespace quarrydex
