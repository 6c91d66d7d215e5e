#include "QuarrydexApp/look/Text.h"

#include <QByteArray>
#include <QLocale>

namespace quarrydex {

namespace {

/// Characters that reorder or break the line they stand in.
bool disturbsLine(char16_t c) {
    return (c >= 0x80 && c < 0xA0) || c == 0x2028 || c == 0x2029 || (c >= 0x202A && c <= 0x202E) ||
           (c >= 0x2066 && c <= 0x2069);
}

} // namespace

QString shown(std::string_view name) {
    QString text = qt(name);
    for (QChar& c : text) {
        const char16_t code = c.unicode();
        if (code < 0x20)
            c = QChar(u'\u2400' + code);
        else if (code == 0x7F)
            c = QChar(u'\u2421');
        else if (disturbsLine(code))
            c = QChar(QChar::ReplacementCharacter);
    }
    return text;
}

QUrl fileUrl(std::string_view path) {
    const QByteArray bytes(path.data(), static_cast<qsizetype>(path.size()));
    return QUrl::fromEncoded("file://" + bytes.toPercentEncoding("/"), QUrl::StrictMode);
}

QString grouped(std::uint64_t number) {
    return QLocale().toString(static_cast<qulonglong>(number));
}

QString shortSize(std::uint64_t bytes) {
    double inUnit = static_cast<double>(bytes);
    while (inUnit >= 999.5)
        inUnit /= 1000;
    const int decimals = inUnit >= 99.95 ? 0 : inUnit >= 9.995 ? 1 : 2;
    return QLocale().formattedDataSize(static_cast<qint64>(bytes), decimals,
                                       QLocale::DataSizeSIFormat);
}

} // namespace quarrydex
