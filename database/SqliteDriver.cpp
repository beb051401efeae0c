#include "database/SqliteDriver.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QUrl>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

SqliteDriver::SqliteDriver(QString fileName) : QtSqlDriver(u"QSQLITE"_s), m_fileName(std::move(fileName)) {}

void SqliteDriver::open()
{
    if (!QFileInfo::exists(m_fileName))
        throw DatabaseFault(DatabaseFault::Kind::Lost, u"数据库文件 %1 不存在"_s.arg(m_fileName));
    QSqlDatabase db = database();
    // mode=rw: never create a missing file.
    const QString path = QFileInfo(m_fileName).absoluteFilePath();
    db.setDatabaseName("file:"_L1 + QString::fromLatin1(QUrl::toPercentEncoding(path, "/")) + "?mode=rw"_L1);
    db.setConnectOptions(u"QSQLITE_OPEN_URI;QSQLITE_BUSY_TIMEOUT=%1"_s.arg(busyLimitMilliseconds));
    if (!db.open())
        throw DatabaseFault(DatabaseFault::Kind::Lost,
                            u"无法打开数据库文件 %1：%2"_s.arg(m_fileName, db.lastError().databaseText()));
    m_openedFile = fileIdentity();
    // A file that is no database opens all the same; the first statement tells.
    runPlain(u"select count(*) from sqlite_master"_s);
}

bool SqliteDriver::isUsable() const
{
    return fileIdentity() == m_openedFile;
}

void SqliteDriver::begin()
{
    runPlain(u"BEGIN IMMEDIATE"_s);
}

std::unique_ptr<Statement> SqliteDriver::prepare(const QString &sql)
{
    return QtSqlDriver::prepare(withColumnNames(sql));
}

QString SqliteDriver::withColumnNames(const QString &sql)
{
    static const QRegularExpression allColumns(u"^select \\* from (\\w+)"_s,
                                               QRegularExpression::CaseInsensitiveOption);
    const auto match = allColumns.match(sql);
    if (!match.hasMatch())
        return sql;
    const auto query = QtSqlDriver::prepare(u"select name from pragma_table_info(?)"_s);
    query->execute({match.captured(1)});
    QStringList columns;
    while (query->next())
        columns += u'"' + query->value(0).toString().replace(u'"', "\"\""_L1) + u'"';
    const QString from = sql.mid(match.capturedStart(1));
    return columns.isEmpty() ? sql : "select "_L1 + columns.join(u',') + " from "_L1 + from;
}

QString SqliteDriver::updateOfFirstRow(const QString &table, const QString &assignments,
                                       const QString &condition) const
{
    return u"update %1 set %2 where rowid=(select rowid from %1 where %3 limit 1)"_s.arg(table, assignments,
                                                                                         condition);
}

DatabaseFault::Kind SqliteDriver::kindOf(const QSqlError &error) const
{
    // Result codes of SQLite; the low byte is the primary code.
    switch (error.nativeErrorCode().toInt() & 0xff) {
    case 5:  // SQLITE_BUSY
    case 6:  // SQLITE_LOCKED
    case 7:  // SQLITE_NOMEM
    case 8:  // SQLITE_READONLY
    case 13: // SQLITE_FULL
        return DatabaseFault::Kind::Unavailable;
    case 10: // SQLITE_IOERR
    case 11: // SQLITE_CORRUPT
    case 14: // SQLITE_CANTOPEN
    case 26: // SQLITE_NOTADB
        return DatabaseFault::Kind::Lost;
    default:
        return DatabaseFault::Kind::Refused;
    }
}

QByteArray SqliteDriver::fileIdentity() const
{
    struct stat status {
    };
    if (::stat(QFile::encodeName(m_fileName).constData(), &status) != 0)
        return {};
    return QByteArray::number(quint64(status.st_dev)) + ':' + QByteArray::number(quint64(status.st_ino));
}
