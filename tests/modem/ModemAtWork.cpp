#include "tests/modem/ModemAtWork.h"

#include "platform/files/Files.h"

#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;
using std::chrono::milliseconds;

namespace
{

QString nameOf(qint16 code)
{
    static const QStringList opening =
        u"Ok NoSuchPort PortBusy PortDenied PortFailed ModemSilent SimMissing SimLocked "
        "SimFailure PduModeRefused ServiceCentreInvalid ServiceCentreRefused"_s.split(u' ');
    static const QStringList sending =
        u"NumberInvalid TextTooLong Refused NotConfirmed FateUnknown PartlySent"_s.split(u' ');
    constexpr int firstOfSending = 20;
    return code < firstOfSending ? opening.value(code) : sending.value(code - firstOfSending);
}

/// Generous where a busy machine answers late; transcripts that wait a silence out shorten its limit.
ModemLimits shortLimits()
{
    ModemLimits limits;
    limits.sync = milliseconds(5000);
    limits.quiet = milliseconds(40); // each listing of an empty memory waits so long
    limits.afterRestart = milliseconds(200);
    limits.straggler = milliseconds(100);
    limits.lateReference = milliseconds(200);
    limits.simRetry = milliseconds(20);
    limits.reopen = milliseconds(50);
    limits.waitRetry = milliseconds(30);
    return limits;
}

const QHash<QString, milliseconds ModemLimits::*> limitNames{
    {u"command"_s, &ModemLimits::command},
    {u"prompt"_s, &ModemLimits::prompt},
    {u"reopenSync"_s, &ModemLimits::reopenSync},
    {u"resync"_s, &ModemLimits::resync},
    {u"sendResult"_s, &ModemLimits::sendResult},
    {u"simBusy"_s, &ModemLimits::simBusy},
    {u"slowPrompt"_s, &ModemLimits::slowPrompt},
    {u"sync"_s, &ModemLimits::sync},
    {u"look"_s, &ModemLimits::look},
    {u"storePoll"_s, &ModemLimits::storePoll},
    {u"syncAttempt"_s, &ModemLimits::syncAttempt},
    {u"whileSending"_s, &ModemLimits::whileSending},
};

/// Arguments name what a line of text cannot hold.
QString unescaped(QString text)
{
    return text.replace(u"\\s"_s, u" "_s).replace(u"\\r"_s, u"\r"_s).replace(u"\\0"_s, QString(1, QChar(0)));
}

/// A "*" among the words stands for any of them, a "*" in a word for any characters.
bool matches(const QString &text, const QString &wanted)
{
    QString pattern = QRegularExpression::escape(u' ' + wanted + u' ');
    pattern.replace(u"\\ \\*\\ "_s, u" (.* )?"_s).replace(u"\\*"_s, u".*"_s);
    return QRegularExpression(QRegularExpression::anchoredPattern(pattern))
        .match(u' ' + text + u' ')
        .hasMatch();
}

} // namespace

ModemAtWork::ModemAtWork(const QStringList &options)
    : m_simulator(QStringList{u"--do"_s, u"echo off"_s} + options), m_limits(shortLimits())
{
}

ModemControl &ModemAtWork::control()
{
    if (m_control)
        return *m_control;
    m_control = std::make_unique<ModemControl>(
        m_clock, [this](int) { return m_simulator.devicePath(); }, nullptr, m_limits);
    QObject::connect(m_control.get(), &ModemControl::notice,
                     [this](const QString &text) { m_notices += text; });
    QObject::connect(m_control.get(), &ModemControl::messageArrived, [this] { handle(); });
    m_control->setTrace([this](TraceDirection direction, QByteArrayView octets) {
        if (direction == TraceDirection::Sent)
            noteSent(octets);
    });
    m_control->setWhileSending([this] { m_hasSigns = true; });
    m_control->setPortNumber(3);
    m_control->setUnreadableFile(m_folder.filePath(u"unreadable"_s));
    return *m_control;
}

void ModemAtWork::noteSent(QByteArrayView octets)
{
    for (const char c : octets) {
        if (c == '\r' || c == '\x1a')
            m_written += std::exchange(m_line, {});
        else if (c != '\x1b')
            m_line += QLatin1Char(c);
    }
}

void ModemAtWork::handle()
{
    Received message;
    if (m_control->read(message.sender, message.text, message.time) != 0)
        message.text = u"?"_s;
    m_received += message;
    m_last = message;
    const QString fate = m_fates.isEmpty() ? u"Handled"_s : m_fates.takeFirst();
    static const QHash<QString, MessageFate> fates{{u"Wait"_s, MessageFate::Wait},
                                                   {u"Refused"_s, MessageFate::Refused}};
    if (fate != u"-")
        m_control->settle(fates.value(fate, MessageFate::Handled));
    if (fate == u"Close")
        static_cast<void>(m_control->close());
}

QString ModemAtWork::open()
{
    const qint16 result = control().open();
    if (control().isPortOpen() != (result == 0))
        return u"isPortOpen() contradicts open()"_s;
    QString none;
    if (control().read(none, none, none) != static_cast<qint16>(ModemResult::NoMessage))
        return u"a message outside its event"_s;
    return result == 0 && !control().status().isRegistered ? u"Unregistered"_s : nameOf(result);
}

QString ModemAtWork::send(const QString &rest)
{
    try {
        const qint16 result =
            control().send(unescaped(rest.section(u' ', 0, 0)), unescaped(rest.section(u' ', 1)));
        m_cause = result == 0 ? QString() : control().lastRefusal();
        return result != 0 && m_cause.isEmpty() ? u"a refusal without words"_s : nameOf(result);
    } catch (const ModemFault &fault) {
        m_cause = fault.message();
        constexpr std::array kinds{"PortLost", "NoNetwork", "NoAnswer", "NotPrompted", "NotTaken"};
        return QString::fromLatin1(kinds.at(static_cast<size_t>(fault.kind())));
    }
}

/// What is there to be compared, in the words of the step.
QString ModemAtWork::found(const QString &verb)
{
    QStringList words;
    if (verb == u"port")
        return control().isPortOpen() ? u"open"_s : u"closed"_s;
    if (verb == u"baud")
        return QString::number(control().status().baud);
    if (verb == u"because")
        return m_cause;
    if (verb == u"signs")
        return m_hasSigns ? u"some"_s : u"none"_s;
    if (verb == u"told")
        return m_notices.join(u" | "_s);
    if (verb == u"heard")
        return m_written.join(u' ');
    if (verb == u"last")
        return m_last.sender + u" | "_s + m_last.time;
    if (verb == u"received") {
        for (const Received &message : std::as_const(m_received))
            words += message.text;
        return words.join(u" | "_s);
    }
    if (verb == u"kept") {
        const QByteArray kept = readWhole(m_folder.filePath(u"unreadable"_s)).octets;
        for (const QByteArray &line : kept.trimmed().split('\n'))
            words += QString::fromLatin1(line.split(' ').last());
        return words.join(u' ');
    }
    for (const QString &line : m_simulator.command(u"storage list"_s).split(u'\n')) {
        if (line.startsWith(u"  "_s))
            words += line.trimmed().section(u' ', 0, 0);
    }
    return words.join(u' ');
}

QString ModemAtWork::perform(const QString &step)
{
    const QString verb = step.section(u' ', 0, 0);
    const QString rest = step.mid(verb.size() + 1);
    const auto compared = [](const QString &got, const QString &wanted) {
        return matches(got, wanted) ? QString() : u"found \"%1\""_s.arg(got);
    };
    static const QStringList states{u"port"_s,  u"baud"_s, u"received"_s, u"last"_s,    u"places"_s,
                                    u"heard"_s, u"told"_s, u"kept"_s,     u"because"_s, u"signs"_s};
    if (states.contains(verb)) {
        static_cast<void>(QTest::qWaitFor([&] { return matches(found(verb), rest); }));
        const QString difference = compared(found(verb), rest);
        if (verb == u"heard")
            m_written.clear();
        else if (verb == u"told")
            m_notices.clear();
        else if (verb == u"received")
            m_received.clear();
        return difference;
    }
    if (verb == u"sent") {
        QStringList texts;
        for (const SentMessage &message : m_simulator.sentWhole())
            texts += message.text;
        return compared(texts.join(u" | "_s), rest);
    }
    if (verb == u"open")
        return compared(open(), rest.isEmpty() ? u"Ok"_s : rest);
    const QString arguments = rest.section(u" -> "_s, 0, 0);
    const QString wanted = rest.section(u" -> "_s, 1);
    if (verb == u"send")
        return compared(send(arguments), wanted.isEmpty() ? u"Ok"_s : wanted);
    if (verb == u"signal") {
        m_simulator.command(u"answer --raw 1 +CSQ "_s + arguments);
        const std::optional<int> dbm = control().askStatus().signalDbm;
        return compared(dbm ? QString::number(*dbm) : u"none"_s, wanted);
    }
    if (verb == u"codes") {
        QStringList differing;
        for (const QString &code : arguments.split(u' ')) {
            m_simulator.command(u"refuse 1 "_s + code);
            if (const QString got = send(u"1 x"_s); got != wanted)
                differing += code + u' ' + got;
        }
        return differing.join(u", "_s);
    }
    if (verb == u"close")
        return compared(nameOf(control().close()), u"Ok"_s);
    if (verb == u"!")
        m_simulator.command(rest);
    else if (verb == u"limit")
        m_limits.*limitNames.value(rest.section(u' ', 0, 0)) = milliseconds(rest.section(u' ', 1).toInt());
    else if (verb == u"centre")
        control().setServiceCentre(unescaped(rest));
    else if (verb == u"country")
        control().setSenderCountryCode(rest);
    else if (verb == u"speed")
        control().setSpeed(rest.toInt());
    else if (verb == u"fate")
        m_fates = rest.split(u' ');
    else if (verb == u"rest")
        control().setRestTest([rest](const QString &sender, const QString &, const QStringList &fragments) {
            return sender == u"+8613800138000" && fragments == QStringList(rest);
        });
    else if (verb == u"clock")
        m_clock.advanceSeconds(rest.toInt());
    else
        return u"there is no such step"_s;
    return QString();
}

QString ModemAtWork::leftOver() const
{
    if (!m_notices.isEmpty())
        return u"told \"%1\""_s.arg(m_notices.join(u" | "_s));
    if (!m_received.isEmpty())
        return u"received \"%1\""_s.arg(m_received.last().text);
    for (const QString &line : m_written) {
        if (line.startsWith(u"AT+CPIN="))
            return u"a PIN was guessed"_s;
    }
    return {};
}
