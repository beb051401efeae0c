#include "foundation/UserValues.h"

using namespace Qt::StringLiterals;

namespace
{

/// Texts that a database may take for equal (other letter case, width or accents, blanks at the end) come out
/// the same. The converse need not hold.
QString coarse(const QString &text)
{
    QString folded;
    const QString decomposed = text.normalized(QString::NormalizationForm_KD).toCaseFolded();
    for (const QChar character : decomposed) {
        if (character.isLetterOrNumber())
            folded += character;
    }
    return folded;
}

QString key(const QString &userName, const QString &type)
{
    return coarse(userName) + u'|' + coarse(type);
}

} // namespace

UserValues::UserValues(Connection &connection, const QString &table, const QString &typeColumn,
                       const QString &valueColumn)
    : m_connection(connection),
      m_question(u"select %3 from %1 where UserName=? and %2=?"_s.arg(table, typeColumn, valueColumn))
{
    connection.scan(u"select UserName, %2, %3 from %1"_s.arg(table, typeColumn, valueColumn), {},
                    [this](const Statement &row) {
                        if (row.value(0).isNull() || row.value(1).isNull())
                            return true; // equal to nothing
                        const QString userName = row.value(0).toString();
                        const QString type = row.value(1).toString();
                        const QString place = key(userName, type);
                        if (const auto known = m_rows.find(place); known != m_rows.end())
                            known->hasRivals = true;
                        else
                            m_rows.insert(place, {userName, type, row.value(2), false});
                        return true;
                    });
}

std::optional<QVariant> UserValues::value(const QString &userName, const QString &type) const
{
    const auto row = m_rows.constFind(key(userName, type));
    if (row == m_rows.cend())
        return std::nullopt;
    if (!row->hasRivals && row->userName == userName && row->type == type)
        return row->value;
    return m_connection.firstValue(m_question, {userName, type});
}
