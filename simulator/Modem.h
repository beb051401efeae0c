#pragma once

#include "simulator/commands/CommandTable.h"
#include "simulator/line/SerialLine.h"
#include "simulator/network/DeliverService.h"
#include "simulator/network/SubmitService.h"

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
    SubmitService &submits() { return m_submits; }
    DeliverService &deliveries() { return m_deliveries; }

    /// A restart with the line up: settings are as at first; announced by its start lines, or silently.
    void restart(bool announced);
    /// No network for so long: <stat> 2, and sends are refused with that code.
    void beginOutage(std::chrono::milliseconds duration, int code);
    /// <stat> of +CREG.
    void setRegistration(int status);
    /// Whether the SIM wants a PIN.
    void setLocked(bool locked);
    /// The SIM is taken out, or put in again: "+CPIN" tells.
    void setSimMissing(bool isMissing);

private:
    Reply run(const AtCommand &command);
    void reset();
    void announce();
    void greet();
    void restartIfWanted(const Reply &reply);

    ModemState m_state;
    int m_outages = 0;   ///< that have not ended
    int m_usualCode = 0; ///< when there is none
    int m_usualRegistration = 0;
    SubmitService m_submits;
    DeliverService m_deliveries;
    CommandTable m_commands;
    AtSession m_session;
    SerialLine m_line;
    std::unique_ptr<QObject> m_announcements; ///< owner of the timers of start lines
};
} // namespace simulator
