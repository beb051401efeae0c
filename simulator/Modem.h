#pragma once

#include "simulator/commands/CommandTable.h"
#include "simulator/line/SerialLine.h"

namespace simulator
{
/// The modem: a line, a dialogue on it, and the network behind it.
class Modem : public QObject
{
    Q_OBJECT

public:
    explicit Modem(std::unique_ptr<LineEnd> end);

    ModemState &state() { return m_state; }
    SerialLine &line() { return m_line; }
    AtSession &session() { return m_session; }
    Network &network() { return m_network; }

    /// A restart with the line up: settings are as at first; announced by its start lines, or silently.
    void restart(bool announced);
    /// No network for so long: <stat> 2, and sends are refused.
    void beginOutage(std::chrono::milliseconds duration);

private:
    Reply run(const AtCommand &command);
    void reset();
    void announce();
    void say(QList<UnaskedText> &texts, QObject *context);
    void endIn(const Reply &reply);

    ModemState m_state;
    Network m_network;
    CommandTable m_commands;
    AtSession m_session;
    SerialLine m_line;
    std::unique_ptr<QObject> m_announcements; ///< of the last start: owner of their timers
};
} // namespace simulator
