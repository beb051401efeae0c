#include "modem/line/UnsolicitedLines.h"

#include "modem/line/AnswerFields.h"
#include "modem/line/ModemLimits.h"

#include <algorithm>
#include <cctype>

namespace
{

/// Lines between an announcement and its TPDU: a call, noise on the line.
constexpr int mostBetween = 3;

/// In PDU mode (3GPP TS 27.005, 3.4.1): "<length>" or "[<alpha>],<length>".
bool announcesTpdu(const QByteArray &line)
{
    return (startsWithWord(line, "+CMT:") || startsWithWord(line, "+CDS:") ||
            startsWithWord(line, "+CBM:")) &&
           answerFields(line).size() <= 2;
}

} // namespace

bool isHexDigits(const QByteArray &line)
{
    return std::all_of(line.begin(), line.end(), [](unsigned char c) { return std::isxdigit(c) != 0; });
}

bool UnsolicitedLines::add(const QByteArray &line)
{
    if (m_lines.size() >= ModemBounds::unsolicitedLines)
        return false;
    const bool announces = announcesTpdu(line);
    if (m_announced && (announces || ++m_linesSince > mostBetween))
        m_lines.append(*std::exchange(m_announced, std::nullopt));
    if (announces) {
        m_announced = AtLine{line, {}};
        m_linesSince = 0;
    } else {
        m_lines.append({line, {}});
    }
    return !announces;
}

bool UnsolicitedLines::takePayload(const QByteArray &line)
{
    if (!m_announced || !isHexDigits(line))
        return false;
    // Behind other lines it may be an answer of digits.
    if (m_linesSince > 0 && line.size() < 2LL * answerFields(m_announced->text).last().number().value_or(0))
        return false;
    m_lines.append({m_announced->text, line});
    m_announced.reset();
    return true;
}
