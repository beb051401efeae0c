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
    runPlain(dialect().verbs().begin);
    m_isInTransaction = true;
}

void Driver::commit()
{
    runPlain(dialect().verbs().commit);
    m_isInTransaction = false;
}

void Driver::rollback() noexcept
{
    m_isInTransaction = false;
    try {
        runPlain(dialect().verbs().rollback);
    } catch (const DatabaseFault &) {
        // A transaction that cannot be rolled back is gone with its connection.
    }
}

void Driver::setSavepoint(const QString &name)
{
    runPlain(dialect().verbs().savepoint.arg(name));
}

void Driver::releaseSavepoint(const QString &name)
{
    if (const QString release = dialect().verbs().release; !release.isEmpty())
        runPlain(release.arg(name));
}

void Driver::rollbackToSavepoint(const QString &name)
{
    runPlain(dialect().verbs().rollbackTo.arg(name));
}

qint64 Driver::lastRowCount()
{
    throw DatabaseFault(DatabaseFault::Kind::Refused, u"数据库没有告知改动了多少条记录"_s);
}
