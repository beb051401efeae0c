#include "tests/support/Office.h"

#include "database/driver/BoundValue.h"
#include "foundation/Settings.h"

#include <QFile>
#include <QRegularExpression>
#include <QSqlError>
#include <QSqlRecord>

using namespace Qt::StringLiterals;

namespace
{

QString shown(const QVariant &value)
{
    if (value.isNull())
        return u"NULL"_s;
    if (value.typeId() != QMetaType::QDateTime)
        return value.toString();
    // Newer QtSql takes what has no zone for UTC.
    const QDateTime time = value.toDateTime();
    return (time.timeSpec() == Qt::UTC ? time : time.toLocalTime()).toString(u"yyyy-MM-dd HH:mm:ss"_s);
}

/// Short enough for tests, long enough for a busy machine.
ModemLimits shortLimits()
{
    ModemLimits limits;
    limits.prompt = std::chrono::milliseconds(700);
    limits.sendResult = std::chrono::milliseconds(700);
    limits.straggler = std::chrono::milliseconds(300);
    limits.lateReference = std::chrono::milliseconds(300);
    limits.waitRetry = std::chrono::milliseconds(200);
    return limits;
}

} // namespace

Office::Office(DatabaseRoute route, SchemaKind kind, const QString &creation)
    : m_route(route), m_schema(route, kind)
{
    static int number = 0;
    const QString name = u"oa_%1"_s.arg(++number);
    m_oaConnection = "oa-system-"_L1 + name;
    if (isSqlite()) {
        openOaSystem(databaseFile());
        // Tests commit thousands of times and never lose power.
        run(u"pragma synchronous=off"_s);
        m_connectString = (isOdbc(route) ? u"DRIVER={SQLite3};Database=%1;Timeout=3000;NoWCHAR=0"_s
                                         : u"Provider=SQLite;Data Source=\"%1\""_s)
                              .arg(databaseFile());
    } else {
        const PrivateDatabaseServer &server = serverOf(route);
        openOaSystem(server.firstDatabase());
        run("create database "_L1 + name + (isMariaDb() ? u" character set utf8mb4"_s : u" "_s) + creation);
        openOaSystem(name);
        m_connectString = isOdbc(route) ? server.odbcConnectString(name) : server.nativeConnectString(name);
    }
    for (const QString &statement : m_schema.statements())
        run(statement);
    registry.write(Settings::connectStringPath(), m_connectString);
    if (!session.OpenDB())
        throw Fault(session.openFailure());
    if (route == DatabaseRoute::Sqlite)
        session.Conn().execute(u"pragma synchronous=off"_s);
}

Office::~Office()
{
    QSqlDatabase::database(m_oaConnection, false).close();
    QSqlDatabase::removeDatabase(m_oaConnection);
}

void Office::openOaSystem(const QString &database)
{
    m_oaDatabase = database;
    if (QSqlDatabase::contains(m_oaConnection))
        QSqlDatabase::removeDatabase(m_oaConnection);
    const QString driver = isSqlite() ? u"QSQLITE"_s : isPostgreSql() ? u"QPSQL"_s : u"QMYSQL"_s;
    QSqlDatabase oa = QSqlDatabase::addDatabase(driver, m_oaConnection);
    oa.setDatabaseName(database);
    if (!isSqlite()) {
        oa.setHostName(u"127.0.0.1"_s);
        oa.setPort(serverOf(m_route).port());
    }
    if (!oa.open(PrivateDatabaseServer::user(), PrivateDatabaseServer::password()))
        throw Fault(oa.lastError().text());
    // The OA system's clock is this machine's.
    const QString offset = localZoneOffset();
    if (isPostgreSql())
        run(u"set time zone interval '%1' hour to minute"_s.arg(offset));
    else if (isMariaDb())
        run(u"set time_zone='%1'"_s.arg(offset));
}

void Office::reopen()
{
    openOaSystem(m_oaDatabase);
}

QSqlQuery Office::run(const QString &sql, const QVariantList &values)
{
    QSqlQuery query(QSqlDatabase::database(m_oaConnection, false));
    // Some statements cannot be prepared.
    bool isDone = values.isEmpty() ? query.exec(sql) : query.prepare(sql);
    for (const QVariant &value : values)
        query.addBindValue(value);
    isDone = isDone && (values.isEmpty() || query.exec());
    if (!isDone)
        throw Fault(sql + u": "_s + query.lastError().text());
    return query;
}

void Office::oa(const QString &sql, const QVariantList &values)
{
    run(m_schema.spelled(sql), values);
}

QStringList Office::rows(const QString &query, const QVariantList &values)
{
    static const QRegularExpression padding(u" +(?=\\||$)"_s);
    static const QRegularExpression dateAlone(u"(?<=^|\\|)(\\d{4}-\\d\\d-\\d\\d)(?=\\||$)"_s);
    QSqlQuery result = run(m_schema.spelled(query), values);
    QStringList rows;
    while (result.next()) {
        QStringList row;
        for (int column = 0; column < result.record().count(); ++column)
            row += shown(result.value(column));
        rows += row.join(u'|');
        if (m_schema.kind() != SchemaKind::Sample && m_schema.kind() != SchemaKind::None)
            rows.last().remove(padding).replace(dateAlone, u"\\1 00:00:00"_s);
    }
    return rows;
}

QStringList Office::table(const QString &name, const QString &columns)
{
    return rows(
        u"select %1 from %2 order by %3"_s.arg(columns, name, name == u"VO_Email" ? u"VOID"_s : u"OAID"_s));
}

void Office::addRow(const QString &table, const QString &columns, const QVariantList &values)
{
    const QString marks = QStringList(values.size(), u"?"_s).join(u',');
    oa(u"insert into %1 (%2) values (%3)"_s.arg(table, columns, marks), values);
}

void Office::add(const QString &table, const QString &columns, const QStringList &rows)
{
    for (const QString &row : rows) {
        QVariantList values;
        for (const QString &value : row.split(u'|'))
            values += value == u"NULL" ? QVariant() : QVariant(value);
        addRow(table, columns, values);
    }
}

void Office::refuse(const QString &event, const QString &table, const QString &column, const QString &value,
                    bool isIgnored)
{
    const QString row = event == u"insert" ? u"new."_s : u"old."_s;
    const QString when = column.isEmpty() ? u"1=1"_s : u"%1%2='%3'"_s.arg(row, column, value);
    const QString head = u"create trigger t before %1 on %2 "_s.arg(event, table);
    if (isMariaDb())
        run(head + u"for each row begin if %1 then signal sqlstate '45000' set message_text = 'broken';"
                   " end if; end"_s.arg(when));
    else if (isPostgreSql()) {
        run(u"create or replace function refuse() returns trigger language plpgsql as"
            " 'begin raise exception ''broken''; end'"_s);
        run(head + u"for each row when (%1) execute function refuse()"_s.arg(when));
    } else
        run(head + u"when %1 begin select raise(%2); end"_s.arg(when, isIgnored ? u"ignore"_s
                                                                                : u"abort, 'broken'"_s));
    m_refusedTable = table;
}

void Office::allowAll()
{
    run(isPostgreSql() ? u"drop trigger t on "_s + m_refusedTable : u"drop trigger t"_s);
}

void Office::makeDurable()
{
    if (m_route == DatabaseRoute::Sqlite)
        session.Conn().execute(u"pragma synchronous=full"_s);
}

void Office::set(const QString &name, const QString &value)
{
    registry.write(Settings::pathOf(name), value);
}

void Office::configure(const QString &centerCode, const QString &serverPort, const QString &timeDelay)
{
    registry.write(Settings::centerCodePath(), centerCode);
    registry.write(Settings::serverPortPath(), serverPort);
    registry.write(Settings::timeDelayPath(), timeDelay);
}

void Office::configureModem(const QString &device, int scanIntervalSeconds)
{
    configure(u"+8613800755500"_s, u"3"_s, QString::number(scanIntervalSeconds));
    registry.write(Settings::comDevicePath(3), device);
}

ModemControl &Office::modem()
{
    if (!m_modem) {
        m_modem.emplace(
            clock, [this](int) { return m_simulator->devicePath(); }, nullptr, shortLimits());
        m_modem->setPortNumber(3);
        m_modem->setServiceCentre(u"+8613800755500"_s);
        m_modem->setSenderCountryCode(u"86"_s);
        QObject::connect(&*m_modem, &ModemControl::notice, &*m_modem,
                         [this](const QString &text) { console.addLogLine(text); });
    }
    return *m_modem;
}

SimulatorProcess &Office::simulator()
{
    if (!m_simulator) {
        m_simulator.emplace();
        if (modem().open() != 0)
            throw Fault(console.takeLog().join(u'\n'));
    }
    return *m_simulator;
}

ServicePasses &Office::passes()
{
    if (!m_passes)
        m_passes.emplace(
            ServerParts{.clock = clock,
                        .registry = registry,
                        .session = session,
                        .modem = modem(),
                        .collector = {QStringLiteral(SERVER_PROGRAM),
                                      {u"--collect-mail"_s, u"--settings"_s, registry.fileName()}},
                        .sendLedgerFile = path(u"sends"_s),
                        .inHandFile = path(u"in-hand"_s)},
            console);
    m_passes->setSettings(readServiceSettings(registry));
    return *m_passes;
}
