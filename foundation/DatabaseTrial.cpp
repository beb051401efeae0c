#include "foundation/DatabaseTrial.h"

#include "database/Recordset.h"
#include "database/Transaction.h"
#include "foundation/OfficeTables.h"

using namespace Qt::StringLiterals;

namespace
{

/// A value such as the passes store in this column. The text has to come back as it is.
QVariant sample(const QString &column)
{
    static const QStringList numbers{u"SOAID"_s,   u"RetryCount"_s, u"CurrentMaxOAID"_s, u"EOAID"_s,
                                     u"EmailID"_s, u"IsOrder"_s,    u"MsgType"_s,        u"IsSuccess"_s};
    if (numbers.contains(column))
        return 0;
    if (column.endsWith("DT"_L1))
        return u"2006-03-05 07:08:09"_s;
    return column == "MsgStatus"_L1 ? u"4"_s : u"中文"_s;
}

class Trial
{
public:
    explicit Trial(Connection &connection) : m_connection(connection)
    {
        const bool hasMailboxes = canRead(u"SA_email"_s) && hasRows(u"SA_email"_s);
        for (OfficeTable &table : officeTables()) {
            if (!hasMailboxes && table.has(OfficeTable::ForMail))
                table.inserted.clear();
            if (hasMailboxes)
                table.compared += table.comparedForMail;
            const bool isTried =
                !table.compared.isEmpty() || !table.inserted.isEmpty() || table.has(OfficeTable::DeletedFrom);
            // A table that is not there is told elsewhere.
            if (isTried && canRead(table.name))
                m_tables += table;
        }
        m_withoutTransactions = m_connection.tablesWithoutTransactions();
    }

    void withoutRows()
    {
        for (const OfficeTable &table : std::as_const(m_tables)) {
            if (isWithoutTransactions(table) && !table.inserted.isEmpty())
                m_problems +=
                    {u"数据表 %1 没有事务（例如 MyISAM），中断时短信可能丢失或重复"_s.arg(table.name),
                     u"请 OA 系统管理员改用有事务的存储引擎，例如 alter table ... engine=InnoDB"_s};
            for (const QString &column : table.compared)
                tryStatement(table, u"按 %1 查找"_s.arg(column),
                             u"select count(*) from %1 where %2=? and 1=0"_s.arg(table.name, column),
                             {u"0"_s});
            if (!table.inserted.isEmpty()) {
                const QString columns = table.inserted.join(u", "_s);
                tryStatement(table, u"插入"_s,
                             u"insert into %1 (%2) select %2 from %1 where 1=0"_s.arg(table.name, columns));
            }
            for (const QString &column : table.updated)
                tryStatement(table, u"修改"_s, u"update %1 set %2=%2 where 1=0"_s.arg(table.name, column));
            if (table.has(OfficeTable::DeletedFrom))
                tryStatement(table, u"删除"_s, u"delete from %1 where 1=0"_s.arg(table.name));
        }
    }

    void withRows()
    {
        for (const OfficeTable &table : std::as_const(m_tables)) {
            if (!table.inserted.isEmpty() && !isWithoutTransactions(table))
                attempt(table, u"插入"_s, [&] { storeRow(table); });
        }
    }

    [[nodiscard]] const QList<DatabaseProblem> &problems() const { return m_problems; }

private:
    [[nodiscard]] bool canRead(const QString &table)
    {
        try {
            return m_connection.firstValue(u"select count(*) from %1 where 1=0"_s.arg(table), {}).has_value();
        } catch (const DatabaseFault &fault) {
            if (fault.kind() == DatabaseFault::Kind::Lost)
                throw;
            if (!fault.concernsOneRow())
                addFault(table, u"读取"_s, fault);
            return false;
        }
    }

    [[nodiscard]] bool hasRows(const QString &table)
    {
        return m_connection.firstValue(u"select count(*) from %1"_s.arg(table), {})->toInt() > 0;
    }

    [[nodiscard]] bool isWithoutTransactions(const OfficeTable &table) const
    {
        return m_withoutTransactions.contains(table.name.toLower());
    }

    void tryStatement(const OfficeTable &table, const QString &action, const QString &sql,
                      const QVariantList &values = {})
    {
        attempt(table, action, [&] { static_cast<void>(m_connection.query(sql, values)); });
    }

    void attempt(const OfficeTable &table, const QString &action, const std::function<void()> &work)
    {
        try {
            work();
        } catch (const DatabaseFault &fault) {
            if (fault.kind() == DatabaseFault::Kind::Lost)
                throw;
            addFault(table.name, action, fault);
        }
    }

    void addFault(const QString &table, const QString &action, const DatabaseFault &fault)
    {
        if (fault.kind() != DatabaseFault::Kind::Refused && fault.cause() != DatabaseFault::Cause::Table) {
            m_problems += {u"数据表 %1 目前未能试%2：%3"_s.arg(table, action, fault.message()),
                           u"表或记录被他人锁定，或数据库暂时不能写入，请稍后再试"_s};
            return;
        }
        m_problems += {u"数据表 %1 不能%2：%3"_s.arg(table, action, fault.message()),
                       u"请 OA 系统管理员检查登录用户的权限、数据库是否只读以及列的类型"_s};
    }

    void storeRow(const OfficeTable &table)
    {
        static_cast<void>(m_connection.takeReplacedTables());
        const Transaction takenBack(m_connection);
        Recordset row(m_connection);
        row.openForAppend(table.name, table.has(OfficeTable::NeedsIdentity) ? table.key : QString());
        row.addNew();
        for (const QString &column : table.inserted)
            row.set(QLatin1String(column.toLatin1()), sample(column));
        row.update();
        bool isKept = m_connection.takeReplacedTables().isEmpty();
        if (table.has(OfficeTable::NeedsIdentity)) {
            const QString text = table.inserted.filter(u"Content"_s).first();
            const auto back = m_connection.firstValue(
                u"select %1 from %2 where %3=?"_s.arg(text, table.name, table.key), {row.identity()});
            isKept &= back && back->toString() == sample(text).toString();
        }
        if (!isKept)
            m_problems += {u"数据表 %1 的字符集存不下中文"_s.arg(table.name),
                           u"请 OA 系统管理员把数据库或列改为 UTF-8 等能存中文的字符集"_s};
    }

    Connection &m_connection;
    QList<OfficeTable> m_tables;
    QStringList m_withoutTransactions; // in lower case
    QList<DatabaseProblem> m_problems;
};

} // namespace

QList<DatabaseProblem> triedWithoutRows(Connection &connection)
{
    Trial trial(connection);
    trial.withoutRows();
    return trial.problems();
}

QList<DatabaseProblem> triedWithRows(Connection &connection)
{
    Trial trial(connection);
    trial.withRows();
    return trial.problems();
}
