#pragma once

#include "foundation/DatabaseSession.h"
#include "modem/ModemControl.h"
#include "platform/registry/FileRegistry.h"
#include "service/Service.h"
#include "tests/simulation/Story.h"

#include <QMap>
#include <functional>

class LockTable;

/// One run of the real server, on this process's seams. It starts as an unattended service does. Destroyed without
/// stop(), it leaves things as a kill does.
class Server final : private OperatorConsole
{
public:
    /// number: from 1 on; its settings, its modem and its files carry it.
    /// locks: of the database, where there are several.
    Server(int number, const Story &story, LockTable &locks, std::function<void(const QString &line)> log);

    /// As a signal does: whatever runs comes to its end soon.
    void requestStop() { m_isStopRequested = true; }
    /// Ends it as the operator does; nothing of it may run.
    void stop() { m_service.stop(); }

private:
    void writeSettings(int number, const Story &story);
    void set(const QString &name, const QString &value);

    void addLogLine(const QString &message) override;
    [[nodiscard]] QString panelText(Panel panel) const override { return m_panels.value(panel); }
    void setPanelText(Panel panel, const QString &text) override { m_panels[panel] = text; }
    void showActivity(const QString &) override {}
    [[nodiscard]] bool stopRequested() const override;

    const std::function<void(const QString &)> m_log;
    QMap<Panel, QString> m_panels;
    bool m_isStopRequested = false;
    FileRegistry m_registry;
    SystemClock m_clock;
    DatabaseSession m_session{m_registry};
    ModemControl m_modem{m_clock, [](int port) { return QStringLiteral("modem%1").arg(port); }};
    LoggedMessageBoxes m_boxes{*this};
    Service m_service;
};
