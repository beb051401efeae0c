#include "modem/Inbox.h"

#include "tests/modem/Deliver.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

const QDateTime morning(QDate(2026, 11, 20), QTime(19, 31), Qt::OffsetFromUTC, 8 * 3600);

/// "index:sender:reference/total/sequence:text", parts separated by blanks; "reference" may be 16-bit with
/// "w", "text@seconds" is later than 19:30 by that.
QList<StoredTpdu> storeOf(const QString &entries)
{
    QList<StoredTpdu> store;
    for (const QString &entry : entries.split(u' ', Qt::SkipEmptyParts)) {
        const QStringList fields = entry.split(u':');
        Deliver deliver;
        deliver.sender = fields[1].toLatin1();
        const QStringList text = fields[3].split(u'@');
        deliver.text = text.first();
        const QTime time = QTime(19, 30).addSecs(text.size() > 1 ? text.last().toInt() : 0);
        deliver.scts = "621102" + Deliver::swapped(time.hour()) + Deliver::swapped(time.minute()) +
                       Deliver::swapped(time.second()) + "23";
        const QStringList place = fields[2].split(u'/');
        if (place.size() == 3) {
            const int reference = place[0].toInt();
            deliver.udh = Deliver::concatenation(reference, place[1].toInt(), place[2].toInt());
            if (place[0].startsWith(u'w'))
                deliver.udh = "06080400" + Deliver::octet(place[0].sliced(1).toInt()) + deliver.udh.last(4);
        }
        store.append({"SM", fields[0].toInt(), QByteArray::fromHex(deliver.hex()), -1, false});
    }
    return store;
}

/// Everything that may be raised now, handled at once.
QStringList raiseAll(Inbox &inbox, const QDateTime &now)
{
    QStringList texts;
    while (const auto message = inbox.next(now)) {
        texts.append(message->problem.isEmpty() ? message->text : u"?"_s);
        inbox.setHandled(*message, now);
    }
    return texts;
}

QList<int> indicesOf(const QList<StoredTpdu> &copies)
{
    QList<int> indices;
    for (const StoredTpdu &copy : copies)
        indices.append(copy.index);
    std::sort(indices.begin(), indices.end());
    return indices;
}

} // namespace

class InboxTest : public QObject
{
    Q_OBJECT

private slots:
    void reassembles_data();
    void reassembles();
    void partsAcrossReadings();
    void incompleteAfterItsTime();
    void oldPartsGetTheirGrace();
    void repetitionOfHandledIsNoMessage();
    void restIsDeliveredWhenItIsComplete();
    void shownAgainIsKnown_data();
    void shownAgainIsKnown();
    void oneMessageTwice();
    void refusedComesAfterLongerAndLonger();
};

void InboxTest::reassembles_data()
{
    QTest::addColumn<QString>("store");
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<QList<int>>("removable");
    const auto row = [](const char *name, const QString &store, const QStringList &texts,
                        const QList<int> &removable) { QTest::newRow(name) << store << texts << removable; };
    row("single", u"1:86138::a"_s, {u"a"_s}, {1});
    row("any-order", u"0:86138:9/3/3:c 1:86138:9/3/1:a 2:86138:9/3/2:b"_s, {u"abc"_s}, {0, 1, 2});
    row("16-bit-reference", u"0:86138:w9/2/2:b 1:86138:w9/2/1:a"_s, {u"ab"_s}, {0, 1});
    row("8-and-16-bit-are-two", u"0:86138:w9/2/2:b 1:86138:9/2/1:a"_s, {}, {});
    row("two-senders", u"0:86138:9/2/1:a 1:86139:9/2/1:x 2:86138:9/2/2:b 3:86139:9/2/2:y"_s,
        {u"ab"_s, u"xy"_s}, {0, 1, 2, 3});
    row("conflicting-total", u"0:86138:9/2/1:a 1:86138:9/3/2:x 2:86138:9/2/2:b"_s, {u"ab"_s}, {0, 2});
    row("duplicate-part", u"0:86138:9/2/1:a 1:86138:9/2/1:a 2:86138:9/2/2:b"_s, {u"ab"_s}, {0, 1, 2});
    row("same-reference-twice", u"0:86138:9/2/1:a 1:86138:9/2/1:x 2:86138:9/2/2:b 3:86138:9/2/2:y"_s,
        {u"ab"_s, u"xy"_s}, {0, 1, 2, 3});
    row("missing-part", u"0:86138:9/2/1:a 1:86138::single"_s, {u"single"_s}, {1});
    row("nearest-in-time", u"0:86138:9/2/1:a@0 1:86138:9/2/1:x@600 2:86138:9/2/2:y@601"_s, {u"xy"_s}, {1, 2});
    row("far-in-time-is-another", u"0:86138:9/2/1:a@0 1:86138:9/2/2:y@3600"_s, {}, {});
    row("equal-singles-are-two", u"0:86138::a 1:86138::a"_s, {u"a"_s, u"a"_s}, {0, 1});
}

void InboxTest::reassembles()
{
    QFETCH(const QString, store);
    Inbox inbox{ModemLimits{}};
    inbox.update("SM", storeOf(store), morning);
    QTEST(raiseAll(inbox, morning), "texts");
    QTEST(indicesOf(inbox.removable()), "removable");
}

void InboxTest::partsAcrossReadings()
{
    Inbox inbox{ModemLimits{}};
    inbox.update("SM", storeOf(u"0:86138:9/2/1:a"_s), morning);
    QVERIFY(!inbox.next(morning));
    // Hours later, in a place that was freed and filled again meanwhile.
    inbox.update("SM", storeOf(u"0:86138:9/2/1:a 1:86138:9/2/2:b"_s), morning.addSecs(18000));
    QCOMPARE(raiseAll(inbox, morning.addSecs(18000)), QStringList{u"ab"_s});
    for (const StoredTpdu &copy : inbox.removable())
        inbox.setRemoved(copy);
    inbox.update("SM", storeOf(u"0:86138::a"_s), morning);
    QCOMPARE(raiseAll(inbox, morning), QStringList{u"a"_s});
}

void InboxTest::incompleteAfterItsTime()
{
    Inbox inbox{ModemLimits{}};
    const QDateTime sent = morning.addSecs(-60); // the stamp of Deliver
    inbox.update("SM", storeOf(u"0:86138:9/3/3:c 1:86138:9/3/1:a"_s), morning);
    QVERIFY(!inbox.next(sent.addSecs(86400 - 1)));
    QCOMPARE(raiseAll(inbox, sent.addSecs(86400)), QStringList{u"ac"_s});
    QCOMPARE(indicesOf(inbox.removable()), (QList<int>{0, 1}));
}

void InboxTest::oldPartsGetTheirGrace()
{
    Inbox inbox{ModemLimits{}};
    const QDateTime later = morning.addDays(3);
    inbox.update("SM", storeOf(u"0:86138:9/2/1:a"_s), later);
    QVERIFY(!inbox.next(later.addSecs(599)));
    inbox.update("SM", storeOf(u"0:86138:9/2/1:a 1:86138:9/2/2:b"_s), later.addSecs(599));
    QCOMPARE(raiseAll(inbox, later.addSecs(600)), QStringList{u"ab"_s});
}

void InboxTest::repetitionOfHandledIsNoMessage()
{
    Inbox inbox{ModemLimits{}};
    const auto whole = storeOf(u"0:86138:9/2/1:a 1:86138:9/2/2:b"_s);
    inbox.update("SM", whole, morning);
    QCOMPARE(raiseAll(inbox, morning), QStringList{u"ab"_s});
    for (const StoredTpdu &copy : inbox.removable())
        inbox.setRemoved(copy);
    inbox.update("SM", {whole.last()}, morning);
    QVERIFY(!inbox.next(morning.addDays(2)));
    QCOMPARE(indicesOf(inbox.removable()), QList<int>{1});
}

void InboxTest::restIsDeliveredWhenItIsComplete()
{
    // Three places for a message of five parts.
    Inbox inbox{ModemLimits{}};
    inbox.update("SM", storeOf(u"0:86138:9/5/1:a 1:86138:9/5/2:b 2:86138:9/5/3:c"_s), morning);
    QVERIFY(!inbox.next(morning));
    QVERIFY(inbox.releaseOldestIncomplete(morning));
    QCOMPARE(raiseAll(inbox, morning), QStringList{u"abc"_s});
    inbox.update("SM", storeOf(u"0:86138:9/5/4:d"_s), morning);
    QVERIFY(!inbox.next(morning));
    inbox.update("SM", storeOf(u"0:86138:9/5/4:d 1:86138:9/5/5:e"_s), morning);
    QCOMPARE(raiseAll(inbox, morning), QStringList{u"de"_s});
}

void InboxTest::shownAgainIsKnown_data()
{
    QTest::addColumn<bool>("saysRemoved");
    QTest::newRow("store-that-does-not-delete") << true;
    QTest::newRow("missing-in-one-reading") << false;
}

void InboxTest::shownAgainIsKnown()
{
    QFETCH(const bool, saysRemoved);
    Inbox inbox{ModemLimits{}};
    const auto store = storeOf(u"0:86138::a 1:86138:9/2/1:b 2:86138:9/2/2:c"_s);
    inbox.update("SM", store, morning);
    QCOMPARE(raiseAll(inbox, morning), (QStringList{u"a"_s, u"bc"_s}));
    if (saysRemoved) {
        for (const StoredTpdu &copy : inbox.removable())
            inbox.setRemoved(copy);
    }
    inbox.update("SM", {}, morning);
    inbox.update("SM", store, morning);
    QVERIFY(!inbox.next(morning.addDays(3)));
    QCOMPARE(indicesOf(inbox.removable()), (QList<int>{0, 1, 2}));
}

void InboxTest::oneMessageTwice()
{
    Inbox inbox{ModemLimits{}};
    auto sm = storeOf(u"1:86138::a"_s);
    auto me = sm;
    me.first().memory = "ME";
    inbox.update("SM", sm, morning);
    inbox.update("ME", me, morning);
    QCOMPARE(inbox.addDirect(sm.first().octets, -1, morning), Inbox::Direct::Waiting);
    QCOMPARE(raiseAll(inbox, morning), QStringList{u"a"_s});
    QCOMPARE(inbox.removable().size(), 2);
    // The other way round: directly first, then in the store.
    const auto other = storeOf(u"2:86138::b"_s);
    QCOMPARE(inbox.addDirect(other.first().octets, -1, morning), Inbox::Direct::New);
    QCOMPARE(raiseAll(inbox, morning), QStringList{u"b"_s});
    inbox.update("SM", other, morning);
    QVERIFY(!inbox.next(morning));
    QCOMPARE(indicesOf(inbox.removable()), (QList<int>{1, 2}));
    QCOMPARE(inbox.addDirect(other.first().octets, -1, morning), Inbox::Direct::Handled);
}

void InboxTest::refusedComesAfterLongerAndLonger()
{
    Inbox inbox{ModemLimits{}};
    inbox.update("SM", storeOf(u"0:86138::a"_s), morning);
    QDateTime now = morning;
    for (const int wait : {10, 20, 40, 80, 160, 320, 640, 1280, 2560, 3600, 3600}) {
        QVERIFY(inbox.next(now));
        inbox.setRefused(*inbox.next(now), now);
        QVERIFY(!inbox.next(now.addSecs(wait - 1)));
        now = now.addSecs(wait);
        QCOMPARE(inbox.nextChange(), now);
    }
    QVERIFY(inbox.next(now));
    // The listing goes on showing it otherwise than its place does.
    const StoredTpdu listed = storeOf(u"0:86138::b"_s).first();
    inbox.update("SM", {listed}, now);
    inbox.setReadAgain(listed, storeOf(u"0:86138::c"_s).first());
    QCOMPARE(inbox.next(now)->text, u"c"_s);
    inbox.setRefused(*inbox.next(now), now);
    inbox.update("SM", {listed}, now);
    QVERIFY(!inbox.next(now));
}

QTEST_GUILESS_MAIN(InboxTest)
#include "InboxTest.moc"
