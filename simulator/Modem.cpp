#include "simulator/Modem.h"

#include "simulator/commands/GeneralCommands.h"
#include "simulator/commands/MessageCommands.h"
#include "simulator/commands/StorageCommands.h"

using namespace Qt::StringLiterals;

namespace simulator
{
Modem::Modem(std::unique_ptr<LineEnd> end)
    : m_submits(m_state),
      m_deliveries(m_state),
      m_session(m_state.settings.format, [this](const AtCommand &command) { return run(command); }),
      m_line(std::move(end))
{
    addGeneralCommands(m_commands, m_state);
    addMessageCommands(m_commands, m_state, m_submits);
    addStorageCommands(m_commands, m_state, m_deliveries);

    connect(&m_line, &SerialLine::received, &m_session, &AtSession::feed);
    connect(&m_session, &AtSession::send, &m_line, &SerialLine::write);
    connect(&m_deliveries, &DeliverService::unsolicited, &m_session, &AtSession::sendUnsolicited);
    connect(&m_line, &SerialLine::plugged, this, [this] {
        m_state.say(u"plugged in: %1"_s.arg(m_line.name()));
        reset();
        announce();
    });
    connect(&m_line, &SerialLine::unplugged, this, [this] {
        m_state.say(u"unplugged"_s);
        m_session.restart();
        m_deliveries.setPlugged(false);
    });
    connect(&m_line, &SerialLine::peerChanged, this, [this](bool open) {
        m_state.say(open ? u"a program opened the port"_s : u"the port was closed"_s);
        if (open)
            greet();
    });
}

void Modem::restart(bool announced)
{
    m_state.say(announced ? u"restarts"_s : u"restarts silently"_s);
    reset();
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
void Modem::reset()
{
    m_state.settings = m_state.settingsAtStart;
    m_state.selected = {Memory::Sim, Memory::Sim, Memory::Sim};
    m_state.sim.starting.setRemainingTime(m_state.sim.startsFor);
    m_session.restart();
    m_deliveries.setPlugged(true);
}

Reply Modem::run(const AtCommand &command)
{
    Reply reply = m_state.answers.run(spelled(command), [&] { return m_commands.run(command); });
    reply.delay += m_state.commandLatency;
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
    if (m_outages++ == 0) {
        m_usualCode = m_state.noNetworkCode;
        m_usualRegistration = m_state.registration;
    }
    m_state.noNetworkCode = code;
    setRegistration(2);
    QTimer::singleShot(duration, this, [this] {
        if (--m_outages > 0)
            return;
        m_state.noNetworkCode = m_usualCode;
        setRegistration(m_usualRegistration);
    });
}

void Modem::setRegistration(int status)
{
    m_state.registration = status;
    m_deliveries.retrySoon();
}

void Modem::setLocked(bool locked)
{
    m_state.sim.pinRequired = locked;
    m_deliveries.retrySoon();
}

void Modem::setSimMissing(bool isMissing)
{
    m_state.sim.isMissing = isMissing;
    m_session.sendUnsolicited({isMissing ? "+CPIN: NOT INSERTED" : "+CPIN: READY"});
    m_deliveries.retrySoon();
}
} // namespace simulator
