#include "pop3/Pop3Connector.h"

#include "pop3/LoginRefusal.h"

#include <algorithm>
#include <csignal>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

constexpr std::chrono::milliseconds openingSlice(200); // how soon a limit or a stop request is noticed
constexpr auto userPass = "USER";
constexpr auto apop = "APOP";

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

// The mechanisms that need nothing but a login and a password, those that hide the password first.
constexpr std::array mechanisms{"DIGEST-MD5", "CRAM-MD5", "NTLM", "PLAIN", "LOGIN"};

QByteArray curlOptionFor(const QByteArray &way)
{
    return way == apop ? "AUTH=+APOP"_ba : "AUTH=" + way;
}

/// Leaves the choice to curl, but for what was refused.
QByteArray curlOptionWithout(const QByteArrayList &refused)
{
    if (refused.isEmpty())
        return {};
    QByteArrayList allowed;
    for (const char *mechanism : mechanisms) {
        if (!refused.contains(mechanism))
            allowed += curlOptionFor(mechanism);
    }
    return allowed.isEmpty() ? curlOptionFor(apop) : allowed.join(';');
}

bool isRefusal(Pop3ConnectOutcome outcome)
{
    return outcome == Pop3ConnectOutcome::LoginRefused || outcome == Pop3ConnectOutcome::CodeWanted;
}

} // namespace

Pop3Connector::Pop3Connector(Pop3Account account, Pop3LoginWays ways, const Pop3Options &options,
                             Pop3Observer &observer, Pop3Waiter &waiter)
    : m_account(std::move(account)),
      m_ways(std::move(ways)),
      m_options(options),
      m_observer(observer),
      m_waiter(waiter),
      m_tried(m_ways.refused)
{
    initialiseCurl();
}

void Pop3Connector::begin(Answered answered)
{
    m_answered = std::move(answered);
    if (m_ways.proven == userPass)
        start({{}, false});
    else
        start({m_ways.proven.isEmpty() ? curlOptionWithout(m_ways.refused) : curlOptionFor(m_ways.proven)});
}

Pop3ConnectResult Pop3Connector::finish()
{
    for (;;) {
        while (m_attempt)
            m_waiter.wait(nullptr, openingSlice);
        if (m_next) {
            start(*m_next);
        } else if (m_handle) {
            logInByUserPass();
            settle();
        } else {
            return m_result;
        }
    }
}

void Pop3Connector::settle()
{
    m_handle.reset();
    m_result.loginDelay = m_observer.capabilities().loginDelay;
    m_answered(m_result);
}

void Pop3Connector::start(const Attempt &attempt)
{
    m_attempt = attempt;
    m_next.reset();
    m_isBare = attempt.isBare;
    m_handle = prepare(attempt);
    m_observer.newLine();
    m_pendingLine = {};
    m_connectTimedOut = m_stopped = false;
    m_clock.start();
    m_waiter.open(m_handle.get(), *this);
}

void Pop3Connector::opened(CURLcode outcome)
{
    const Attempt attempt = *std::exchange(m_attempt, std::nullopt);
    long socketConnected = 0;
    double connectSeconds = 0;
    curl_easy_getinfo(m_handle.get(), CURLINFO_CONNECT_TIME, &connectSeconds);
    curl_easy_getinfo(m_handle.get(), CURLINFO_NUM_CONNECTS, &socketConnected);
    curl_easy_setopt(m_handle.get(), CURLOPT_VERBOSE, 0L);
    m_result = explain(outcome, socketConnected > 0 || connectSeconds > 0);
    if (m_result.connected() && !attempt.withLogin)
        return; // finish() goes on
    m_result.way = m_observer.loginWay();
    if (m_result.connected())
        m_dialogue = std::make_unique<Pop3Dialogue>(std::move(m_handle), m_waiter, m_options, m_observer);
    else
        m_next = attemptAfter(attempt);
    m_handle.reset();
    if (!m_next)
        settle();
}

/// Curl waits for "+OK" in capital letters for ever.
bool Pop3Connector::isInLowerCase() const
{
    const QByteArray &greeting = m_observer.lastReply();
    return !m_observer.looksLikePop3() && greeting.toUpper().startsWith("+OK") &&
           (m_account.tlsFromTheFirstByte || m_options.tls != Pop3Tls::Verify);
}

std::optional<Pop3Connector::Attempt> Pop3Connector::attemptAfter(const Attempt &attempt)
{
    if (!attempt.isBare && isInLowerCase())
        return Attempt{{}, false, true};
    const bool lostDuringLogin = m_result.outcome == Pop3ConnectOutcome::LineLost && !m_result.way.isEmpty();
    if (!attempt.withLogin || (!isRefusal(m_result.outcome) && !lostDuringLogin))
        return std::nullopt;
    const QByteArray &reply = m_observer.lastReply();
    m_tried << m_result.way << attempt.loginOptions.mid(attempt.loginOptions.lastIndexOf('=') + 1);
    if (attempt.loginOptions == curlOptionFor(apop))
        m_tried << apop;
    const QByteArrayList left = waysLeft();
    m_result.otherWaysLeft = !left.isEmpty();
    const bool wasTried = !m_result.way.isEmpty() && !isUnknownWay(reply, m_observer.presentable(reply));
    if (left.isEmpty() || wasTried)
        return std::nullopt;
    if (left.first() == userPass)
        return Attempt{{}, false};
    return Attempt{curlOptionFor(left.first())};
}

QByteArrayList Pop3Connector::waysLeft() const
{
    QByteArrayList ways;
    for (const char *mechanism : mechanisms) {
        if (m_observer.capabilities().saslMechanisms.contains(mechanism))
            ways += mechanism;
    }
    if (m_observer.offersApop())
        ways += apop;
    ways += userPass;
    ways.removeIf([&](const QByteArray &way) { return m_tried.contains(way); });
    return ways;
}

CurlHandle Pop3Connector::prepare(const Attempt &attempt)
{
    CurlHandle handle = m_waiter.makeHandle();
    CURL *curl = handle.get();
    QByteArray url = m_account.url;
    if (attempt.isBare) { // of these protocols nothing is spoken but TLS
        url.replace(0, url.indexOf(':'), m_account.tlsFromTheFirstByte ? "https" : "telnet");
        curl_easy_setopt(curl, CURLOPT_SSL_ENABLE_ALPN, 0L);
    }
    curl_easy_setopt(curl, CURLOPT_URL, url.constData());
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, attempt.isBare ? "telnet,https" : "pop3,pop3s");
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
    curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, &Pop3Connector::progressed);
    curl_easy_setopt(curl, CURLOPT_XFERINFODATA, this);
    curl_easy_setopt(curl, CURLOPT_VERBOSE, 1L);
    curl_easy_setopt(curl, CURLOPT_DEBUGFUNCTION, &Pop3Connector::observed);
    curl_easy_setopt(curl, CURLOPT_DEBUGDATA, this);

    const bool verify = m_account.tlsFromTheFirstByte || m_options.tls == Pop3Tls::Verify;
    curl_easy_setopt(curl, CURLOPT_USE_SSL, verify ? CURLUSESSL_ALL : CURLUSESSL_TRY);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, verify ? 1L : 0L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, verify ? 2L : 0L);
    if (!verify) {
        // Without verification an old server's weak TLS is still better than none.
        curl_easy_setopt(curl, CURLOPT_SSLVERSION, CURL_SSLVERSION_TLSv1_0);
        curl_easy_setopt(curl, CURLOPT_SSL_CIPHER_LIST, "DEFAULT:@SECLEVEL=0");
    }
    if (const QByteArray trusted = trustedCertificates(m_options); !trusted.isEmpty())
        curl_easy_setopt(curl, CURLOPT_CAINFO, trusted.constData());
    if (!verify) { // reading the authorities costs as much time as the rest of a login
        curl_easy_setopt(curl, CURLOPT_CAINFO, nullptr);
        curl_easy_setopt(curl, CURLOPT_CAPATH, nullptr);
    }

    if (attempt.withLogin) {
        curl_easy_setopt(curl, CURLOPT_USERNAME, m_account.login.constData());
        curl_easy_setopt(curl, CURLOPT_PASSWORD, m_account.password.constData());
        curl_easy_setopt(curl, CURLOPT_SASL_IR, 1L); // saves a round trip
        if (!attempt.loginOptions.isEmpty())
            curl_easy_setopt(curl, CURLOPT_LOGIN_OPTIONS, attempt.loginOptions.constData());
    }
    return handle;
}

void Pop3Connector::logInByUserPass()
{
    m_result.way = userPass;
    m_tried += userPass;
    auto line = std::make_unique<Pop3Dialogue>(std::move(m_handle), m_waiter, m_options, m_observer);
    line->limitSilence(m_options.limits.login);
    try {
        if (m_isBare)
            static_cast<void>(line->readReply()); // the greeting
        line->send("USER " + m_account.login);
        Pop3Reply reply = line->readReply();
        if (reply.ok) {
            line->send("PASS " + m_account.password);
            reply = line->readReply();
        }
        if (!reply.ok) {
            m_result.outcome = loginRefusal(reply.text, m_observer.presentable(reply.text));
            m_result.text = refusalText(reply.text);
            m_result.otherWaysLeft = isRefusal(m_result.outcome) && !waysLeft().isEmpty();
            return;
        }
        line->limitSilence(m_options.limits.stall);
        m_dialogue = std::move(line);
    } catch (const Pop3Fault &fault) {
        m_result.text = fault.message();
        switch (fault.kind()) {
        case Pop3Fault::Kind::TimedOut:
            m_result.outcome = Pop3ConnectOutcome::TimedOut;
            break;
        case Pop3Fault::Kind::Stopped:
            m_result.outcome = Pop3ConnectOutcome::Stopped;
            break;
        case Pop3Fault::Kind::NotConnected:
        case Pop3Fault::Kind::LineLost:
        case Pop3Fault::Kind::OutOfStep:
            m_result.outcome = Pop3ConnectOutcome::LineLost;
            break;
        }
    }
}

QString Pop3Connector::refusalText(const QByteArray &reply) const
{
    return u"邮箱登录被拒绝：%1 %2"_s.arg(m_account.server, m_observer.presentable(reply));
}

Pop3ConnectResult Pop3Connector::explain(CURLcode code, bool connectedToHost) const
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
        return {loginRefusal(m_observer.lastReply(), reply), refusalText(m_observer.lastReply())};
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

int Pop3Connector::onProgress()
{
    if (m_options.stopRequested && m_options.stopRequested())
        m_stopped = true;
    curl_off_t connected = 0;
    curl_easy_getinfo(m_handle.get(), CURLINFO_CONNECT_TIME_T, &connected);
    const std::chrono::milliseconds elapsed(m_clock.elapsed());
    if (connected == 0 && elapsed >= m_options.limits.connect)
        m_connectTimedOut = true;
    const auto sinceConnected =
        elapsed - std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::microseconds(connected));
    if (connected > 0 && !m_observer.hasGreeted() && sinceConnected >= m_options.limits.greeting)
        m_connectTimedOut = true;
    // curl itself would wait on for a line that POP3 knows.
    return m_stopped || m_connectTimedOut || !m_observer.looksLikePop3() ? 1 : 0;
}

int Pop3Connector::progressed(void *self, curl_off_t /*downloadTotal*/, curl_off_t /*downloaded*/,
                              curl_off_t /*uploadTotal*/, curl_off_t /*uploaded*/)
{
    return static_cast<Pop3Connector *>(self)->onProgress();
}

int Pop3Connector::observed(CURL * /*handle*/, curl_infotype type, char *data, size_t size, void *self)
{
    if (type != CURLINFO_HEADER_IN && type != CURLINFO_HEADER_OUT)
        return 0;
    auto *connector = static_cast<Pop3Connector *>(self);
    QByteArray &pending = connector->m_pendingLine[type == CURLINFO_HEADER_IN ? 0 : 1];
    pending.append(data, static_cast<qsizetype>(size));
    for (qsizetype end = pending.indexOf('\n'); end >= 0; end = pending.indexOf('\n')) {
        const QByteArray line = pending.left(end + 1);
        pending.remove(0, end + 1);
        if (type == CURLINFO_HEADER_IN)
            connector->m_observer.received(line);
        else
            connector->m_observer.sent(line);
    }
    return 0;
}
