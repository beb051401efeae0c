#include "database/driver/Driver.h"

using namespace Qt::StringLiterals;

void Driver::setLockLimit(std::chrono::milliseconds limit)
{
    const QStringList statements = dialect().lockLimit(limit);
    for (const QString &statement : statements)
        runPlain(statement);
}

void Driver::begin()
{
    beginWriting();
    m_isInTransaction = true;
}

void Driver::commit()
{
    endWriting(true);
    m_isInTransaction = false;
}

void Driver::rollback() noexcept
{
    m_isInTransaction = false;
    try {
        endWriting(false);
    } catch (const DatabaseFault &) {
        // A transaction that cannot be rolled back is gone with its connection.
    }
}

void Driver::beginWriting()
{
    runPlain(dialect().verbs().begin);
}

void Driver::endWriting(bool isKept)
{
    runPlain(isKept ? dialect().verbs().commit : dialect().verbs().rollback);
}

void Driver::setSavepoint(const QString &name)
{
    if (const QString savepoint = dialect().verbs().savepoint; !savepoint.isEmpty())
        runPlain(savepoint.arg(name));
}

void Driver::releaseSavepoint(const QString &name)
{
    if (const QString release = dialect().verbs().release; !release.isEmpty())
        runPlain(release.arg(name));
}

void Driver::rollbackToSavepoint(const QString &name)
{
    if (dialect().verbs().savepoint.isEmpty())
        throw DatabaseFault(DatabaseFault::Kind::Refused, u"数据库没有保存点，只能撤销整个事务"_s);
    runPlain(dialect().verbs().rollbackTo.arg(name));
}

DatabaseFault Driver::faultOf(const QString &what, const SqlErrorCode &code, const QString &words) const
{
    // What is in the lines below can be the values of the statement.
    QString text = what.left(shownSqlLength) + u"："_s + words.section(u'\n', 0, 0).trimmed();
    QStringList codes;
    if (!code.state.isEmpty())
        codes += code.state;
    if (code.number != 0)
        codes += QString::number(code.number);
    if (!codes.isEmpty())
        text += " ["_L1 + codes.join(u' ') + u']';
    return {dialect().kindOf(code), text, dialect().causeOf(code)};
}

qint64 Driver::lastRowCount()
{
    throw DatabaseFault(DatabaseFault::Kind::Refused, u"数据库没有告知改动了多少条记录"_s);
}
