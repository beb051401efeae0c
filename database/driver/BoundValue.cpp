#include "database/driver/BoundValue.h"

#include <QDateTime>
#include <QLocale>
#include <QTimeZone>
#include <cstdlib>

using namespace Qt::StringLiterals;

namespace
{

QString dateTimeText(const QDateTime &dateTime)
{
    const QDateTime local = dateTime.toLocalTime();
    return local.toString(local.time().msec() == 0 ? u"yyyy-MM-dd HH:mm:ss"_s : u"yyyy-MM-dd HH:mm:ss.zzz"_s);
}

QString storableText(QString text, QChar replacementForNul)
{
    if (text.isNull())
        return u""_s; // which is not NULL
    if (!replacementForNul.isNull() && text.contains(QChar(0)))
        text.replace(QChar(0), replacementForNul);
    if (text.isValidUtf16())
        return text;
    const QList<uint> characters = text.toUcs4(); // U+FFFD for half a surrogate pair
    return QString::fromUcs4(reinterpret_cast<const char32_t *>(characters.constData()), characters.size());
}

} // namespace

bool isNullValue(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QByteArray:
        return value.toByteArray().isNull();
    case QMetaType::QDateTime:
        return !value.toDateTime().isValid();
    case QMetaType::QDate:
        return !value.toDate().isValid();
    case QMetaType::QTime:
        return !value.toTime().isValid();
    default:
        return value.isNull();
    }
}

QVariant boundValue(const QVariant &value, QChar replacementForNul)
{
    if (isNullValue(value))
        return QVariant(value.metaType());
    switch (value.typeId()) {
    case QMetaType::QString:
        return storableText(value.toString(), replacementForNul);
    case QMetaType::Bool:
        return value.toInt();
    case QMetaType::Double:
        return QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest);
    case QMetaType::QDateTime:
        return dateTimeText(value.toDateTime());
    case QMetaType::QDate:
        return value.toDate().toString(u"yyyy-MM-dd"_s);
    case QMetaType::QTime:
        return value.toTime().toString(u"HH:mm:ss.zzz"_s);
    default:
        return value;
    }
}

QString withoutPadding(QString text)
{
    while (text.endsWith(u' '))
        text.chop(1);
    return text;
}

QVariant columnValue(ColumnKind kind, const QString &text)
{
    switch (kind) {
    case ColumnKind::Number: {
        bool isWhole = false;
        const qlonglong whole = text.toLongLong(&isWhole);
        return isWhole ? QVariant(whole) : QVariant(text);
    }
    case ColumnKind::Fraction:
        return text.toDouble();
    case ColumnKind::Date: {
        const QDate date = QDate::fromString(text.left(10), Qt::ISODate);
        return date.isValid() ? QVariant(date) : QVariant();
    }
    case ColumnKind::DateTime: {
        const QDateTime time = QDateTime::fromString(text, Qt::ISODateWithMs);
        return time.isValid() ? QVariant(time.toLocalTime()) : QVariant();
    }
    case ColumnKind::PaddedText:
        return withoutPadding(text);
    case ColumnKind::Text:
    case ColumnKind::Octets:
        break;
    }
    return text;
}

qint64 payloadOctets(const QVariantList &values)
{
    constexpr qint64 utf8OctetsPerUnit = 3;
    qint64 octets = 0;
    for (const QVariant &value : values) {
        if (value.typeId() == QMetaType::QString)
            octets += value.toString().size() * utf8OctetsPerUnit;
        else if (value.typeId() == QMetaType::QByteArray)
            octets += value.toByteArray().size();
    }
    return octets;
}

QString localZoneName()
{
    return QString::fromLatin1(QTimeZone::systemTimeZoneId());
}

QString localZoneOffset()
{
    const int minutes = QDateTime::currentDateTime().offsetFromUtc() / 60;
    return (minutes < 0 ? u'-' : u'+') + u"%1:%2"_s.arg(std::abs(minutes) / 60, 2, 10, QChar(u'0'))
                                             .arg(std::abs(minutes) % 60, 2, 10, QChar(u'0'));
}
