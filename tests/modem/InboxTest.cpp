#include "modem/Inbox.h"

#include "tests/support/TextTable.h"

#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace
{

/// Two hexadecimal digits.
QByteArray octet(qsizetype value)
{
    return QByteArray::number(0x100 + value, 16).last(2);
}

/// Two decimal digits as a time stamp holds them.
QByteArray swapped(int value)
{
    return QByteArray::number(value % 10) + QByteArray::number(value / 10);
}

/// An entry as a step names it, written without the code under test.
StoredTpdu stored(const QString &entry, const QByteArray &memory = "SM")
{
    const QStringList fields = entry.split(u':');
    const QStringList place = fields[2].split(u'/');
    const QString text = fields[3].section(u'@', 0, 0);
    const QTime time = QTime(19, 30).addSecs(fields[3].section(u'@', 1).toInt());
    QByteArray sender = fields[1].toLatin1() + 'F';
    for (qsizetype i = 0; i + 1 < sender.size(); i += 2)
        std::swap(sender[i], sender[i + 1]);
    QByteArray body;
    if (place.size() == 3) {
        const bool isWide = place[0].startsWith(u'w');
        body =
            (isWide ? "06080400" + octet(place[0].sliced(1).toInt()) : "050003" + octet(place[0].toInt())) +
            octet(place[1].toInt()) + octet(place[2].toInt());
    }
    const QByteArray type = body.isEmpty() ? "04" : "44";
    for (const QChar unit : text)
        body += "00" + octet(unit.unicode());
    const QByteArray hex = "00" + type + "0591" + sender + "0008621102" + swapped(time.hour()) +
                           swapped(time.minute()) + swapped(time.second()) + "23" + octet(body.size() / 2) +
                           body;
    return {memory, fields[0].toInt(), QByteArray::fromHex(hex), -1, false};
}

QList<StoredTpdu> storeOf(const QString &entries, const QByteArray &memory = "SM")
{
    QList<StoredTpdu> store;
    for (const QString &entry : entries.split(u' ', Qt::SkipEmptyParts))
        store.append(stored(entry, memory));
    return store;
}

/// Does the steps:
///   store ENTRY ...      all that SM holds          other ENTRY ...    all that ME holds
///   raised TEXT ...      everything that may be raised now, handled at once
///   removable INDEX ...  in ascending order         removed            the modem says so of all these
///   later SECONDS        the clock                  release            the oldest incomplete set
///   direct ENTRY RESULT  comes without being stored
///   again ENTRY ENTRY    what a second reading gives of the first
///   refused SECONDS ...  the one message is refused and raised again after these
///   directs N            so many messages come directly and wait
class Play
{
public:
    /// What came otherwise than written.
    QString perform(const QString &step)
    {
        const QString verb = step.section(u' ', 0, 0);
        const QString rest = step.mid(verb.size() + 1);
        const QStringList words = rest.split(u' ', Qt::SkipEmptyParts);
        if (verb == u"raised")
            return compared(raised(), rest);
        if (verb == u"removable")
            return compared(removable(), rest);
        if (verb == u"refused")
            return refused(words);
        if (verb == u"direct") {
            static const QStringList names{u"New"_s, u"Waiting"_s, u"Handled"_s, u"NoRoom"_s};
            return compared(names[static_cast<int>(come(words[0]))], words[1]);
        }
        if (verb == u"store")
            m_inbox.update("SM", storeOf(rest), m_now);
        else if (verb == u"other")
            m_inbox.update("ME", storeOf(rest, "ME"), m_now);
        else if (verb == u"removed")
            remove();
        else if (verb == u"later")
            m_now = m_now.addSecs(rest.toInt());
        else if (verb == u"release")
            return m_inbox.releaseOldestIncomplete(m_now) ? QString() : u"nothing is incomplete"_s;
        else if (verb == u"again")
            m_inbox.setReadAgain(stored(words[0]), stored(words[1]));
        else if (verb == u"directs")
            for (int i = 0; i < rest.toInt(); ++i)
                static_cast<void>(come(u"0:86138::%1"_s.arg(i)));
        else
            return u"there is no such step"_s;
        return {};
    }

private:
    static QString compared(const QString &found, const QString &wanted)
    {
        return found == wanted ? QString() : u"found "_s + found;
    }
    Inbox::Direct come(const QString &entry) { return m_inbox.addDirect(stored(entry).octets, -1, m_now); }
    void remove()
    {
        for (const StoredTpdu &copy : m_inbox.removable())
            m_inbox.setRemoved(copy);
    }
    QString raised()
    {
        QStringList texts;
        while (const auto message = m_inbox.next(m_now)) {
            texts.append(message->problem.isEmpty() ? message->text : u"?"_s);
            m_inbox.setHandled(*message, m_now);
        }
        return texts.join(u' ');
    }
    QString removable() const
    {
        QStringList indices;
        for (const StoredTpdu &copy : m_inbox.removable())
            indices.append(QString::number(copy.index));
        indices.sort();
        return indices.join(u' ');
    }
    QString refused(const QStringList &waits)
    {
        for (const QString &wait : waits) {
            if (!m_inbox.next(m_now))
                return u"not raised before "_s + wait;
            m_inbox.setRefused(*m_inbox.next(m_now), m_now);
            const QDateTime due = m_now.addSecs(wait.toInt());
            if (m_inbox.next(due.addSecs(-1)) || m_inbox.nextChange() != due)
                return u"not after "_s + wait;
            m_now = due;
        }
        return {};
    }

    Inbox m_inbox{ModemLimits{}};
    QDateTime m_now{QDate(2026, 11, 20), QTime(19, 31), QTimeZone(8 * 3600)};
};

} // namespace

class InboxTest : public QObject
{
    Q_OBJECT

private slots:
    void play_data() { addTranscripts({QStringLiteral(INBOX_STEPS)}); }
    void play()
    {
        Play play;
        QCOMPARE(firstDifference(play), QString());
    }
};

QTEST_GUILESS_MAIN(InboxTest)
#include "InboxTest.moc"
