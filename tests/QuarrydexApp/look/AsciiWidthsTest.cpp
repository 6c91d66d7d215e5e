#include "QuarrydexApp/look/AsciiWidths.h"

#include "tests/support/WidgetsApplication.h"

#include <QFontMetricsF>

#include <random>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

TEST(AsciiWidthsTest, TextsAreShortenedOnlyAsFarAsTheFontAsksFor) {
    const QFont font("sans", 10);
    const QFontMetricsF metrics(font);
    AsciiWidths widths;
    widths.use(QFont("serif", 30), QFontMetricsF(QFont("serif", 30)));
    widths.use(font, metrics);
    std::mt19937 random(5);
    for (int round = 0; round < 2000; ++round) {
        QString text;
        for (auto length = random() % 60; text.size() < static_cast<qsizetype>(length);)
            text += QChar(static_cast<char16_t>(' ' + random() % 95));
        const auto room = static_cast<qreal>(random() % 500);
        for (const auto mode : {Qt::ElideLeft, Qt::ElideMiddle, Qt::ElideRight}) {
            const auto line = widths.fitted(text, mode, room);
            ASSERT_TRUE(line) << text.toStdString();
            const qreal truth = metrics.horizontalAdvance(line->text);
            ASSERT_NEAR(line->width, truth, 0.05 * truth + 2) << line->text.toStdString();
            if (line->text == text) {
                ASSERT_LE(line->width, room);
                continue;
            }
            // What is gone did not fit, nor would two more letters.
            ASSERT_GT(metrics.horizontalAdvance(text) * 1.05 + 3, room) << text.toStdString();
            const auto mark = line->text.indexOf(QChar(u'\u2026'));
            const QString front = line->text.left(mark);
            const QString back = line->text.mid(mark + 1);
            ASSERT_TRUE(text.startsWith(front) && text.endsWith(back));
            ASSERT_TRUE(mode != Qt::ElideLeft || front.isEmpty());
            ASSERT_TRUE(mode != Qt::ElideRight || back.isEmpty());
            ASSERT_TRUE(front.isEmpty() || back.isEmpty() ||
                        metrics.horizontalAdvance(front) < room / 2 + 2);
            ASSERT_TRUE(line->text.size() == 1 || line->width <= room);
            ASSERT_GT(line->width + 2 * metrics.maxWidth(), room);
        }
    }
    for (const char16_t* other : {u"caf\u00e9", u"tab\t", u"\u05d0"})
        EXPECT_FALSE(widths.fitted(QString::fromUtf16(other), Qt::ElideRight, 1000));
}

} // namespace
} // namespace quarrydex
