#include "pop3/Pop3Attempt.h"

#include "pop3/LoginRefusal.h"

#include <csignal>

using namespace Qt::StringLiterals;
using std::chrono::milliseconds;

namespace
{

void initialiseCurl()
{
    static const bool done = [] {
        curl_global_init(CURL_GLOBAL_DEFAULT);
#ifdef SIGPIPE
        // A server that hangs up must not end the program; with CURLOPT_NOSIGNAL curl leaves this to us.
        if (const auto previous = std::signal(SIGPIPE, SIG_IGN); previous != SIG_DFL)
            std::signal(SIGPIPE, previous);
#endif
        return true;
    }();
    static_cast<void>(done);
}

QByteArray trustedCertificates(const Pop3Options &options)
{
    // curl's library, unlike its program, does not read the variable itself.
    return options.trustedCertificates.isEmpty() ? qgetenv("SSL_CERT_FILE")
                                                 : options.trustedCertificates.toUtf8();
}

} // namespace

Pop3Attempt::Pop3Attempt(const Pop3Account &account, Way way, const Pop3Options &options,
                         Pop3Observer &observer, Pop3Waiter &waiter, Ended ended)
    : m_account(account),
      m_way(std::move(way)),
      m_options(options),
      m_observer(observer),
      m_ended(std::move(ended)),
      m_opened([this](CURLcode outcome) { opened(outcome); })
{
    initialiseCurl();
    m_handle = waiter.makeHandle();
    prepareLine();
    prepareSecurity();
    if (m_way.withLogin)
        prepareLogin();
    m_observer.newLine();
    m_clock.start();
    waiter.open(m_handle.get(), m_opened);
}

void Pop3Attempt::opened(CURLcode outcome)
{
    CURL *curl = m_handle.get();
    long socketConnected = 0;
    double connectSeconds = 0;
    curl_easy_getinfo(curl, CURLINFO_CONNECT_TIME, &connectSeconds);
    curl_easy_getinfo(curl, CURLINFO_NUM_CONNECTS, &socketConnected);
    curl_easy_setopt(curl, CURLOPT_VERBOSE, 0L);
    m_isUnderWay = false;
    const Pop3ConnectResult result = explain(outcome, socketConnected > 0 || connectSeconds > 0);
    if (!result.connected())
        m_handle.reset();
    m_ended(result);
}

void Pop3Attempt::prepareLine()
{
    CURL *curl = m_handle.get();
    curl_easy_setopt(curl, CURLOPT_URL, m_account.url.constData());
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "pop3,pop3s");
    curl_easy_setopt(curl, CURLOPT_CONNECT_ONLY, 1L);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_PROXY, ""); // no proxy from the environment: they know no POP3
    // A name server that does not answer must cost the time limit, not the resolver's own patience.
    curl_easy_setopt(curl, CURLOPT_QUICK_EXIT, 1L);
    curl_easy_setopt(curl, CURLOPT_TCP_KEEPALIVE, 1L);
    // CURLOPT_CONNECTTIMEOUT would count the login too; onProgress watches the connection proper.
    const long total = static_cast<long>((m_options.limits.connect + m_options.limits.login).count());
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, total);
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, total);
    curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, &Pop3Attempt::progressed);
    curl_easy_setopt(curl, CURLOPT_XFERINFODATA, this);
    curl_easy_setopt(curl, CURLOPT_VERBOSE, 1L);
    curl_easy_setopt(curl, CURLOPT_DEBUGFUNCTION, &Pop3Attempt::observed);
    curl_easy_setopt(curl, CURLOPT_DEBUGDATA, this);
}

void Pop3Attempt::prepareSecurity()
{
    CURL *curl = m_handle.get();
    const bool verify = m_account.tlsFromTheFirstByte || m_options.tls == Pop3Tls::Verify;
    curl_easy_setopt(curl, CURLOPT_USE_SSL, verify ? CURLUSESSL_ALL : CURLUSESSL_TRY);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, verify ? 1L : 0L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, verify ? 2L : 0L);
    if (!verify) {
        // Without verification an old server's weak TLS is still better than none.
        curl_easy_setopt(curl, CURLOPT_SSLVERSION, CURL_SSLVERSION_TLSv1_0);
        curl_easy_setopt(curl, CURLOPT_SSL_CIPHER_LIST, "DEFAULT:@SECLEVEL=0");
        // Reading the authorities costs as much time as the rest of a login.
        curl_easy_setopt(curl, CURLOPT_CAINFO, nullptr);
        curl_easy_setopt(curl, CURLOPT_CAPATH, nullptr);
    } else if (const QByteArray trusted = trustedCertificates(m_options); !trusted.isEmpty())
        curl_easy_setopt(curl, CURLOPT_CAINFO, trusted.constData());
}

void Pop3Attempt::prepareLogin()
{
    CURL *curl = m_handle.get();
    curl_easy_setopt(curl, CURLOPT_USERNAME, m_account.login.constData());
    curl_easy_setopt(curl, CURLOPT_PASSWORD, m_account.password.constData());
    curl_easy_setopt(curl, CURLOPT_SASL_IR, 1L); // saves a round trip
    if (!m_way.loginOptions.isEmpty())
        curl_easy_setopt(curl, CURLOPT_LOGIN_OPTIONS, m_way.loginOptions.constData());
}

Pop3ConnectResult Pop3Attempt::explain(CURLcode code, bool connectedToHost) const
{
    using enum Pop3ConnectOutcome;
    if (code == CURLE_OK)
        return {};
    const QString cause = u"%1（%2）"_s.arg(m_account.server, QString::fromUtf8(curl_easy_strerror(code)));
    const QString reply = m_observer.presentable(m_observer.lastReply());
    if (m_stopped)
        return {Stopped, u"服务正在停止"_s};
    if (m_connectTimedOut)
        return {HostUnreachable, u"连接邮件服务器超时：%1"_s.arg(m_account.server)};
    if (!m_observer.looksLikePop3() || code == CURLE_WEIRD_SERVER_REPLY)
        return {HostUnreachable, u"邮件服务器的应答不是POP3：%1 %2"_s.arg(m_account.server, reply)};
    switch (code) {
    case CURLE_LOGIN_DENIED:
        return refusedLogin(m_account.server, m_observer.lastReply(), reply);
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
        return {HostUnreachable, u"无法连接邮件服务器：%1"_s.arg(cause)};
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_USE_SSL_FAILED:
        return {TlsRefused, u"无法与邮件服务器建立可信的加密连接：%1"_s.arg(cause)};
    case CURLE_OPERATION_TIMEDOUT:
        if (!connectedToHost)
            return {HostUnreachable, u"连接邮件服务器超时：%1"_s.arg(m_account.server)};
        return {m_observer.hasGreeted() ? TimedOut : HostUnreachable,
                u"邮件服务器没有响应：%1"_s.arg(m_account.server)};
    default:
        return {LineLost, u"邮件服务器连接中断：%1"_s.arg(cause)};
    }
}

int Pop3Attempt::onProgress()
{
    m_stopped = m_stopped || m_options.stopRequested();
    curl_off_t connected = 0;
    curl_easy_getinfo(m_handle.get(), CURLINFO_CONNECT_TIME_T, &connected);
    const milliseconds elapsed(m_clock.elapsed());
    if (connected == 0 && elapsed >= m_options.limits.connect)
        m_connectTimedOut = true;
    const auto sinceConnected =
        elapsed - std::chrono::duration_cast<milliseconds>(std::chrono::microseconds(connected));
    if (connected > 0 && !m_observer.hasGreeted() && sinceConnected >= m_options.limits.greeting)
        m_connectTimedOut = true;
    // curl itself would wait on for a line that POP3 knows.
    return m_stopped || m_connectTimedOut || !m_observer.looksLikePop3() ? 1 : 0;
}

int Pop3Attempt::progressed(void *self, curl_off_t /*downloadTotal*/, curl_off_t /*downloaded*/,
                            curl_off_t /*uploadTotal*/, curl_off_t /*uploaded*/)
{
    return static_cast<Pop3Attempt *>(self)->onProgress();
}

int Pop3Attempt::observed(CURL * /*handle*/, curl_infotype type, char *data, size_t size, void *self)
{
    if (type != CURLINFO_HEADER_IN && type != CURLINFO_HEADER_OUT)
        return 0;
    auto *attempt = static_cast<Pop3Attempt *>(self);
    QByteArray &pending = attempt->m_pendingLine[type == CURLINFO_HEADER_IN ? 0 : 1];
    pending.append(data, static_cast<qsizetype>(size));
    for (qsizetype end = pending.indexOf('\n'); end >= 0; end = pending.indexOf('\n')) {
        const QByteArray line = pending.left(end + 1);
        pending.remove(0, end + 1);
        if (type == CURLINFO_HEADER_IN)
            attempt->m_observer.received(line);
        else
            attempt->m_observer.sent(line);
    }
    return 0;
}
