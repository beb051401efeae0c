#include "tests/support/OfficeAtWork.h"

#include "foundation/Settings.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace
{

/// Short enough for tests, long enough for a busy machine.
ModemLimits shortLimits()
{
    ModemLimits limits;
    limits.prompt = std::chrono::milliseconds(700);
    limits.sendResult = std::chrono::milliseconds(700);
    limits.straggler = std::chrono::milliseconds(300);
    limits.lateReference = std::chrono::milliseconds(300);
    return limits;
}

} // namespace

OfficeAtWork::OfficeAtWork(TestServers &servers, DatabaseRoute route, SchemaKind kind,
                           const QString &extraKeys)
    : database(servers, route),
      schema(database, kind),
      modem(
          clock, [this](int) { return m_simulator->devicePath(); }, nullptr, shortLimits())
{
    schema.load();
    m_registry.write(Settings::connectStringPath(), database.connectString() + extraKeys);
    if (!session.OpenDB())
        throw Fault(session.openFailure());
    QObject::connect(&modem, &ModemControl::notice, &modem,
                     [this](const QString &text) { console.addLogLine(text); });
}

OfficeAtWork::~OfficeAtWork() = default;

void OfficeAtWork::set(const QString &name, const QString &value)
{
    m_registry.write(Settings::localPath(QLatin1String(name.toLatin1())), value);
}

void OfficeAtWork::holdElsewhere(const QString &lock)
{
    m_otherLock.reset();
    if (lock.isEmpty())
        return;
    m_otherServer.open(database.connectString());
    m_otherLock.emplace(m_otherServer);
    if (!m_otherLock->tryTake(lock))
        throw Fault(lock + u" is held"_s);
}

SimulatorProcess &OfficeAtWork::simulator()
{
    if (!m_simulator) {
        m_simulator.emplace();
        modem.setPortNumber(3);
        modem.setServiceCentre(u"+8613800755500"_s);
        modem.setSenderCountryCode(u"86"_s);
        if (modem.open() != 0)
            throw Fault(console.takeLog().join(u'\n'));
    }
    return *m_simulator;
}

void OfficeAtWork::add(const QString &table, const QString &columns, const QVariantList &values)
{
    QStringList marks;
    marks.fill(u"?"_s, values.size());
    database.oa(schema.spelled(u"insert into %1 (%2)"_s.arg(table, columns)) +
                    u" values (%1)"_s.arg(marks.join(u',')),
                values);
}

QStringList OfficeAtWork::rows(const QString &table, const QString &columns)
{
    static const QRegularExpression padding(u" +(?=\\||$)"_s);
    static const QRegularExpression dateAlone(u"(?<=^|\\|)(\\d{4}-\\d\\d-\\d\\d)(?=\\||$)"_s);
    const QString key = table == u"VO_Email" ? u"VOID"_s : u"OAID"_s;
    QStringList rows =
        database.rows(schema.spelled(u"select %1 from %2 order by %3"_s.arg(columns, table, key)));
    if (schema.kind() == SchemaKind::Sample)
        return rows;
    for (QString &row : rows)
        row.remove(padding).replace(dateAlone, u"\\1 00:00:00"_s);
    return rows;
}

void OfficeAtWork::refuse(const QString &event, const QString &table, const QString &column,
                          const QString &value, bool isIgnored)
{
    const QString row = event == u"insert" ? u"new."_s : u"old."_s;
    const QString when = column.isEmpty() ? u"1=1"_s : u"%1%2='%3'"_s.arg(row, column, value);
    const QString head = u"create trigger t before %1 on %2 "_s.arg(event, table);
    if (database.isMariaDb())
        database.oa(head +
                    u"for each row begin if %1 then signal sqlstate '45000' set message_text = 'broken';"
                    " end if; end"_s.arg(when));
    else if (database.isPostgreSql()) {
        database.oa(u"create or replace function refuse() returns trigger language plpgsql as"
                    " 'begin raise exception ''broken''; end'"_s);
        database.oa(head + u"for each row when (%1) execute function refuse()"_s.arg(when));
    } else
        database.oa(head + u"when %1 begin select raise(%2); end"_s.arg(
                               when, isIgnored ? u"ignore"_s : u"abort, 'broken'"_s));
    m_refusedTable = table;
}

void OfficeAtWork::allowAll()
{
    database.oa(database.isPostgreSql() ? u"drop trigger t on "_s + m_refusedTable : u"drop trigger t"_s);
}
