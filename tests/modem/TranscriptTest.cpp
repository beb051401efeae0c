#include "tests/support/Transcript.h"
#include "tests/modem/ModemAtWork.h"
#include "tests/simulator/SerialPeer.h"
#include "tests/support/TextTable.h"

#include <QDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

/// Does the steps of a transcript: the modem control's (ModemAtWork), or those of somebody at a terminal:
///   > TEXT    we send TEXT and CR          ] TEXT    we send TEXT and Ctrl-Z
///   } TEXT    we send TEXT as it is        ^         we send ESC
///   < TEXT    the modem says TEXT between line ends; "|" stands for a line end inside
///   OK        it says OK                   <>        it prompts
///   = TEXT    it says exactly TEXT, with \r and \n written so
///   hung-up   nothing comes any more           leave    the terminal closes the port
/// For both:
///   ! COMMAND for the simulator                status TEXT    is in the simulator's status, which is waited for
///   sent TEXT | ...    what the network took, the parts of each put together
/// A terminal that did not leave gets its answer to AT at the end, with nothing before it.
class Play
{
public:
    explicit Play(const QStringList &options = {})
        : m_simulator(QStringList{u"--echo"_s, u"off"_s} + options), m_modem(m_simulator)
    {
    }

    /// What came otherwise than written; "" when nothing did.
    QString perform(const QString &step)
    {
        const QString verb = step.section(u' ', 0, 0);
        const QString rest = step.mid(verb.size() + 1);
        if (verb == u"!") {
            m_simulator.command(rest);
            return {};
        }
        if (verb == u"leave") {
            m_terminal.reset();
            return {};
        }
        if (verb == u"status") {
            const auto isSo = [&] { return m_simulator.command(verb).contains(rest); };
            return QTest::qWaitFor(isSo) ? QString() : m_simulator.command(verb);
        }
        if (verb == u"sent")
            return sent() == rest ? QString() : u"it has "_s + sent();
        if (const std::optional<QString> difference = m_modem.perform(verb, rest))
            return *difference;
        return type(verb, rest.toUtf8());
    }
    QString end()
    {
        if (m_terminal) {
            type(u">"_s, "AT");
            return type(u"OK"_s, {});
        }
        return m_modem.leftOver();
    }

private:
    QString sent() const
    {
        QStringList texts;
        for (const SentMessage &message : m_simulator.sentWhole())
            texts += message.text;
        return texts.join(u" | "_s);
    }
    QString type(const QString &verb, const QByteArray &text)
    {
        if (!m_terminal)
            m_terminal = std::make_unique<SerialPeer>(m_simulator.devicePath());
        if (verb == u">")
            m_terminal->write(text + '\r');
        else if (verb == u"]")
            m_terminal->write(text + '\x1a');
        else if (verb == u"}")
            m_terminal->write(QByteArray(text).replace("\\r", "\r").replace("\\z", "\x1a"));
        else if (verb == u"^")
            m_terminal->write("\x1b");
        else if (verb == u"<")
            return expect("\r\n" + QByteArray(text).replace('|', "\r\n") + "\r\n");
        else if (verb == u"OK")
            return expect("\r\nOK\r\n");
        else if (verb == u"hung-up")
            return QString::fromLatin1(m_terminal->readToHangUp());
        else if (verb == u"<>")
            return expect("\r\n> ");
        else if (verb == u"=")
            return expect(QByteArray(text).replace("\\r", "\r").replace("\\n", "\n"));
        else
            return u"there is no such step"_s;
        return {};
    }
    QString expect(const QByteArray &wanted)
    {
        const QByteArray got = m_terminal->read(wanted.size());
        return got == wanted ? QString() : u"it said "_s + QString::fromLatin1(got.toPercentEncoding());
    }

    SimulatorProcess m_simulator;
    ModemAtWork m_modem;
    std::unique_ptr<SerialPeer> m_terminal;
};

} // namespace

/// Every transcript of the modem control's with the simulated modem, and of a terminal's with it.
class TranscriptTest : public QObject
{
    Q_OBJECT

private slots:
    void play_data()
    {
        QStringList files;
        for (const QString &folder : {u"modem"_s, u"simulator"_s}) {
            const QDir place(QStringLiteral(TESTS_FOLDER) + u'/' + folder);
            for (const QString &name : place.entryList({u"*.transcript"_s}))
                files += place.filePath(name);
        }
        addTranscripts(files);
    }
    void play()
    {
        Play play;
        QCOMPARE(firstDifference(play), QString());
        QCOMPARE(play.end(), QString());
    }

    void everyProfileSendsAndReceives_data()
    {
        QTest::addColumn<QString>("profile");
        const QDir folder(QStringLiteral(PROFILES_FOLDER));
        for (const QString &name : folder.entryList({u"*.modem"_s}))
            QTest::newRow(qPrintable(name)) << folder.filePath(name);
    }
    void everyProfileSendsAndReceives()
    {
        QFETCH(QString, profile);
        Play play({u"--profile"_s, profile});
        play.perform(u"limit sync 20000"_s);
        // Some are slow to start.
        QVERIFY(QTest::qWaitFor([&] { return play.perform(u"open"_s).isEmpty(); }, 30000));
        for (const QString &step :
             u"send 10086 {150*汉};sent {150*汉};! deliver 10086 a;received a"_s.split(u';'))
            QCOMPARE(play.perform(withRepetitions(step)), QString());
    }
};

int main(int argc, char **argv)
{
    qputenv("TZ", "Asia/Shanghai");
    QCoreApplication application(argc, argv);
    TranscriptTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "TranscriptTest.moc"
