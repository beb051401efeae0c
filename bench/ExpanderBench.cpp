#include "bench/Measure.h"
#include "bench/OutgoingBenches.h"
#include "outgoing/MessagePieces.h"
#include "outgoing/ScheduledMessageExpander.h"
#include "tests/support/TestOffice.h"

#include <QSqlDatabase>
#include <QSqlQuery>

using namespace Qt::StringLiterals;

namespace
{

constexpr int recipientCount = 10000;

QString messageText()
{
    return QString(150, u'长');
}

QStringList recipients()
{
    QStringList names;
    for (int i = 0; i < recipientCount; ++i)
        names += u"user%1"_s.arg(i);
    return names;
}

/// An office with 10,000 users, indexed by name and number, and one waiting row to them all.
void fill(TestOffice &office)
{
    office.oa(u"begin"_s);
    for (int i = 0; i < recipientCount; ++i)
        office.oa(u"insert into VO_UserInfor (UserName, Mobile, AccountState) values (?, ?, '1')"_s,
                  {u"user%1"_s.arg(i), QString::number(13800000000LL + i)});
    office.oa(
        u"insert into SMS_WaitToSend (ToSendDT, FromUserName, ToUserList, ToNameList, CreateDT, MsgType,"
        " MsgContent) values ('2006-01-01', 'boss', ?, '', '2006-01-01', '0', ?)"_s,
        {recipients().join(u';'), messageText()});
    office.oa(u"commit"_s);
    office.makeDurable();
}

double expanderSeconds()
{
    TestOffice office;
    fill(office);
    ScheduledMessageExpander expander(office.session, office.console, office.faults, office.clock);
    return secondsOf([&] { expander.pass(); });
}

/// The same lookups and inserts, prepared once directly on QtSql, in one transaction.
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
        QSqlQuery lookup(database);
        lookup.setForwardOnly(true);
        lookup.prepare(u"select Mobile from VO_UserInfor where UserName=?"_s);
        QSqlQuery insert(database);
        insert.prepare(
            u"insert into SMS_Queues (SOAID, ToUser, ToMB, MsgContent, MsgStatus, MsgType, RetryCount)"
            " values (?, ?, ?, ?, ?, ?, ?)"_s);
        seconds = secondsOf([&] {
            QSqlQuery plain(database);
            plain.exec(u"begin immediate"_s);
            plain.exec(
                u"insert into SMS_SendList (FromUser, ToUserList, ToNameList, CreateDT, MsgType, MsgContent)"
                " select FromUserName, ToUserList, ToNameList, CreateDT, MsgType, MsgContent"
                " from SMS_WaitToSend"_s);
            const QStringList pieces = cutIntoPieces(messageText());
            const QStringList names = recipients();
            for (const QString &name : names) {
                lookup.bindValue(0, name);
                lookup.exec();
                lookup.next();
                const QString number = lookup.value(0).toString();
                lookup.finish();
                for (const QString &piece : pieces) {
                    insert.bindValue(0, 1);
                    insert.bindValue(1, name);
                    insert.bindValue(2, number);
                    insert.bindValue(3, piece);
                    insert.bindValue(4, u"0"_s);
                    insert.bindValue(5, u"0"_s);
                    insert.bindValue(6, 0);
                    insert.exec();
                }
            }
            plain.exec(u"delete from SMS_WaitToSend"_s);
            plain.exec(u"commit"_s);
        });
    }
    QSqlDatabase::removeDatabase(u"bare"_s);
    return seconds;
}

} // namespace

bool benchExpander()
{
    const Rivals best = bestOf(5, expanderSeconds, bareSeconds);
    report(u"expander: 10,000 recipients x 3 pieces"_s, best.ours, u"s"_s, true,
           u"bare %1 s"_s.arg(best.bare));
    const double ratio = best.bare / best.ours;
    return report(u"expander: speed against the bare loop"_s, ratio, u"x"_s, ratio >= 0.7, u"at least 0.7"_s);
}
