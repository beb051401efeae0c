#include "mime/UuencodedFile.h"

#include "mime/HeaderFields.h"

#include <QRegularExpression>

#include <algorithm>

namespace
{

/// The name in a line "begin 644 name".
std::optional<QByteArray> nameIn(QByteArrayView line)
{
    static const QRegularExpression form(QStringLiteral("^begin [0-7]{3,4} (.*)$"));
    constexpr qsizetype longestLine = 1000;
    const auto match = form.match(QString::fromLatin1(line.first(qMin(line.size(), longestLine))));
    return match.hasMatch() ? std::optional(match.captured(1).trimmed().toLatin1()) : std::nullopt;
}

/// Appends what a line of uuencode holds; false when it is none.
bool decodeLine(QByteArrayView line, QByteArray &octets)
{
    constexpr qsizetype mostOctets = 45;
    if (line.isEmpty() || line.front() <= ' ' || line.front() > '`')
        return false;
    const qsizetype count = (line.front() - ' ') & 63;
    const qsizetype needed = (count + 2) / 3 * 4;
    if (count > mostOctets || line.size() > needed + 2) // some programs put a check character behind
        return false;
    const auto digit = [&](qsizetype i) { return i < line.size() ? (line[i] - ' ') & 63 : 0; };
    if (std::any_of(line.begin(), line.end(), [](char c) { return c < ' ' || c > '`'; }))
        return false;
    for (qsizetype i = 0; i < count; ++i) {
        const qsizetype from = 1 + i / 3 * 4 + i % 3;
        const int shift = static_cast<int>(i % 3) * 2;
        octets += static_cast<char>((digit(from) << (2 + shift)) | (digit(from + 1) >> (4 - shift)));
    }
    return true;
}

std::optional<UuencodedFile> fileAt(QByteArrayView text, qsizetype start)
{
    UuencodedFile file;
    file.start = start;
    QByteArrayView line = firstLine(text.sliced(start));
    const auto name = nameIn(withoutLineEnd(line));
    if (!name)
        return std::nullopt;
    file.name = *name;
    file.end = start + line.size();
    while (file.end < text.size()) {
        line = firstLine(text.sliced(file.end));
        const QByteArrayView content = withoutLineEnd(line);
        const bool last = content.trimmed() == "end";
        // A line of no octets is a grave accent, or a blank, which may be lost.
        if (!last && !content.trimmed().isEmpty() && !decodeLine(content, file.octets))
            return std::nullopt;
        file.end += line.size();
        if (last)
            return file;
    }
    return file.octets.isEmpty() ? std::nullopt : std::optional(file);
}

} // namespace

std::optional<UuencodedFile> findUuencodedFile(QByteArrayView text, qsizetype at)
{
    constexpr QByteArrayView mark = "begin ";
    for (at = text.indexOf(mark, at); at >= 0; at = text.indexOf(mark, at + 1)) {
        if (at > 0 && text[at - 1] != '\n')
            continue;
        if (auto file = fileAt(text, at))
            return file;
    }
    return std::nullopt;
}
