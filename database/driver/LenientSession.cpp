#include "database/driver/LenientSession.h"

#include <QScopeGuard>

using namespace Qt::StringLiterals;

void LenientSession::recognise(const SqlDialect &dialect)
{
    if (dialect.leniencyQuery().isEmpty())
        return;
    const auto question = m_driver.prepare(dialect.leniencyQuery());
    question->execute({});
    if (question->next() && question->value(0).toInt() != 0)
        m_dialect = &dialect;
}

bool LenientSession::concerns(const QString &sql) const
{
    return m_dialect && (sql.startsWith("insert"_L1, Qt::CaseInsensitive) ||
                         sql.startsWith("update"_L1, Qt::CaseInsensitive));
}

LenientSession::Stored LenientSession::run(const QString &sql, bool isInTransaction,
                                           const std::function<void()> &execute)
{
    if (isInTransaction) {
        execute();
        return requireUncut(sql);
    }
    m_driver.begin();
    auto takeBack = qScopeGuard([this] { m_driver.rollback(); });
    execute();
    const Stored stored = requireUncut(sql);
    takeBack.dismiss();
    m_driver.commit();
    return stored;
}

LenientSession::Stored LenientSession::requireUncut(const QString &sql)
{
    Stored stored = Stored::AsItIs;
    const QList<Warning> warnings = m_readWarnings(m_dialect->warningsQuery());
    for (const Warning &warning : warnings) {
        // Blanks cut from an end are no more than a note.
        if (warning.level != "Warning"_L1)
            continue;
        if (m_dialect->tellsCutValue(warning.number))
            throw DatabaseFault(
                DatabaseFault::Kind::Refused,
                u"%1：%2 [%3]"_s.arg(sql.left(shownSqlLength), warning.text).arg(warning.number));
        if (m_dialect->causeOf({{}, warning.number}) == DatabaseFault::Cause::Characters)
            stored = Stored::WithOtherCharacters;
    }
    return stored;
}
