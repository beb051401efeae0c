#include "pop3/DotUnstuffer.h"

#include <cstring>

void DotUnstuffer::keep(QByteArray &content, QByteArrayView octets)
{
    content.append(octets);
    m_contentOctets += octets.size();
}

void DotUnstuffer::takeLine(QByteArrayView octets, qsizetype &at, QByteArray &content)
{
    const QByteArrayView rest = octets.sliced(at);
    const auto *end =
        static_cast<const char *>(std::memchr(rest.data(), '\n', static_cast<size_t>(rest.size())));
    const QByteArrayView line = rest.first(end ? end - rest.data() + 1 : rest.size());
    keep(content, line);
    at += line.size();
    if (!end) {
        m_afterCr = line.back() == '\r';
        return;
    }
    const bool crLf = line.size() > 1 ? line[line.size() - 2] == '\r' : m_afterCr;
    m_state = crLf || m_bareLineFeeds ? State::LineStart : State::AfterBareLf;
    m_afterCr = false;
}

void DotUnstuffer::takeDoubtful(char c, qsizetype &at, QByteArray &content)
{
    static constexpr QByteArrayView held = ".\r\n";
    const auto step = [&](char wanted, State next, qsizetype heldOctets) {
        if (c == wanted) {
            m_state = next;
            ++at;
            return;
        }
        keep(content, held.first(heldOctets));
        m_afterCr = heldOctets == 2;
        m_state = State::InLine;
    };
    if (m_state == State::AfterBareLf) {
        step('.', State::DoubtfulDot, 0);
    } else if (m_state == State::DoubtfulDot) {
        step('\r', State::DoubtfulDotCr, 1);
    } else if (m_state == State::DoubtfulDotCr) {
        step('\n', State::DoubtfulEnd, 2);
        if (m_state == State::DoubtfulEnd && m_toldOctets > 0 && m_contentOctets >= m_toldOctets)
            m_state = State::Finished;
    } else { // something follows
        keep(content, held);
        m_passedDoubt = true;
        m_state = State::LineStart;
    }
}

qsizetype DotUnstuffer::consume(QByteArrayView octets, QByteArray &content)
{
    qsizetype at = 0;
    while (at < octets.size() && m_state != State::Finished) {
        const char c = octets[at];
        switch (m_state) {
        case State::LineStart:
            m_afterCr = false;
            m_state = c == '.' ? State::AfterDot : State::InLine;
            at += c == '.' ? 1 : 0;
            break;
        case State::AfterDot: // which was put in front, if anything else follows, and is dropped
            m_state = c == '\r'                      ? State::AfterDotCr
                      : c == '\n' && m_bareLineFeeds ? State::Finished
                                                     : State::InLine;
            at += m_state == State::InLine ? 0 : 1;
            break;
        case State::AfterDotCr:
            if (c != '\n')
                keep(content, "\r");
            m_afterCr = c != '\n';
            m_state = m_afterCr ? State::InLine : State::Finished;
            at += m_afterCr ? 0 : 1;
            break;
        case State::InLine:
            takeLine(octets, at, content);
            break;
        case State::AfterBareLf:
        case State::DoubtfulDot:
        case State::DoubtfulDotCr:
        case State::DoubtfulEnd:
            takeDoubtful(c, at, content);
            break;
        case State::Finished:
            break;
        }
    }
    return at;
}
