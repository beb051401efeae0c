#pragma once

#include "simulator/CommandTable.h"
#include "simulator/DeliverService.h"
#include "simulator/SubmitService.h"
#include "simulator/line/SerialLine.h"

namespace simulator
{
/// The modem: a line, a dialogue on it, and the network behind it.
class Modem : public QObject
{
    Q_OBJECT

public:
    /// logFile: see SentLog; empty for none. Throws std::runtime_error when it cannot be written.
    Modem(std::unique_ptr<LineEnd> end, const QString &logFile, int storageCapacity, int firstIndex);

    ModemState &state() { return m_state; }
    SerialLine &line() { return m_line; }
    AtSession &session() { return m_session; }
    SubmitService &submits() { return m_submits; }
    DeliverService &deliveries() { return m_deliveries; }

    /// A restart with the line up: settings are as at first; announced by its start lines, or silently and
    /// without a pause.
    void restart(bool announced);
    /// No network for so long: <stat> 2, and sends are refused with that code.
    void beginOutage(std::chrono::milliseconds duration, int code);
    /// <stat> of +CREG, with the unsolicited line that was asked for.
    void setRegistration(int status);
    /// How long a modem that was plugged in answers nothing.
    void setWakeTime(std::chrono::milliseconds wakeTime) { m_wakeTime = wakeTime; }
    void setLocked(bool locked, const QByteArray &pin);

private:
    Reply run(const AtCommand &command);
    void start();
    void reset(std::chrono::milliseconds deafFor);
    void announce();
    void greet();
    void restartIfWanted(const Reply &reply);

    ModemState m_state;
    SentLog m_log;
    SubmitService m_submits;
    DeliverService m_deliveries;
    CommandTable m_commands;
    AtSession m_session;
    SerialLine m_line;
    std::chrono::milliseconds m_wakeTime{0};
    bool m_lockedAtStart = false;
    std::unique_ptr<QObject> m_announcements; ///< owner of the timers of start lines
};
} // namespace simulator
