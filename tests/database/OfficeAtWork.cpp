#include "tests/database/OfficeAtWork.h"

#include "foundation/Settings.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

OfficeAtWork::OfficeAtWork(TestServers &servers, DatabaseRoute route, SchemaKind kind,
                           const QString &extraKeys)
    : database(servers, route), schema(database, kind)
{
    schema.load();
    m_registry.write(Settings::connectStringPath(), database.connectString() + extraKeys);
    if (!session.OpenDB())
        throw Fault(session.openFailure());
    QObject::connect(&modem, &ModemControl::notice, &modem,
                     [this](const QString &text) { console.addLogLine(text); });
    modem.setPortNumber(3);
    modem.setServiceCentre(u"+8613800755500"_s);
    modem.setSenderCountryCode(u"86"_s);
    if (modem.open() != 0)
        throw Fault(console.takeLog().join(u'\n'));
}

OfficeAtWork::~OfficeAtWork() = default;

void OfficeAtWork::add(const QString &table, const QString &columns, const QVariantList &values)
{
    QStringList marks;
    marks.fill(u"?"_s, values.size());
    database.oa(schema.spelled(u"insert into %1 (%2)"_s.arg(table, columns)) +
                    u" values (%1)"_s.arg(marks.join(u',')),
                values);
}

QStringList OfficeAtWork::rows(const QString &table, const QString &columns, const QString &key)
{
    static const QRegularExpression padding(u" +(?=\\||$)"_s);
    static const QRegularExpression dateAlone(u"(?<=^|\\|)(\\d{4}-\\d\\d-\\d\\d)(?=\\||$)"_s);
    QStringList rows =
        database.rows(schema.spelled(u"select %1 from %2 order by %3"_s.arg(columns, table, key)));
    for (QString &row : rows)
        row.remove(padding).replace(dateAlone, u"\\1 00:00:00"_s);
    return rows;
}
