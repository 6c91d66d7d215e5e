#include "QuarrydexApp/metadata/helper/Readers.h"

#include <QStringDecoder>

#include <algorithm>

namespace quarrydex {

namespace {

/// No text has these but a few by mistake: a picture or a program has many.
bool isControl(QChar c) {
    return c.unicode() < 0x20 && c != u'\t' && c != u'\n' && c != u'\r' && c != u'\f' &&
           c != u'\x1B';
}

bool isReadable(const QString& text) {
    const auto controls = std::ranges::count_if(text, isControl);
    return !text.contains(QChar(u'\0')) && controls * 32 <= text.size();
}

QString decoded(QByteArrayView bytes, QStringConverter::Encoding encoding, bool& isValid) {
    QStringDecoder decode(encoding);
    QString text = decode(bytes);
    isValid = !decode.hasError();
    return text;
}

} // namespace

std::optional<QString> textOf(std::string_view bytes) {
    const QByteArrayView all(bytes.data(), static_cast<qsizetype>(bytes.size()));
    const auto mark = QStringConverter::encodingForData(all);
    bool isValid = false;
    // A character cut off at the end is no error: its rest may stand in the file.
    QString text = decoded(all, mark.value_or(QStringConverter::Utf8), isValid);
    if (!mark && !isValid)
        text = decoded(all, QStringConverter::Latin1, isValid);
    if (text.isEmpty() || !isReadable(text))
        return std::nullopt;
    return text;
}

} // namespace quarrydex
