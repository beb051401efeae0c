#include "mailbox/MailAccount.h"
#include "tests/support/MailOffice.h"
#include "tests/support/Rows.h"

using namespace Qt::StringLiterals;

/// What the columns of SA_email may hold.
class MailAccountTest : public QObject
{
    Q_OBJECT

private slots:
    void columns_data()
    {
        const Rows<QString, QString, QString> row("column", "values", "meanings"); // values in SQL
        row("ports", u"PopPort"_s,
            u"995|' 995 '|32767|32768|-32768|-32769|'99999999999999999999'|110.4|null|'pop3'"_s,
            u"995|995|32767|110|-32768|110|110|110|110|110"_s);
        row("keeps copies", u"IsBaoLiu"_s, u"0|'0'|'0  '|'0.0'|1|'2'|null|''|'no'"_s,
            u"deletes|deletes|deletes|deletes|keeps|keeps|keeps|keeps|keeps"_s);
        row("keys", u"OAID"_s, u"'7'|null|'x or 1=1'"_s, u"7|none|none"_s);
    }
    void columns()
    {
        QFETCH(QString, column);
        QFETCH(QString, values);
        MailOffice office;
        office.oa(u"drop table SA_email"_s); // a table that takes any kind of value
        office.oa(
            u"create table SA_email (OAID, UserName, POPIP, PopPort, EUsername, EPassword, IsBaoLiu)"_s);
        for (const QString &value : values.split(u'|'))
            office.oa(u"insert into SA_email (UserName, %1) values ('u', %2)"_s.arg(column, value));
        QStringList meanings;
        for (const MailAccount &account : mailAccounts(office.session.Conn(), u"u"_s))
            meanings += column == u"PopPort"    ? QString::number(account.PopPort)
                        : column == u"IsBaoLiu" ? (account.keepsCopies ? u"keeps"_s : u"deletes"_s)
                        : account.OAID          ? QString::number(*account.OAID)
                                                : u"none"_s;
        QTEST(meanings.join(u'|'), "meanings");
    }
};

QTEST_GUILESS_MAIN(MailAccountTest)
#include "MailAccountTest.moc"
