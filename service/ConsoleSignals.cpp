#include "service/ConsoleSignals.h"

#include "foundation/GetFormateTime.h"
#include "platform/text/HarmlessText.h"

/// A log line is one line, whatever a value in it holds.
void ConsoleSignals::addLogLine(const QString &message)
{
    emit lineAdded(GetFormateTime(m_clock) + u' ' + harmlessText(message));
}

void ConsoleSignals::setPanelText(Panel panel, const QString &text)
{
    if (std::exchange(m_panels[panel], text) != text)
        emit panelChanged(panel, text);
}
