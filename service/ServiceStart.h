#pragma once

#include "foundation/ServiceSettings.h"
#include "service/MessageBoxes.h"
#include "service/ServerParts.h"

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

    ServiceStart(ServerParts parts, OperatorConsole &console) : m_parts(std::move(parts)), m_console(console)
    {
    }

    /// Throws Fault when the registry cannot be read.
    [[nodiscard]] Outcome run(MessageBoxes &boxes);

    /// The settings as the last run read them; until then the defaults.
    [[nodiscard]] const ServiceSettings &settings() const { return m_settings; }

private:
    void tellDatabaseProblems();
    [[nodiscard]] bool openPort();

    ServerParts m_parts;
    OperatorConsole &m_console;
    ServiceSettings m_settings;
};
