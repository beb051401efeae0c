#include "tests/simulation/OfficeDatabase.h"

#include "tests/simulation/MemoryDisk.h"

#include <QFile>
#include <QSqlError>
#include <QSqlQuery>

using namespace Qt::StringLiterals;

namespace
{

/// The file, made once.
const QByteArray &emptyOffice()
{
    static const QByteArray image = [] {
        disk().restart(0);
        QSqlDatabase made = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"made"_s);
        made.setDatabaseName(OfficeDatabase::fileName());
        made.open();
        QFile schema(QStringLiteral(SIMULATION_SCHEMA));
        if (!schema.open(QIODevice::ReadOnly))
            qFatal("no schema at %s", qUtf8Printable(schema.fileName()));
        QStringList statements = QString::fromUtf8(schema.readAll()).split(u';', Qt::SkipEmptyParts);
        for (int user = 1; user <= 6; ++user)
            statements += u"insert into VO_UserInfor (UserName, Mobile, TureName, AccountState) "
                          "values ('u%1', '%2', '同事%1', '1')"_s.arg(user)
                              .arg(OfficeDatabase::numberOf(u"u%1"_s.arg(user)));
        for (const QString &type : {u"NB"_s, u"WB"_s, u"RC"_s})
            statements +=
                u"insert into SMS_Order (OrderName, OrderCode, DisOrderCode, IsOrder, isPulic) "
                "values ('%1%2', 'DY%1', 'QX%1', '1', '1')"_s.arg(type, type == u"RC" ? u"GL" : u"YJ");
        for (const QString &statement : statements) {
            QSqlQuery query(made);
            if (!statement.trimmed().isEmpty() && !query.exec(statement))
                qFatal("%s: %s", qUtf8Printable(statement), qUtf8Printable(query.lastError().text()));
        }
        made.close();
        return disk().find(OfficeDatabase::fileName().toUtf8())->content;
    }();
    return image;
}

} // namespace

QString OfficeDatabase::numberOf(const QString &user)
{
    return u"+8613800138"_s + user.mid(1).rightJustified(3, u'0');
}

OfficeDatabase::OfficeDatabase()
{
    const QByteArray &image = emptyOffice();
    MemoryDisk::FilePtr file;
    static_cast<void>(disk().open(fileName().toUtf8(), true, file));
    static_cast<void>(disk().write(file, 0, image));
    static_cast<void>(disk().sync(file));
    static_cast<void>(disk().syncFolder());
    m_office = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"office"_s);
    m_other = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"other"_s);
    reopen();
}

OfficeDatabase::~OfficeDatabase()
{
    for (QSqlDatabase *database : {&m_office, &m_other}) {
        const QString name = database->connectionName();
        database->close();
        *database = {};
        QSqlDatabase::removeDatabase(name);
    }
}

void OfficeDatabase::reopen()
{
    for (QSqlDatabase *database : {&m_office, &m_other}) {
        database->close();
        database->setDatabaseName(fileName());
        database->setConnectOptions(u"QSQLITE_BUSY_TIMEOUT=0"_s);
        database->open();
        QSqlQuery(u"pragma synchronous=extra"_s, *database);
    }
}

bool OfficeDatabase::change(const QString &sql, const QVariantList &values) const
{
    QSqlQuery query(m_office);
    query.prepare(sql);
    for (const QVariant &value : values)
        query.addBindValue(value);
    return query.exec() && query.numRowsAffected() != 0;
}

QStringList OfficeDatabase::rows(const QString &query) const
{
    QStringList rows;
    QSqlQuery reading(m_office);
    if (!reading.exec(query))
        qFatal("the office cannot read its tables: %s", qUtf8Printable(reading.lastError().text()));
    while (reading.next()) {
        QStringList columns;
        for (int column = 0; reading.value(column).isValid(); ++column)
            columns += reading.value(column).toString();
        rows += columns.join(u'|');
    }
    return rows;
}

bool OfficeDatabase::hold() const
{
    return QSqlQuery(u"begin immediate"_s, m_other).isActive();
}

void OfficeDatabase::letGo() const
{
    QSqlQuery(u"rollback"_s, m_other);
}
