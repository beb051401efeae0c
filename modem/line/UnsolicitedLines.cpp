#include "modem/line/UnsolicitedLines.h"

#include "modem/line/AnswerFields.h"
#include "modem/line/ModemLimits.h"

#include <algorithm>
#include <cctype>
#include <utility>

bool isHexDigits(const QByteArray &line)
{
    return std::all_of(line.begin(), line.end(), [](unsigned char c) { return std::isxdigit(c) != 0; });
}

bool UnsolicitedLines::add(const QByteArray &line)
{
    m_wantsPayload = false;
    if (m_lines.size() >= ModemBounds::unsolicitedLines)
        return false;
    m_lines.append({line, {}});
    // In PDU mode (3GPP TS 27.005, 3.4.1).
    m_wantsPayload =
        startsWithWord(line, "+CMT:") || startsWithWord(line, "+CDS:") || startsWithWord(line, "+CBM:");
    return !m_wantsPayload;
}

bool UnsolicitedLines::takePayload(const QByteArray &line)
{
    if (!m_wantsPayload || !isHexDigits(line))
        return false;
    m_wantsPayload = false;
    m_lines.last().payload = line;
    return true;
}

QList<AtLine> UnsolicitedLines::take()
{
    QList<AtLine> taken = std::exchange(m_lines, {});
    if (m_wantsPayload)
        m_lines.append(taken.takeLast());
    return taken;
}
