#pragma once

#include "console/frmMain.h"
#include "foundation/Settings.h"
#include "tests/support/Office.h"
#include "tests/support/ScriptedBoxes.h"

/// The main window in an office of its own, on a service that can be started and never finds a modem.
class ConsoleFixture
{
public:
    ConsoleFixture()
    {
        QObject::connect(&service, &Service::ended, &window, [this] { ++endings; });
    }

    template <typename Widget>
    [[nodiscard]] Widget *child(const char *name) const
    {
        return window.findChild<Widget *>(QString::fromLatin1(name));
    }
    /// What the status bar shows.
    [[nodiscard]] QString panel(OperatorConsole::Panel panel) const
    {
        return window.findChild<QLabel *>(QStringLiteral("StatusBarPanel%1").arg(panel))->text();
    }

    Office office;
    ScriptedBoxes boxes;
    ModemControl modem{office.clock, [this](int) { return device; }};
    QString device = office.path(QStringLiteral("no-modem"));
    int endings = 0;
    const ServerParts parts{office.clock, office.registry, office.session, modem};
    ConsoleSignals console{office.clock};
    Service service{parts, console, boxes};
    frmMain window{parts, service, console, boxes};
};
