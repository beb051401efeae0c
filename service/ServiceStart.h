#pragma once

#include "service/MessageBoxes.h"
#include "service/ServerParts.h"

#include <chrono>
#include <optional>

/// The Start path from the database to the open modem port: reads the settings, tells the operator each step.
class ServiceStart
{
public:
    enum class Outcome {
        PortOpened,
        DatabaseAbsent, ///< may come up by itself
        SettingMissing, ///< nothing to wait for: a person has to act
        PortFailed,     ///< may come up by itself
    };

    static constexpr std::chrono::seconds defaultInterval{10};

    /// A COM port setting as its number: a whole number in the 16-bit range that the modem control takes.
    [[nodiscard]] static std::optional<qint16> comPortNumber(const QString &text);

    ServiceStart(ServerParts parts, OperatorConsole &console) : m_parts(std::move(parts)), m_console(console)
    {
    }

    /// Throws Fault when the registry cannot be read.
    [[nodiscard]] Outcome run(MessageBoxes &boxes);

    /// The COM port of the last run; 0 when its setting is no port number.
    [[nodiscard]] qint32 comPort() const { return m_comPort; }
    /// The scan interval of the last run.
    [[nodiscard]] std::chrono::milliseconds interval() const { return m_interval; }
    /// TimeDelay as it is now, as the common interval of the work timers: 10 s unless it is a number that
    /// rounds to more than 0 seconds, and never more than a timer holds. Throws Fault.
    [[nodiscard]] std::chrono::milliseconds scanInterval() const;

private:
    void tellDatabaseProblems();
    [[nodiscard]] bool openPort(std::optional<qint16> port, const QString &centerCode);

    ServerParts m_parts;
    OperatorConsole &m_console;
    qint32 m_comPort = 0;
    std::chrono::milliseconds m_interval{0};
};
