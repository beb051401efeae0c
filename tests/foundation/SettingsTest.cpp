#include "foundation/Settings.h"
#include "foundation/NumericText.h"
#include "foundation/ServiceSettings.h"
#include "platform/registry/FileRegistry.h"
#include "tests/support/Rows.h"

#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace
{

QString wide(QString text)
{
    for (QChar &character : text) {
        if (character > u' ' && character < u'\x7f')
            character = QChar(character.unicode() - u'!' + u'\xff01');
    }
    return text;
}

/// All that the service works by, and the setting itself.
QString effect(const Registry &registry, const QString &name)
{
    const ServiceSettings all = readServiceSettings(registry);
    const QStringList texts{all.serviceCentre, all.senderCountryCode, Settings::read(registry, name).plain};
    QString shown = texts.join(u'|');
    for (const qint64 number :
         {qint64(all.scanInterval.count()), qint64(all.comPort.value_or(0)), qint64(all.lineSpeed),
          qint64(all.areServersSeveral), qint64(all.sendPerHour), qint64(all.sendPerDay),
          qint64(all.repliesPerHour), qint64(all.sendGap.count()), qint64(all.verifiesMailServers),
          qint64(all.attachesHiddenText)})
        shown += u'|' + QString::number(number);
    return shown;
}

} // namespace

/// Whatever is accepted has the effect of its plain spelling; whatever is not has none and is named.
class SettingsTest : public QObject
{
    Q_OBJECT

private:
    const QTemporaryDir m_folder;
    FileRegistry m_registry{m_folder.filePath(u"settings.ini"_s)};

    QString effectOf(const QString &name, const QString &typed)
    {
        m_registry.write(Settings::pathOf(name), typed);
        return effect(m_registry, name);
    }

private slots:
    void spellings_data()
    {
        // others: that say the same.
        const Rows<QString, QStringList, QStringList> text("plain", "others", "refused");
        const auto number = [&text](const char *name, const QString &plain, const QStringList &refused,
                                    const QStringList &more = {}) {
            const QStringList others{
                wide(plain),     u' ' + plain + u'\t', u'　' + plain, u'+' + plain,
                u"00"_s + plain, plain + u".0"_s,      plain + u'.',  wide(u"+0"_s + plain + u".00"_s)};
            text(name, plain, others + more,
                 refused + QStringList{u'-' + plain, u"0"_s, u"1e3"_s, u"0x5"_s, u"5 0"_s, u"5s"_s, u"abc"_s,
                                       u"99999999999"_s});
        };
        const QStringList beyond{u"2.5"_s, u"86401"_s};
        number("TimeDelay", u"2"_s, {u"0.5"_s, u"2147483648"_s}, {u"2.5"_s, u"1.5"_s});
        number("ServerPort", u"4"_s, {u"32768"_s, u"COM4"_s}, {u"3.5"_s});
        number("SendPerHour", u"2"_s, beyond);
        number("SendPerDay", u"86400"_s, beyond);
        number("SendGap", u"7"_s, beyond);
        number("RepliesPerHour", u"3"_s, beyond);
        number("COM3Speed", u"9600"_s, {u"9601"_s, u"9600.5"_s});
        text("CenterCode", u"+8613800755500"_s, {wide(u"+8613800755500"_s), u" +8613800755500　"_s}, {});
        text("SenderCountryCode", u"86"_s, {u"８６"_s, u" 86 "_s},
             {u"+86"_s, u"086"_s, u"86.0"_s, u"86000"_s, u"CN"_s});
        text("Servers", u"several"_s, {u"Several"_s, u" ｓｅｖｅｒａｌ "_s}, {u"2"_s, u"yes"_s});
        text("MailTls", u"verify"_s, {u"VERIFY"_s, u"ｖｅｒｉｆｙ"_s}, {u"yes"_s, u"verify."_s});
        text("MailHiddenText", u"attach"_s, {u"Attach "_s}, {u"on"_s});
        text("COM3", u"/dev/ttyUSB0"_s, {u" /dev/ttyUSB0 "_s}, {u"ttyUSB0"_s, wide(u"/dev/ttyUSB0"_s)});
        text("ProductUrl", u"https://a.test/"_s, {u" https://a.test/"_s}, {u"a.test"_s, u"javascript:x"_s});
        text("ConnectString", u"Provider=SQLite;Data Source=/x"_s, {}, {u"Provider=Nope"_s});
    }
    void spellings()
    {
        QFETCH(QString, plain);
        QFETCH(QStringList, others);
        QFETCH(QStringList, refused);
        const QString name = QString::fromLatin1(QTest::currentDataTag());
        m_registry.write(Settings::serverPortPath(), u"3"_s); // whose speed counts
        const QString none = effectOf(name, {});
        const QString wanted = effectOf(name, plain);
        QVERIFY(wanted != none);
        QCOMPARE(Settings::parsed(name, plain).plain, plain);
        for (const QString &typed : std::as_const(others)) {
            QCOMPARE(Settings::parsed(name, typed).problem, QString());
            QVERIFY2(effectOf(name, typed) == wanted, qPrintable(typed));
        }
        for (const QString &typed : std::as_const(refused)) {
            QVERIFY2(!Settings::parsed(name, typed).problem.isEmpty(), qPrintable(typed));
            QVERIFY2(effectOf(name, typed) == none, qPrintable(typed));
            // The dialog's own have a message of their own.
            const bool isOurs =
                Settings::pathOf(name).contains(u"Local"_s) && !name.endsWith(u"Url"_s) && name != u"COM3";
            QCOMPARE(readServiceSettings(m_registry).problems.filter(name).size(), isOurs ? 1 : 0);
        }
        for (const QString &blank : {u""_s, u" "_s, u"　\t"_s}) {
            QVERIFY(Settings::parsed(name, blank).problem.isEmpty());
            QCOMPARE(effectOf(name, blank), none);
        }
    }
};

QTEST_GUILESS_MAIN(SettingsTest)
#include "SettingsTest.moc"
