#include "pop3/DotUnstuffer.h"

#include <cstring>

qsizetype DotUnstuffer::consume(QByteArrayView octets, QByteArray &content)
{
    qsizetype at = 0;
    while (at < octets.size() && m_state != State::Finished) {
        const char c = octets[at];
        switch (m_state) {
        case State::LineStart:
            m_afterCr = false;
            if (c == '.') {
                m_state = State::AfterDot;
                ++at;
            } else {
                m_state = State::InLine;
            }
            break;
        case State::AfterDot:
            if (c == '\r') {
                m_state = State::AfterDotCr;
                ++at;
            } else if (c == '\n' && m_bareLineFeeds) {
                m_state = State::Finished;
                ++at;
            } else {
                m_state = State::InLine; // the dot was put in front and is dropped
            }
            break;
        case State::AfterDotCr:
            if (c == '\n') {
                m_state = State::Finished;
                ++at;
            } else {
                content.append('\r');
                m_afterCr = true;
                m_state = State::InLine;
            }
            break;
        case State::InLine: {
            const char *start = octets.data() + at;
            const auto *end =
                static_cast<const char *>(std::memchr(start, '\n', static_cast<size_t>(octets.size() - at)));
            const qsizetype length = end ? end - start + 1 : octets.size() - at;
            content.append(start, length);
            at += length;
            if (end) {
                const bool crLf = length > 1 ? start[length - 2] == '\r' : m_afterCr;
                m_state = crLf || m_bareLineFeeds ? State::LineStart : State::InLine;
                m_afterCr = false;
            } else {
                m_afterCr = start[length - 1] == '\r';
            }
            break;
        }
        case State::Finished:
            break;
        }
    }
    return at;
}
