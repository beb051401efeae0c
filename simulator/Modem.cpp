#include "simulator/Modem.h"

#include "simulator/GeneralCommands.h"
#include "simulator/MessageCommands.h"
#include "simulator/StorageCommands.h"
#include "simulator/TpduEncoder.h"

using namespace Qt::StringLiterals;

namespace simulator
{
Modem::Modem(std::unique_ptr<LineEnd> end, const QString &logFile, int storageCapacity, int firstIndex)
    : m_state(storageCapacity, firstIndex),
      m_log(logFile),
      m_submits(m_state, m_log),
      m_deliveries(m_state),
      m_session(m_state.settings.format, [this](const AtCommand &command) { return run(command); }),
      m_line(std::move(end))
{
    addGeneralCommands(m_commands, m_state, [this] { m_deliveries.retrySoon(); });
    addMessageCommands(m_commands, m_state, m_submits, m_deliveries);
    addStorageCommands(m_commands, m_state, m_deliveries);

    connect(&m_line, &SerialLine::received, &m_session, &AtSession::feed);
    connect(&m_session, &AtSession::send, &m_line, &SerialLine::write);
    connect(&m_deliveries, &DeliverService::unsolicited, &m_session, &AtSession::sendUnsolicited);
    connect(&m_line, &SerialLine::plugged, this, [this] {
        m_state.say(u"plugged in: %1"_s.arg(m_line.name()));
        start();
    });
    connect(&m_line, &SerialLine::unplugged, this, [this] {
        m_state.say(u"unplugged"_s);
        m_session.restart(std::chrono::milliseconds(0));
        m_deliveries.setPlugged(false);
    });
    connect(&m_line, &SerialLine::peerChanged, this, [this](bool open) {
        m_state.say(open ? u"a program opened the port"_s : u"the port was closed"_s);
        if (open)
            greet();
    });
    connect(&m_submits, &SubmitService::reportWanted, this, [this](const QString &number, int reference) {
        const QByteArray report =
            encodeStatusReport(number, reference, 0, QDateTime::currentDateTime(), m_state.serviceCentre);
        QTimer::singleShot(m_state.networkLatency, this, [this, report] { m_deliveries.deliver({report}); });
    });
}

void Modem::start()
{
    reset(m_wakeTime);
    announce();
}

void Modem::restart(bool announced)
{
    m_state.say(announced ? u"restarts"_s : u"restarts silently"_s);
    reset(announced ? m_wakeTime : std::chrono::milliseconds(0));
    if (announced)
        announce();
}

void Modem::announce()
{
    m_announcements = std::make_unique<QObject>();
    for (const StartLines &start : m_state.startLines) {
        QTimer::singleShot(start.delay, m_announcements.get(),
                           [this, lines = start.lines] { m_session.sendUnsolicited(lines); });
    }
}

/// What an earlier session left arrives at the program that has just opened the port.
void Modem::greet()
{
    for (OpenText &text : m_state.openTexts) {
        if (text.count == 0)
            continue;
        if (text.count != AnswerScript::always)
            --text.count;
        QTimer::singleShot(text.delay, this, [this, octets = text.text] { m_session.sendOctets(octets); });
    }
}

/// Volatile settings are as at first, the stores and the network's messages stay.
void Modem::reset(std::chrono::milliseconds deafFor)
{
    restoreSettings(m_state);
    m_state.selected = {Memory::Sim, Memory::Sim, Memory::Sim};
    m_state.functionality = 1;
    m_state.sim.pinRequired = m_lockedAtStart;
    m_state.sim.starting.setRemainingTime(m_state.sim.startsFor);
    m_session.restart(deafFor);
    m_deliveries.restart();
    m_deliveries.setPlugged(true);
}

Reply Modem::run(const AtCommand &command)
{
    Reply reply = m_state.answers.run(spelled(command), [&] { return m_commands.run(command); });
    const auto latency = m_state.commandLatency.constFind(command.name);
    if (latency != m_state.commandLatency.cend())
        reply.delay += *latency;
    else
        reply.delay += m_state.commandLatency.value("*", std::chrono::milliseconds(0));
    if (reply.takeBody) {
        reply.takeBody = [this, usual = reply.takeBody](const QByteArray &body) {
            Reply result = m_state.answers.run(AnswerScript::body, [&] { return usual(body); });
            restartIfWanted(result);
            return result;
        };
    }
    restartIfWanted(reply);
    return reply;
}

void Modem::restartIfWanted(const Reply &reply)
{
    if (reply.restarts)
        QTimer::singleShot(0, this, [this] { restart(true); });
}

void Modem::beginOutage(std::chrono::milliseconds duration, int code)
{
    const int usualCode = std::exchange(m_state.noNetworkCode, code);
    const int usualRegistration = m_state.registration;
    setRegistration(2);
    QTimer::singleShot(duration, this, [this, usualCode, usualRegistration] {
        m_state.noNetworkCode = usualCode;
        setRegistration(usualRegistration);
    });
}

void Modem::setRegistration(int status)
{
    m_state.registration = status;
    constexpr std::array<const char *, 3> prefixes{"+CREG: ", "+CGREG: ", "+CEREG: "};
    for (size_t i = 0; i < prefixes.size(); ++i) {
        if (m_state.settings.registrationReports.at(i) > 0)
            m_session.sendUnsolicited({prefixes.at(i) + QByteArray::number(status)});
    }
    m_deliveries.retrySoon();
}

void Modem::setLocked(bool locked, const QByteArray &pin)
{
    m_lockedAtStart = locked;
    m_state.sim.pinRequired = locked;
    m_state.sim.pinAttempts = 3;
    if (!pin.isEmpty())
        m_state.sim.pin = pin;
    m_deliveries.retrySoon();
}
} // namespace simulator
