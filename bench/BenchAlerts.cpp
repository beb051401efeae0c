// bench-alerts: the new-mail alerts beside bare loops over the same database file, in one run.
//   (a) nothing new, half of 1,000 users at watermark 0: the first pass of a start against a bare scan and the
//       same look-ups; a later pass
//   (b) first pass ever, every mail for one user: alerts per second against a bare scan and inserts
//   (c) peak memory of the whole run
// bench-alerts [MAILS [BODY_BYTES]], 100,000 mails with bodies of 20,000 bytes as a rule.

#include "alerts/NewMailAlerts.h"
#include "bench/Measure.h"
#include "tests/support/Office.h"

#include <QCoreApplication>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace
{

constexpr int userCount = 1000;
constexpr int rounds = 5;

void run(QSqlQuery &query)
{
    if (!query.exec())
        throw Fault(query.lastError().text());
}

void run(QSqlDatabase &database, const QString &sql)
{
    QSqlQuery query(database);
    query.prepare(sql);
    run(query);
}

/// Every mail is for one user of the upper half, whose watermarks are at its end, and for "everybody".
void fill(QSqlDatabase &database, int mails, int bodyBytes)
{
    run(database, u"pragma synchronous=off"_s);
    database.transaction();
    run(database, u"insert into SMS_Order (OrderName, IsOrder, isPulic) values ('NBYJ', '1', '1'),"
                  " ('WBYJ', '1', '1')"_s);
    QSqlQuery user(database);
    user.prepare(
        u"insert into VO_UserInfor (UserName, Mobile, TureName, AccountState) values (?, ?, ?, ?)"_s);
    QSqlQuery watermark(database);
    watermark.prepare(u"insert into SMS_Alert_MaxOAID (UserName, Source, CurrentMaxOAID) values (?, ?, ?)"_s);
    QSqlQuery subscription(database);
    subscription.prepare(u"insert into SMS_IsOrder (UserName, Type, IsOrder) values (?, ?, '1')"_s);
    const auto addUser = [&](const QString &name, const QString &mobile, const QString &state) {
        user.addBindValue(name);
        user.addBindValue(mobile);
        user.addBindValue(u"姓名"_s + name);
        user.addBindValue(state);
        run(user);
    };
    for (int i = 0; i < userCount; ++i) {
        const QString name = u"user"_s + QString::number(i);
        addUser(name, QString::number(13800000000 + i), u"1"_s);
        for (const QString &type : {u"NBYJ"_s, u"WBYJ"_s}) {
            watermark.addBindValue(name);
            watermark.addBindValue(type);
            watermark.addBindValue(i < userCount / 2 ? 0 : mails);
            run(watermark);
            subscription.addBindValue(name);
            subscription.addBindValue(type);
            run(subscription);
        }
    }
    addUser(u"everybody"_s, u"13900000000"_s, u"0"_s);
    QSqlQuery mail(database);
    mail.prepare(
        u"insert into VO_Email (EmailSource, EmailStatus, EmailTo, EmailFrom, EmailFromName, EmailSubject,"
        " EmailContent) values (?, '1', ?, ?, 'sender', ?, ?)"_s);
    const QString body(bodyBytes, u'x');
    for (int i = 0; i < mails; ++i) {
        const bool external = i % 2 == 1;
        mail.addBindValue(external ? u"2"_s : u"1"_s);
        mail.addBindValue(u"*user%1-0-0-0*everybody-0-0-0*"_s.arg(userCount / 2 + i % (userCount / 2)));
        mail.addBindValue(external ? u"someone@mail.example"_s : u"user%1"_s.arg(i % userCount));
        mail.addBindValue(u"关于第%1号文件的通知"_s.arg(i));
        mail.addBindValue(body);
        run(mail);
    }
    database.commit();
}

/// What nobody can do without: each column of each mail, and for each user the rows that decide.
void bareScan(QSqlDatabase &database)
{
    qsizetype sum = 0;
    QSqlQuery mails(database);
    mails.setForwardOnly(true);
    mails.prepare(u"select VOID, EmailSource, EmailTo, EmailFrom, EmailSubject from VO_Email"
                  " where VOID>0 and EmailStatus<>'0' order by VOID"_s);
    run(mails);
    while (mails.next()) {
        sum += mails.value(0).toLongLong() + mails.value(1).toString().size() +
               mails.value(2).toString().size() + mails.value(3).toString().size() +
               mails.value(4).toString().size();
    }
    if (sum == 0)
        throw Fault(u"no mail was read"_s);
}

void bareLookUps(QSqlDatabase &database)
{
    database.transaction();
    QSqlQuery order(database);
    order.prepare(u"select isPulic, UserList from SMS_Order where OrderName=? and IsOrder='1'"_s);
    QSqlQuery subscription(database);
    subscription.prepare(u"select IsOrder from SMS_IsOrder where UserName=? and Type=?"_s);
    QSqlQuery watermark(database);
    watermark.prepare(u"select CurrentMaxOAID from SMS_Alert_MaxOAID where UserName=? and Source=?"_s);
    QSqlQuery users(database);
    users.setForwardOnly(true);
    users.prepare(u"select UserName, Mobile from VO_UserInfor where AccountState='1'"_s);
    run(users);
    while (users.next()) {
        const QString name = users.value(0).toString();
        for (const QString &type : {u"NBYJ"_s, u"WBYJ"_s}) {
            order.addBindValue(type);
            run(order);
            order.next();
            for (QSqlQuery *query : {&subscription, &watermark}) {
                query->addBindValue(name);
                query->addBindValue(type);
                run(*query);
                query->next();
            }
        }
    }
    database.commit();
}

void bareInserts(QSqlDatabase &database, int count)
{
    database.transaction();
    QSqlQuery insert(database);
    insert.prepare(u"insert into SMS_Queues (SOAID, ToUser, ToMB, MsgContent, MsgStatus, RetryCount)"
                   " values (?, ?, ?, ?, ?, ?)"_s);
    for (int i = 0; i < count; ++i) {
        insert.addBindValue(-1);
        insert.addBindValue(u"everybody"_s);
        insert.addBindValue(u"13900000000"_s);
        insert.addBindValue(
            u"【办公信息】您收到一封内部新邮件，发件人：姓名user%1 邮件标题：关于第%2号文件的通知"_s
                .arg(i % userCount)
                .arg(i));
        insert.addBindValue(u"0"_s);
        insert.addBindValue(0);
        run(insert);
    }
    database.commit();
}

void measure(Office &office, QSqlDatabase &bare, int mails)
{
    NewMailAlerts alerts(office.session, office.console, office.faults);
    const auto pass = [&] { alerts.pass(); };
    const auto startAndPass = [&] { NewMailAlerts(office.session, office.console, office.faults).pass(); };
    const auto queued = [&] {
        return office.rows(u"select count(*) from SMS_Queues"_s).constFirst().toInt();
    };

    bareScan(bare); // the file into the page cache
    std::vector<double> scans;
    std::vector<double> lookUps;
    std::vector<double> passes;
    std::vector<double> laterPasses;
    pass();
    for (int round = 0; round < rounds; ++round) {
        scans.push_back(secondsOf([&] { bareScan(bare); }));
        lookUps.push_back(secondsOf([&] { bareLookUps(bare); }));
        passes.push_back(secondsOf(startAndPass));
        laterPasses.push_back(secondsOf(pass));
    }
    if (queued() != 0)
        throw Fault(u"an alert was queued although nothing was new"_s);
    const double bareTime = median(scans) + median(lookUps);
    std::printf(
        "(a) nothing new: first pass %.3f s, bare scan %.3f s + look-ups %.3f s: ratio %.2f (at most 3);"
        " later passes %.3f s\n",
        median(passes), median(scans), median(lookUps), median(passes) / bareTime, median(laterPasses));

    office.oa(u"update VO_UserInfor set AccountState=case UserName when 'everybody' then '1' else '0' end"_s);
    std::vector<double> firstPasses;
    std::vector<double> inserts;
    for (int round = 0; round < rounds; ++round) {
        for (const bool isBare : {false, true}) {
            office.oa(u"delete from SMS_Queues"_s);
            office.oa(u"delete from SMS_Alert_MaxOAID where UserName='everybody'"_s);
            if (isBare)
                inserts.push_back(secondsOf([&] { bareInserts(bare, mails); }));
            else
                firstPasses.push_back(secondsOf(pass));
            if (queued() != mails)
                throw Fault(u"%1 rows were queued"_s.arg(queued()));
        }
    }
    const double bareFirstPass = median(scans) + median(inserts);
    std::printf("(b) first pass: %.0f alerts/s, bare scan and inserts %.0f/s: ratio %.2f (at least 0.5);"
                " the inserts alone %.0f/s: ratio %.2f\n",
                mails / median(firstPasses), mails / bareFirstPass, bareFirstPass / median(firstPasses),
                mails / median(inserts), median(inserts) / median(firstPasses));
    std::printf("(c) peak memory: %.0f MB (below 200)\n", double(peakMemory()) / 1048576);
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const int mails = argc > 1 ? std::atoi(argv[1]) : 100000;
    const int bodyBytes = argc > 2 ? std::atoi(argv[2]) : 20000;
    try {
        Office office;
        auto bare = QSqlDatabase::addDatabase(u"QSQLITE"_s);
        bare.setDatabaseName(office.databaseFile());
        if (!bare.open())
            throw Fault(bare.lastError().text());
        std::printf("filling %d mails with bodies of %d bytes\n", mails, bodyBytes);
        std::fflush(stdout);
        fill(bare, mails, bodyBytes);
        measure(office, bare, mails);
        return 0;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "bench-alerts: %s\n", error.what());
        return 1;
    }
}
