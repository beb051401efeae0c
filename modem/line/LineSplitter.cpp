#include "modem/line/LineSplitter.h"

#include "modem/line/ModemLimits.h"

#include <algorithm>

namespace
{

bool isLineEnd(char c)
{
    return c == '\r' || c == '\n';
}

/// Octets that mean nothing in an answer: NULs of a modem that wakes up, echoed ESC and Ctrl-Z, XON and XOFF.
bool isNoise(char c)
{
    return c == '\0' || c == '\x1b' || c == '\x1a' || c == '\x11' || c == '\x13';
}

} // namespace

void LineSplitter::feed(QByteArrayView octets)
{
    m_buffer.reserve(m_buffer.size() + octets.size());
    for (const char c : octets) {
        if (!isNoise(c))
            m_buffer.append(c);
    }
}

std::optional<QByteArray> LineSplitter::takeLine()
{
    while (true) {
        const auto end = std::find_if(m_buffer.cbegin(), m_buffer.cend(), isLineEnd);
        if (end == m_buffer.cend()) {
            if (m_buffer.size() > ModemBounds::lineOctets) {
                m_buffer.clear();
                m_dropping = true;
            }
            return std::nullopt;
        }
        const qsizetype length = end - m_buffer.cbegin();
        QByteArray line = m_buffer.first(length).trimmed();
        m_usesLineFeeds = m_usesLineFeeds || *end == '\n';
        m_endedByReturn = *end == '\r';
        m_buffer.remove(0, length + 1);
        const bool dropped = m_dropping || length > ModemBounds::lineOctets;
        m_dropping = false;
        while (line.startsWith('>'))
            line = line.sliced(1).trimmed();
        if (!dropped && !line.isEmpty())
            return line;
    }
}

bool LineSplitter::takePrompt()
{
    const auto first =
        std::find_if(m_buffer.cbegin(), m_buffer.cend(), [](char c) { return !isLineEnd(c) && c != ' '; });
    if (m_dropping || first == m_buffer.cend() || *first != '>')
        return false;
    m_buffer.remove(0, first - m_buffer.cbegin() + 1);
    return true;
}

void LineSplitter::clear()
{
    m_buffer.clear();
    m_dropping = false;
}
