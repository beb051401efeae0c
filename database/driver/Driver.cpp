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
    runPlain(dialect().traits().begin);
}

void Driver::endWriting(bool isKept)
{
    runPlain(isKept ? dialect().traits().commit : dialect().traits().rollback);
}

void Driver::step(QString SystemTraits::*verb, const QString &name)
{
    const QString statement = dialect().traits().*verb;
    if (!statement.isEmpty())
        runPlain(statement.arg(name));
    else if (verb == &SystemTraits::rollbackTo)
        throw DatabaseFault(DatabaseFault::Kind::Refused, u"数据库没有保存点，只能撤销整个事务"_s);
}

QString Driver::identityInsert(const QString &insert, const QString &identityColumn) const
{
    const QString form = dialect().traits().identityInsert;
    return form.isEmpty() ? insert : QString(form).replace("%1"_L1, insert).replace("%2"_L1, identityColumn);
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
