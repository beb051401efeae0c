#include "database/driver/StorableTexts.h"

#include <QRegularExpression>
#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

bool isAscii(const QString &text)
{
    return std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() < 0x80; });
}

/// PostgreSQL's name of an encoding as iconv knows it; "" for one that holds everything or takes anything.
QByteArray iconvName(const QString &serverName)
{
    const QString name = serverName.toUpper();
    if (name == "UTF8"_L1 || name == "SQL_ASCII"_L1 || name == "MULE_INTERNAL"_L1)
        return {};
    if (name.startsWith("WIN"_L1))
        return "CP" + name.mid(3).toLatin1();
    if (name.startsWith("KOI8"_L1))
        return "KOI8-" + name.mid(4).toLatin1();
    return QString(name).replace(u'_', u'-').toLatin1();
}

} // namespace

void StorableTexts::setEncoding(const QString &serverName)
{
    const QByteArray name = iconvName(serverName);
    m_encoding = name.isEmpty() ? CharacterSet() : CharacterSet(name);
    if (m_encoding.holdsAll())
        return;
    // Two tables of GB 2312 are in use: iconv takes either's characters, PostgreSQL only one's.
    for (const char32_t character : {U'\u00b7', U'\u2014', U'\u301c'}) {
        if (name == "EUC-CN")
            m_encoding.exclude(character);
    }
}

bool StorableTexts::fit(const QString &sql, QVariantList &bound)
{
    if (m_encoding.holdsAll())
        return true;
    std::optional<QList<NameResolver::Column>> parameters;
    for (qsizetype i = 0; i < bound.size(); ++i) {
        if (bound[i].typeId() != QMetaType::QString || m_encoding.holds(bound[i].toString()))
            continue;
        if (!parameters)
            parameters = m_names.storedParameters(sql);
        const auto column = parameters->value(i);
        if (column.name.isEmpty())
            return false;
        bound[i] = m_encoding.fitted(bound[i].toString());
        m_replacedTables += column.table;
    }
    return true;
}

StorableTexts::Remedy StorableTexts::fitRefused(const QString &sql, QVariantList &bound,
                                                const DatabaseFault &refusal)
{
    if (!m_encoding.holdsAll())
        return learn(sql, bound, refusal.message());
    bool isReplaced = false;
    bool isCompared = false;
    const auto parameters = m_names.storedParameters(sql);
    for (qsizetype i = 0; i < bound.size(); ++i) {
        if (bound[i].typeId() != QMetaType::QString || isAscii(bound[i].toString()))
            continue;
        const auto column = parameters.value(i);
        isCompared |= column.name.isEmpty();
        if (column.characterSet.isEmpty())
            continue;
        const QString fitted = m_ask(column.characterSet, bound[i].toString());
        if (fitted == bound[i].toString())
            continue;
        bound[i] = fitted;
        m_replacedTables += column.table;
        isReplaced = true;
    }
    if (isReplaced)
        return Remedy::Replaced;
    return isCompared ? Remedy::FindsNothing : Remedy::None;
}

/// The refusal names the character by its octets in UTF-8.
StorableTexts::Remedy StorableTexts::learn(const QString &sql, QVariantList &bound, const QString &refusal)
{
    static const QRegularExpression octets(u"0x([0-9a-f]{2}(?: 0x[0-9a-f]{2})*)"_s);
    const QString hexadecimal = octets.match(refusal).captured(1).remove("0x"_L1);
    const QList<uint> character = QString::fromUtf8(QByteArray::fromHex(hexadecimal.toLatin1())).toUcs4();
    if (character.isEmpty() || !m_encoding.exclude(character.first()))
        return Remedy::None;
    return fit(sql, bound) ? Remedy::Replaced : Remedy::FindsNothing;
}

void StorableTexts::noteReplaced(const QString &sql)
{
    for (const auto &column : m_names.storedParameters(sql)) {
        if (!column.table.isEmpty()) {
            m_replacedTables += column.table;
            return;
        }
    }
}

QStringList StorableTexts::takeReplacedTables()
{
    m_replacedTables.removeDuplicates();
    return std::exchange(m_replacedTables, {});
}
