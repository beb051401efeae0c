#include "pop3/DotUnstuffer.h"

#include <utility>

void DotUnstuffer::keep(QByteArrayView octets, QByteArray &content)
{
    content.append(octets);
    m_contentOctets += octets.size();
}

qsizetype DotUnstuffer::consume(QByteArrayView octets, QByteArray &content)
{
    constexpr QByteArrayView end = ".\r\n";
    qsizetype at = 0;
    while (at < octets.size() && !m_isFinished) {
        if (std::exchange(m_endsInDoubt, false)) { // and something follows
            m_passedDoubt = true;
            keep(end, content);
        }
        QByteArrayView rest = octets.sliced(at);
        if (m_isAtLine && rest.front() == '.') {
            if (rest.size() < end.size() && end.startsWith(rest))
                break;
            const bool isEnd = rest.startsWith(end);
            if (isEnd || (m_bareLineFeeds && rest.startsWith(".\n"))) {
                at += isEnd ? 3 : 2;
                m_endsInDoubt = m_isAfterBareLf;
                m_isFinished = !m_isAfterBareLf || (m_toldOctets > 0 && m_contentOctets >= m_toldOctets);
                m_isAfterBareLf = false;
                continue;
            }
            if (!m_isAfterBareLf) // the dot was put in front
                rest = octets.sliced(++at);
        }
        const qsizetype lineFeed = rest.indexOf('\n');
        const QByteArrayView line = rest.first(lineFeed < 0 ? rest.size() : lineFeed + 1);
        keep(line, content);
        at += line.size();
        m_isAtLine = lineFeed >= 0;
        m_isAfterBareLf = lineFeed > 0 ? line[lineFeed - 1] != '\r' : !m_isAfterCr;
        m_isAfterBareLf = m_isAfterBareLf && m_isAtLine && !m_bareLineFeeds;
        m_isAfterCr = line.back() == '\r';
    }
    return at;
}
