#include "database/LenientSession.h"

#include <QScopeGuard>

using namespace Qt::StringLiterals;

namespace
{

/// Enough of a statement to recognise it in a fault's text.
constexpr int shownSqlLength = 120;

} // namespace

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

void LenientSession::run(const QString &sql, const std::function<void()> &execute)
{
    if (m_inTransaction) {
        execute();
        requireUncut(sql);
        return;
    }
    m_driver.begin();
    auto takeBack = qScopeGuard([this] { m_driver.rollback(); });
    execute();
    requireUncut(sql);
    takeBack.dismiss();
    m_driver.commit();
}

void LenientSession::requireUncut(const QString &sql)
{
    const QList<Warning> warnings = m_readWarnings(m_dialect->warningsQuery());
    for (const Warning &warning : warnings) {
        // Blanks cut from an end are no more than a note.
        if (warning.level == "Warning"_L1 && m_dialect->tellsCutValue(warning.number))
            throw DatabaseFault(
                DatabaseFault::Kind::Refused,
                u"%1：%2 [%3]"_s.arg(sql.left(shownSqlLength), warning.text).arg(warning.number));
    }
}
