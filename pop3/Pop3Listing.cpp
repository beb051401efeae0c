#include "pop3/Pop3Listing.h"

#include <algorithm>

namespace
{

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

/// Calls use(message number, rest of the line) for every line that starts with a number from 1 to most.
template <typename Use>
void forEachLine(QByteArrayView content, int most, Use use)
{
    while (!content.isEmpty()) {
        const qsizetype end = content.indexOf('\n');
        const QByteArrayView line = content.first(end < 0 ? content.size() : end).trimmed();
        content = content.sliced(end < 0 ? content.size() : end + 1);
        const qsizetype blank = std::find_if(line.begin(), line.end(), isBlank) - line.begin();
        bool isNumber = false;
        const int number = line.first(blank).toInt(&isNumber);
        if (isNumber && number >= 1 && number <= most)
            use(number, line.sliced(blank).trimmed());
    }
}

QString storedForm(QByteArrayView uid)
{
    QByteArray form;
    for (const char c : uid) {
        const auto octet = static_cast<unsigned char>(c);
        if (octet >= 0x20 && octet < 0x7F)
            form += c;
        else
            form += '%' + QByteArray::number(octet, 16).rightJustified(2, '0').toUpper();
    }
    return QString::fromLatin1(form);
}

} // namespace

QList<QString> parseUidl(QByteArrayView content, int most)
{
    QList<QString> uids;
    forEachLine(content, most, [&uids](int number, QByteArrayView uid) {
        if (uids.size() < number)
            uids.resize(number);
        if (uids.at(number - 1).isNull() && !uid.isEmpty())
            uids[number - 1] = storedForm(uid);
    });
    return uids;
}

QList<qint64> parseList(QByteArrayView content, int most)
{
    QList<qint64> sizes;
    forEachLine(content, most, [&sizes](int number, QByteArrayView size) {
        while (sizes.size() < number)
            sizes.append(-1);
        bool isNumber = false;
        const qint64 octets = size.toLongLong(&isNumber);
        if (isNumber && octets >= 0)
            sizes[number - 1] = octets;
    });
    return sizes;
}
