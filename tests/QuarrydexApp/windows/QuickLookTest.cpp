#include "QuarrydexApp/windows/QuickLook.h"

#include "QuarrydexApp/look/Appearance.h"
#include "QuarrydexApp/windows/PreviewCard.h"
#include "QuarrydexApp/windows/PreviewPicture.h"

#include "tests/fakes/FakeFileMetaSource.h"
#include "tests/fakes/FakeSettings.h"
#include "tests/support/EventLoop.h"
#include "tests/support/WidgetsApplication.h"

#include <QApplication>
#include <QLabel>
#include <QPlainTextEdit>
#include <QStackedWidget>

#include <string>
#include <vector>

#include <QtTest/QTest>
#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using testing::comesTo;

QuickLook::File file(const std::string& name) {
    return {.path = "/d/" + name, .name = name, .size = 1'234, .mtime = 1'600'000'000};
}

class QuickLookTest : public ::testing::Test {
  protected:
    template <typename View> View* shownView() {
        return qobject_cast<View*>(window_.findChild<QStackedWidget*>()->currentWidget());
    }

    /// What the card says, line by line; empty when another view is shown.
    QStringList card() {
        auto* const card = shownView<PreviewCard>();
        return card == nullptr ? QStringList() : card->accessibleName().split(QLatin1Char('\n'));
    }

    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QWidget* const focus = window_.findChild<QStackedWidget*>()->currentWidget();
        QTest::keyClick(focus, key, modifiers);
    }

    /// The path that is waited for, if it is one.
    [[nodiscard]] std::string waitedFor() const {
        return source_.waiting().size() == 1 ? source_.waiting().front().path : "";
    }

    FakeFileMetaSource source_;
    FakeSettings settings_;
    QuickLook window_{source_, settings_};
};

QImage picture(int width, int height) {
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::red);
    return image;
}

} // namespace

TEST_F(QuickLookTest, ShowsWhatTheFileGives) {
    window_.show({file("a.png")}, 0);
    EXPECT_EQ(window_.windowTitle(), QStringLiteral("a.png"));
    ASSERT_EQ(waitedFor(), "/d/a.png");
    EXPECT_EQ(source_.waiting()[0].limit, window_.findChild<QStackedWidget*>()->size());
    FilePreview found;
    found.picture = picture(60, 40);
    found.meta = {.w = 6'000, .h = 4'000};
    source_.answer("/d/a.png", found);
    auto* const view = shownView<PreviewPicture>();
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(view->place().size(), QSizeF(60, 40));
    EXPECT_EQ(view->accessibleName(), QStringLiteral("Preview of a.png"));
    EXPECT_TRUE(view->accessibleDescription().startsWith(QStringLiteral("6000 × 4000 · ")));
    EXPECT_EQ(view->grab().toImage().pixelColor(view->rect().center()), QColor(Qt::red));

    window_.show({file("a.txt")}, 0);
    source_.answer("/d/a.txt",
                   {.picture = {}, .text = QStringLiteral("first\nsecond"), .meta = {}});
    auto* const text = shownView<QPlainTextEdit>();
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(text->toPlainText(), QStringLiteral("first\nsecond"));

    window_.show({file("a.bin")}, 0);
    source_.answer("/d/a.bin", {});
    EXPECT_TRUE(card().contains(QStringLiteral("No preview")));
}

TEST_F(QuickLookTest, SaysThatItIsLoadingOnlyAfterAMoment) {
    window_.show({file("slow.png")}, 0);
    EXPECT_TRUE(card().isEmpty());
    ASSERT_TRUE(comesTo([&] { return card().contains(QStringLiteral("Loading …")); }));
    source_.answer("/d/slow.png", {});
    EXPECT_FALSE(card().contains(QStringLiteral("Loading …")));
}

TEST_F(QuickLookTest, AudioShowsItsRecordAtOnceAndThenItsCover) {
    QuickLook::File song = file("song.mp3");
    song.audio = AudioMeta{.durationMs = 187'000, .artist = "Ann"};
    window_.show({song}, 0);
    for (const char* line : {"song.mp3", "Artist: Ann", "Duration: 3:07"})
        EXPECT_TRUE(card().contains(QString::fromUtf8(line))) << line;
    EXPECT_FALSE(card().join(u' ').contains(QStringLiteral("Album")));
    const auto sign = [&] { return shownView<PreviewCard>()->findChild<QLabel*>()->pixmap(); };
    const QSize before = sign().size();
    FilePreview found;
    found.picture = picture(90, 30);
    found.meta = {.durationMs = 1, .w = 5, .h = 5};
    source_.answer("/d/song.mp3", found);
    EXPECT_TRUE(card().contains(QStringLiteral("Duration: 3:07")));
    EXPECT_NE(sign().size(), before);
    EXPECT_NEAR(sign().width(), sign().height() * 3, 3);

    // A film, of which the catalogue knows nothing.
    window_.show({file("film.mkv")}, 0);
    source_.answer("/d/film.mkv", {.picture = {}, .text = {}, .meta = {.durationMs = 61'000}});
    EXPECT_TRUE(card().contains(QStringLiteral("Duration: 1:01")));
}

TEST_F(QuickLookTest, KeysGoFromFileToFileAndClose) {
    QuickLook::File folder = file("folder");
    folder.isFolder = true;
    std::vector<std::size_t> visited;
    QObject::connect(&window_, &QuickLook::currentChanged,
                     [&](std::size_t index) { visited.push_back(index); });
    window_.show({file("a"), file("b"), folder}, 7);
    EXPECT_EQ(waitedFor(), "/d/folder");
    EXPECT_EQ(card().front(), QStringLiteral("folder"));
    press(Qt::Key_Right);
    EXPECT_TRUE(visited.empty());
    press(Qt::Key_Left);
    EXPECT_EQ(waitedFor(), "/d/b") << "what was asked for before is not withdrawn";
    source_.answer("/d/b", {.picture = {}, .text = QStringLiteral("x\ny"), .meta = {}});
    // Past the text, which would move in itself.
    press(Qt::Key_Up);
    EXPECT_EQ(waitedFor(), "/d/a");
    press(Qt::Key_Up);
    press(Qt::Key_Down, Qt::ControlModifier);
    EXPECT_EQ(waitedFor(), "/d/a");
    press(Qt::Key_Down);
    EXPECT_EQ(visited, (std::vector<std::size_t>{1, 0, 1}));

    for (const Qt::Key key : {Qt::Key_Space, Qt::Key_Escape}) {
        window_.show({file("c")}, 0);
        press(key);
        EXPECT_FALSE(window_.isVisible());
        EXPECT_TRUE(source_.waiting().empty());
    }
    window_.show({file("c")}, 0);
    QKeyEvent held(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier, QStringLiteral(" "), true);
    QApplication::sendEvent(&window_, &held);
    EXPECT_TRUE(window_.isVisible());
    window_.show({}, 0);
    EXPECT_FALSE(window_.isVisible());
}

TEST_F(QuickLookTest, ALargerWindowAsksForASharperPicture) {
    window_.show({file("a.png"), file("b.png")}, 0);
    const QSize first = source_.waiting().front().limit;
    FilePreview shrunk;
    shrunk.picture = picture(first.width(), 10);
    shrunk.meta = {.w = 9'000, .h = 90};
    source_.answer("/d/a.png", shrunk);
    window_.resize(window_.size() + QSize(200, 200));
    ASSERT_TRUE(comesTo([&] { return !source_.waiting().empty(); }));
    EXPECT_EQ(source_.waiting().front().limit, first + QSize(200, 200));
    // Until it is there, the one that is there stays.
    EXPECT_NE(shownView<PreviewPicture>(), nullptr);
    press(Qt::Key_Right);
    EXPECT_EQ(waitedFor(), "/d/b.png");
}

TEST_F(QuickLookTest, ItsSizeIsRemembered) {
    window_.show({file("a")}, 0);
    window_.resize(500, 400);
    window_.close();
    EXPECT_EQ(QuickLook(source_, settings_).size(), QSize(500, 400));
    for (const auto& [stored, size] : std::vector<std::pair<nlohmann::json, QSize>>{
             {{1, 1}, {320, 240}},
             {{"a", 5}, {720, 560}},
             {{std::int64_t{1} << 60, 500}, {10'000, 500}},
             {7, {720, 560}}}) {
        FakeSettings settings(nlohmann::json::object({{std::string(QuickLook::sizeKey), stored}}));
        EXPECT_EQ(QuickLook(source_, settings).size(), size) << stored;
    }
}

TEST_F(QuickLookTest, NamesOfAnyBytesAndOfTheDarkAreReadable) {
    QuickLook::File odd = file("a\nb\xFF<b>.bin");
    window_.show({odd}, 0);
    source_.answer(odd.path, {});
    EXPECT_EQ(card().front(), QStringLiteral("a\u240Ab\uFFFD<b>.bin"));
    const auto ink = [&](const char* appearance) {
        applyAppearance(appearance, false);
        QuickLook window(source_, settings_); // colours reach windows that are open in exec() only
        window.show({odd}, 0);
        source_.answer(odd.path, {});
        return window.findChild<QStackedWidget*>()->currentWidget()->grab().toImage();
    };
    const QImage dark = ink("dark");
    const QImage light = ink("light");
    EXPECT_GT(light.pixelColor(2, 2).lightness(), 200);
    EXPECT_LT(dark.pixelColor(2, 2).lightness(), 60);
}

} // namespace quarrydex
