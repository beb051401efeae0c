#include "mime/FileNames.h"

#include <QRegularExpression>
#include <QStringView>
#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace
{

constexpr qsizetype longestName = 200; // UTF-16 units; file systems end at 255

struct TypeExtension {
    QLatin1StringView type;
    QLatin1StringView extension;
};

// Types that mail programs send without a name.
constexpr auto extensions = std::to_array<TypeExtension>({
    {"application/pdf"_L1, "pdf"_L1},
    {"application/zip"_L1, "zip"_L1},
    {"application/msword"_L1, "doc"_L1},
    {"application/vnd.ms-excel"_L1, "xls"_L1},
    {"application/rtf"_L1, "rtf"_L1},
    {"application/pgp-signature"_L1, "asc"_L1},
    {"application/pkcs7-signature"_L1, "p7s"_L1},
    {"application/x-pkcs7-signature"_L1, "p7s"_L1},
    {"application/pkcs7-mime"_L1, "p7m"_L1},
    {"application/ms-tnef"_L1, "dat"_L1},
    {"audio/mpeg"_L1, "mp3"_L1},
    {"audio/wav"_L1, "wav"_L1},
    {"audio/amr"_L1, "amr"_L1},
    {"image/bmp"_L1, "bmp"_L1},
    {"image/gif"_L1, "gif"_L1},
    {"image/jpeg"_L1, "jpg"_L1},
    {"image/jpg"_L1, "jpg"_L1},
    {"image/pjpeg"_L1, "jpg"_L1},
    {"image/png"_L1, "png"_L1},
    {"image/tiff"_L1, "tif"_L1},
    {"image/webp"_L1, "webp"_L1},
    {"message/delivery-status"_L1, "txt"_L1},
    {"message/disposition-notification"_L1, "txt"_L1},
    {"message/rfc822"_L1, "eml"_L1},
    {"text/calendar"_L1, "ics"_L1},
    {"text/csv"_L1, "csv"_L1},
    {"text/html"_L1, "html"_L1},
    {"text/plain"_L1, "txt"_L1},
    {"text/rfc822-headers"_L1, "txt"_L1},
    {"text/rtf"_L1, "rtf"_L1},
    {"text/vcard"_L1, "vcf"_L1},
    {"text/x-vcard"_L1, "vcf"_L1},
    {"text/xml"_L1, "xml"_L1},
    {"video/mp4"_L1, "mp4"_L1},
});

bool isUnusable(QChar c)
{
    return c.unicode() < 0x20 || c.unicode() == 0x7F || QStringView(u"<>:\"|?*").contains(c) ||
           c == QChar::ReplacementCharacter ||
           c.category() == QChar::Other_Format; // hides the real extension
}

QStringView withoutEdges(QStringView name)
{
    while (!name.isEmpty() && (name.back() == u'.' || name.back().isSpace()))
        name.chop(1);
    while (!name.isEmpty() && name.front().isSpace())
        name = name.sliced(1);
    return name;
}

/// Some programs quote with the wrong sign.
QStringView withoutQuotes(QStringView name)
{
    name = withoutEdges(name);
    while (name.size() > 2 && name.startsWith(u'\'') && name.endsWith(u'\''))
        name = withoutEdges(name.sliced(1).chopped(1));
    return name;
}

/// Names of devices on Windows, whatever their extension.
bool isDeviceName(const QString &name)
{
    static const QRegularExpression device(
        u"^(con|prn|aux|nul|conin\\$|conout\\$|com[0-9¹²³]|lpt[0-9¹²³])\\s*(\\.|$)"_s,
        QRegularExpression::CaseInsensitiveOption);
    return device.match(name).hasMatch();
}

} // namespace

QString safeFileName(const QString &name)
{
    const qsizetype path = std::max(name.lastIndexOf(u'/'), name.lastIndexOf(u'\\'));
    QString safe = name.mid(path + 1);
    safe.removeIf(isUnusable);
    safe = withoutQuotes(safe).toString();
    if (isDeviceName(safe))
        safe.prepend(u'_');
    if (safe.size() <= longestName)
        return safe;
    const qsizetype dot = safe.lastIndexOf(u'.');
    const QString extension = dot > 0 && safe.size() - dot <= 16 ? safe.mid(dot) : QString();
    qsizetype kept = longestName - extension.size();
    if (safe.at(kept - 1).isHighSurrogate())
        --kept;
    // The cut may have made a quoted name of it.
    return safeFileName(withoutEdges(QStringView(safe).left(kept)).toString() + extension);
}

QString fileNameForType(const QString &contentType, int number)
{
    const auto *found =
        std::find_if(std::begin(extensions), std::end(extensions), [&](const TypeExtension &entry) {
            return contentType.compare(entry.type, Qt::CaseInsensitive) == 0;
        });
    const QLatin1StringView extension = found == std::end(extensions) ? "bin"_L1 : found->extension;
    return u"attachment%1."_s.arg(number) + extension;
}
