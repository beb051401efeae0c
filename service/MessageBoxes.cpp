#include "service/MessageBoxes.h"

void LoggedMessageBoxes::inform(const QString &text)
{
    m_console.addLogLine(text);
}

bool LoggedMessageBoxes::confirm(const QString &text)
{
    m_console.addLogLine(text);
    return false;
}
