#include "mime/FileNames.h"

#include <QStringView>
#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr qsizetype longestName = 200; // UTF-16 units; file systems end at 255

// Types that mail programs send without a name.
constexpr QLatin1StringView
    extensions(" application/pdf=pdf application/zip=zip application/msword=doc application/vnd.ms-excel=xls "
               "application/rtf=rtf application/pgp-signature=asc application/pkcs7-signature=p7s "
               "application/x-pkcs7-signature=p7s application/pkcs7-mime=p7m application/ms-tnef=dat "
               "audio/mpeg=mp3 audio/wav=wav audio/amr=amr image/bmp=bmp image/gif=gif image/jpeg=jpg "
               "image/jpg=jpg image/pjpeg=jpg image/png=png image/tiff=tif image/webp=webp "
               "message/delivery-status=txt message/disposition-notification=txt message/rfc822=eml "
               "text/calendar=ics text/csv=csv text/html=html text/plain=txt text/rfc822-headers=txt "
               "text/rtf=rtf text/vcard=vcf text/x-vcard=vcf text/xml=xml video/mp4=mp4 ");

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

} // namespace

QString safeFileName(const QString &name)
{
    const qsizetype path = std::max(name.lastIndexOf(u'/'), name.lastIndexOf(u'\\'));
    QString safe = name.mid(path + 1);
    safe.removeIf(isUnusable);
    safe = withoutQuotes(safe).toString();
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
    const QString type = u' ' + contentType + u'=';
    const qsizetype at = extensions.indexOf(type, 0, Qt::CaseInsensitive);
    const QLatin1StringView rest = at < 0 ? "bin "_L1 : extensions.sliced(at + type.size());
    return u"attachment%1."_s.arg(number) + rest.first(rest.indexOf(u' '));
}
