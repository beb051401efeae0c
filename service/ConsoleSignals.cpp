#include "service/ConsoleSignals.h"

#include "foundation/GetFormateTime.h"

namespace
{

/// A log line is one line, whatever a value in it holds.
QString onOneLine(QString text)
{
    for (QChar &character : text) {
        // U+FDD0 and U+FDD1 are frame marks to a text document.
        if (character.category() == QChar::Other_Control || character == QChar::LineSeparator ||
            character == QChar::ParagraphSeparator || character == QChar(0xfdd0) ||
            character == QChar(0xfdd1))
            character = u' ';
    }
    return text;
}

} // namespace

void ConsoleSignals::addLogLine(const QString &message)
{
    emit lineAdded(GetFormateTime(m_clock) + u' ' + onOneLine(message));
}

void ConsoleSignals::setPanelText(Panel panel, const QString &text)
{
    if (std::exchange(m_panels[panel], text) != text)
        emit panelChanged(panel, text);
}
