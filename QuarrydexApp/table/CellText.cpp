#include "QuarrydexApp/table/CellText.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexCore/text/tr.h"

#include <QDateTime>
#include <QLocale>

namespace quarrydex::CellText {

QString duration(std::uint32_t ms) {
    if (ms == 0)
        return {};
    const std::uint32_t seconds = ms / 1000 + (ms % 1000 >= 500 ? 1 : 0);
    const auto twoDigits = [](std::uint32_t n) {
        return QStringLiteral("%1").arg(n, 2, 10, QLatin1Char('0'));
    };
    const QString tail = QLatin1Char(':') + twoDigits(seconds % 60);
    const std::uint32_t minutes = seconds / 60;
    if (minutes < 60)
        return QString::number(minutes) + tail;
    return QString::number(minutes / 60) + QLatin1Char(':') + twoDigits(minutes % 60) + tail;
}

QString bitrate(std::uint32_t kbps, bool isVariable) {
    if (kbps == 0)
        return {};
    const std::string value = grouped(kbps).toStdString();
    return qt(isVariable ? tr("Ø {rate} kbit/s", {{"rate", value}})
                         : tr("{rate} kbit/s", {{"rate", value}}));
}

QString sampleRate(std::uint32_t hz) {
    if (hz == 0)
        return {};
    const QString khz = QLocale().toString(static_cast<double>(hz) / 1000, 'g', 6);
    return qt(tr("{rate} kHz", {{"rate", khz.toStdString()}}));
}

QString tempo(std::uint32_t bpm10) {
    return bpm10 == 0 ? QString() : QLocale().toString(static_cast<double>(bpm10) / 10, 'g', 5);
}

QString number(std::uint32_t value) {
    return value == 0 ? QString() : QString::number(value);
}

QString channels(std::uint32_t count) {
    switch (count) {
    case 0:
        return {};
    case 1:
        return qt(tr("Mono"));
    case 2:
        return qt(tr("Stereo"));
    default:
        return QString::number(count);
    }
}

QString dimensions(std::uint32_t width, std::uint32_t height) {
    if (width == 0 || height == 0)
        return {};
    return QStringLiteral("%1 × %2").arg(width).arg(height);
}

QString date(std::int64_t seconds) {
    if (seconds == 0)
        return {};
    return QLocale().toString(QDateTime::fromSecsSinceEpoch(seconds).date(), QLocale::ShortFormat);
}

QString dateAndTime(std::int64_t seconds) {
    if (seconds == 0)
        return {};
    return QLocale().toString(QDateTime::fromSecsSinceEpoch(seconds), QLocale::LongFormat);
}

QString headTruncate(const QString& text, int width, const QFontMetrics& font) {
    return font.elidedText(text, Qt::ElideLeft, width);
}

} // namespace quarrydex::CellText
