#include "mailbox/LongPassSign.h"

namespace
{

constexpr qint64 unnoticedMilliseconds = 1000;

} // namespace

LongPassSign::LongPassSign(OperatorConsole &console, QString activity)
    : m_console(console), m_activity(std::move(activity))
{
    m_sinceBegin.start();
}

LongPassSign::~LongPassSign()
{
    if (m_isShown)
        m_console.showActivity({});
}

void LongPassSign::look()
{
    if (m_isShown || m_sinceBegin.elapsed() < unnoticedMilliseconds)
        return;
    m_isShown = true;
    m_console.showActivity(m_activity);
}
