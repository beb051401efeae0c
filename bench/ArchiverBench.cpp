#include "bench/Measure.h"
#include "bench/OutgoingBenches.h"
#include "outgoing/ResultArchiver.h"
#include "tests/support/TestOffice.h"

#include <QSqlDatabase>
#include <QSqlQuery>

using namespace Qt::StringLiterals;

namespace
{

constexpr int rowCount = 20000;

void fill(TestOffice &office)
{
    office.oa(u"begin"_s);
    for (int i = 0; i < rowCount; ++i)
        office.oa(u"insert into SMS_Queues (SOAID, ToUser, ToMB, MsgContent, MsgStatus, RetryCount)"
                  " values (1, 'user', '13800000000', ?, 8, 0)"_s,
                  {QString(70, u'长')});
    office.oa(u"commit"_s);
    office.makeDurable();
}

double archiverSeconds()
{
    TestOffice office;
    fill(office);
    ResultArchiver archiver(office.session, office.console, office.faults, office.clock);
    return secondsOf([&] { archiver.pass(); });
}

/// The same statements, prepared once directly on QtSql, one transaction a row.
double bareSeconds()
{
    TestOffice office;
    fill(office);
    double seconds = 0;
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"bare"_s);
        database.setDatabaseName(office.databaseFile());
        database.open();
        QSqlQuery(database).exec(u"pragma synchronous=full"_s);
        QSqlQuery insert(database);
        insert.prepare(u"insert into SMS_ResultDetail (SOAID, ToUser, ToMB, SendOutDT, IsSuccess, MsgContent)"
                       " values (?, ?, ?, ?, ?, ?)"_s);
        QSqlQuery remove(database);
        remove.prepare(u"delete from SMS_Queues where OAID=?"_s);
        seconds = secondsOf([&] {
            QSqlQuery queue(database);
            queue.exec(
                u"select OAID, SOAID, ToUser, ToMB, MsgContent from SMS_Queues where MsgStatus<>'0'"_s);
            QList<QVariantList> rows;
            while (queue.next())
                rows += {queue.value(0), queue.value(1), queue.value(2), queue.value(3), queue.value(4)};
            queue.finish();
            for (const QVariantList &row : std::as_const(rows)) {
                QSqlQuery plain(database);
                plain.exec(u"begin immediate"_s);
                insert.bindValue(0, row[1]);
                insert.bindValue(1, row[2]);
                insert.bindValue(2, row[3]);
                insert.bindValue(3, u"2006-03-05 07:08:09"_s);
                insert.bindValue(4, u"1"_s);
                insert.bindValue(5, row[4]);
                insert.exec();
                remove.bindValue(0, row[0]);
                remove.exec();
                plain.exec(u"commit"_s);
            }
        });
    }
    QSqlDatabase::removeDatabase(u"bare"_s);
    return seconds;
}

} // namespace

bool benchArchiver()
{
    const Rivals best = bestOf(1, archiverSeconds, bareSeconds);
    report(u"archiver: 20,000 rows, one transaction each"_s, best.ours, u"s"_s, true,
           u"bare %1 s"_s.arg(best.bare));
    const double ratio = best.bare / best.ours;
    return report(u"archiver: speed against the bare loop"_s, ratio, u"x"_s, ratio >= 0.7, u"at least 0.7"_s);
}
