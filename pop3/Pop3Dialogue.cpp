#include "pop3/Pop3Dialogue.h"

#include "pop3/DotUnstuffer.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;
using std::chrono::milliseconds;

namespace
{

constexpr qsizetype receiveChunk = 128LL * 1024;
constexpr milliseconds pollSlice(200); // how soon a limit or a stop request is noticed

} // namespace

Pop3Dialogue::Pop3Dialogue(CurlHandle handle, Pop3Waiter &waiter, const Pop3Options &options,
                           Pop3Observer &observer)
    : m_handle(std::move(handle)),
      m_waiter(waiter),
      m_options(options),
      m_observer(observer),
      m_stall(options.limits.stall)
{
}

void Pop3Dialogue::close() noexcept
{
    m_handle.reset();
}

void Pop3Dialogue::fail(Pop3Fault::Kind kind, const QString &cause)
{
    close();
    throw Pop3Fault(kind, u"邮件服务器连接中断：%1"_s.arg(cause));
}

void Pop3Dialogue::send(const QByteArray &command)
{
    Q_ASSERT(isOpen() && !command.contains('\r') && !command.contains('\n'));
    m_observer.sent(command);
    m_queued += command + "\r\n";
}

void Pop3Dialogue::flush()
{
    for (;;) {
        if (m_sentOctets == m_sending.size()) {
            m_sending = std::exchange(m_queued, {});
            m_sentOctets = 0;
            if (m_sending.isEmpty())
                return;
        }
        size_t sent = 0;
        const CURLcode code = curl_easy_send(m_handle.get(), m_sending.constData() + m_sentOctets,
                                             static_cast<size_t>(m_sending.size() - m_sentOctets), &sent);
        if (code == CURLE_AGAIN)
            return;
        if (code != CURLE_OK)
            fail(Pop3Fault::Kind::LineLost, QString::fromUtf8(curl_easy_strerror(code)));
        m_sentOctets += static_cast<qsizetype>(sent);
    }
}

bool Pop3Dialogue::receiveWhatIsThere()
{
    if (m_inputAt == m_input.size() || m_inputAt >= receiveChunk) {
        m_input.remove(0, m_inputAt);
        m_inputAt = 0;
    }
    flush();
    const qsizetype before = m_input.size();
    m_input.resize(before + receiveChunk);
    size_t received = 0;
    // TLS may hold octets that the socket no longer shows: always receive first, wait afterwards.
    const CURLcode code = curl_easy_recv(m_handle.get(), m_input.data() + before, receiveChunk, &received);
    m_input.resize(before + static_cast<qsizetype>(received));
    if (code == CURLE_AGAIN)
        return false;
    if (code != CURLE_OK)
        fail(Pop3Fault::Kind::LineLost, QString::fromUtf8(curl_easy_strerror(code)));
    if (received == 0)
        fail(Pop3Fault::Kind::LineLost, u"服务器关闭了连接"_s);
    if (m_windowOctets == 0)
        m_windowClock.start();
    m_windowOctets += static_cast<qint64>(received);
    m_silenceClock.start();
    return true;
}

void Pop3Dialogue::beginWindow()
{
    m_windowOctets = m_input.size() - m_inputAt;
    m_windowClock.start();
}

void Pop3Dialogue::receiveMore()
{
    while (!receiveWhatIsThere())
        waitForLine();
}

bool Pop3Dialogue::somethingFollows(milliseconds limit)
{
    if (m_inputAt < m_input.size())
        return true;
    QElapsedTimer waited;
    waited.start();
    while (!receiveWhatIsThere()) {
        const milliseconds left = limit - milliseconds(waited.elapsed());
        if (left <= milliseconds(0))
            return false;
        pollLine(left);
    }
    return true;
}

void Pop3Dialogue::waitForLine()
{
    const Pop3Limits &limits = m_options.limits;
    const milliseconds silence(m_silenceClock.elapsed());
    if (silence >= m_stall)
        fail(Pop3Fault::Kind::TimedOut, u"服务器没有响应"_s);
    if (m_windowOctets > 0 && milliseconds(m_windowClock.elapsed()) >= limits.speedWindow) {
        if (m_windowOctets < limits.windowLeastOctets)
            fail(Pop3Fault::Kind::TimedOut, u"传输太慢"_s);
        m_windowOctets = 0;
    }
    if (milliseconds(m_exchangeClock.elapsed()) >= limits.exchange)
        fail(Pop3Fault::Kind::TimedOut, u"传输超过时限"_s);
    if (silence >= limits.stopGrace && m_options.stopRequested())
        fail(Pop3Fault::Kind::Stopped, u"服务正在停止"_s);

    pollLine(m_stall - silence);
}

void Pop3Dialogue::pollLine(milliseconds most)
{
    curl_waitfd line{};
    curl_easy_getinfo(m_handle.get(), CURLINFO_ACTIVESOCKET, &line.fd);
    const bool unsent = m_sentOctets < m_sending.size();
    line.events = static_cast<short>(unsent ? CURL_WAIT_POLLIN | CURL_WAIT_POLLOUT : CURL_WAIT_POLLIN);
    m_waiter.wait(&line, std::min(pollSlice, most));
}

Pop3Reply Pop3Dialogue::readReply()
{
    Q_ASSERT(isOpen());
    flush();
    m_exchangeClock.start();
    m_silenceClock.start();
    beginWindow();
    qsizetype end = m_input.indexOf('\n', m_inputAt);
    while (end < 0) {
        if (m_input.size() - m_inputAt > m_options.limits.lineOctets)
            fail(Pop3Fault::Kind::LineLost, u"服务器发来的行太长"_s);
        receiveMore();
        end = m_input.indexOf('\n', m_inputAt);
    }
    QByteArray line = m_input.mid(m_inputAt, end - m_inputAt);
    m_inputAt = end + 1;
    m_bareLineFeeds = !line.endsWith('\r');
    if (!m_bareLineFeeds)
        line.chop(1);
    m_observer.received(line);

    const QByteArray indicator = line.split(' ').first().toUpper();
    if (indicator != "+OK" && indicator != "-ERR")
        fail(Pop3Fault::Kind::OutOfStep, u"服务器的应答不是POP3：%1"_s.arg(m_observer.presentable(line)));
    return {indicator == "+OK", line.mid(indicator.size()).trimmed()};
}

std::optional<QByteArray> Pop3Dialogue::readContent(qint64 most, Pop3Expectation expected)
{
    beginWindow();
    DotUnstuffer unstuffer(m_bareLineFeeds, expected.toldOctets);
    QByteArray content;
    qint64 discarded = 0;
    for (;;) {
        const QByteArrayView input = QByteArrayView(m_input).sliced(m_inputAt);
        m_inputAt += unstuffer.consume(input, content);
        if (discarded > 0 || content.size() > most) {
            discarded += content.size();
            content.clear();
        }
        if (unstuffer.endsInDoubt() && !expected.othersFollow) {
            if (somethingFollows(m_options.limits.doubtfulEnd))
                continue;
            unstuffer.finishInDoubt();
        }
        if (unstuffer.finished())
            break;
        if (discarded > 2 * most)
            fail(Pop3Fault::Kind::LineLost, u"邮件太大"_s);
        receiveMore();
    }
    if (unstuffer.isInDoubt() && expected.othersFollow)
        fail(Pop3Fault::Kind::OutOfStep, u"邮件的结尾不明确"_s);
    if (discarded > 0)
        return std::nullopt;
    return content;
}
