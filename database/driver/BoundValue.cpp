#include "database/driver/BoundValue.h"

#include <QDateTime>
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

/// The next unit from here on that is half of a surrogate pair without its other half; -1 when there is none.
qsizetype unpairedSurrogate(const QString &text, qsizetype from)
{
    for (qsizetype i = from; i < text.size(); ++i) {
        if (!text[i].isSurrogate())
            continue;
        if (text[i].isLowSurrogate() || i + 1 == text.size() || !text[i + 1].isLowSurrogate())
            return i;
        ++i;
    }
    return -1;
}

QString storableText(QString text, QChar replacementForNul)
{
    if (text.isNull())
        return u""_s; // Qt's drivers would store NULL
    if (!replacementForNul.isNull() && text.contains(QChar(0)))
        text.replace(QChar(0), replacementForNul);
    for (qsizetype at = unpairedSurrogate(text, 0); at >= 0; at = unpairedSurrogate(text, at + 1))
        text[at] = QChar::ReplacementCharacter;
    return text;
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
