#include "pop3/Pop3Account.h"

#include <QUrl>
#include <algorithm>
#include <curl/curl.h>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{
constexpr int longestHost = 255;        // RFC 1035, 2.3.4
constexpr int longestCredential = 1024; // octets; no server accepts more on one command line

bool hasControlCharacter(const QString &text)
{
    return std::any_of(text.cbegin(), text.cend(),
                       [](QChar c) { return c.unicode() < 0x20 || c.unicode() == 0x7F; });
}

bool isHostName(const QByteArray &host)
{
    return !host.isEmpty() && host.size() <= longestHost && !host.startsWith('-') && !host.startsWith('.') &&
           std::all_of(host.cbegin(), host.cend(), [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                      c == '-' || c == '.' || c == '_';
           });
}

bool looksLikeIpv6(const QByteArray &host)
{
    return host.contains(':') && std::all_of(host.cbegin(), host.cend(), [](char c) {
               return (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F') || (c >= '0' && c <= '9') ||
                      c == ':' || c == '.';
           });
}

/// The host as a URL writes it; empty when it is none.
QByteArray urlHost(const QString &server)
{
    QString host = server.trimmed();
    if (host.startsWith(u'[') && host.endsWith(u']'))
        host = host.mid(1, host.size() - 2);
    const bool ascii = std::all_of(host.cbegin(), host.cend(), [](QChar c) { return c.unicode() < 0x80; });
    const QByteArray octets = ascii ? host.toLatin1() : QUrl::toAce(host);
    if (looksLikeIpv6(octets))
        return '[' + octets + ']';
    return isHostName(octets) ? octets : QByteArray();
}

QByteArray composeUrl(const char *scheme, const QByteArray &host, int port)
{
    const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> url(curl_url(), &curl_url_cleanup);
    char *text = nullptr;
    if (curl_url_set(url.get(), CURLUPART_SCHEME, scheme, 0) != CURLUE_OK ||
        curl_url_set(url.get(), CURLUPART_HOST, host.constData(), 0) != CURLUE_OK ||
        curl_url_set(url.get(), CURLUPART_PORT, QByteArray::number(port).constData(), 0) != CURLUE_OK ||
        curl_url_get(url.get(), CURLUPART_URL, &text, 0) != CURLUE_OK)
        return {};
    QByteArray result(text);
    curl_free(text);
    return result;
}
} // namespace

std::variant<Pop3Account, QString> checkedAccount(const QString &login, const QString &password,
                                                  const QString &server, int port, int tlsPort)
{
    if (port < 1 || port > 0xFFFF)
        return u"POP3端口无效：%1"_s.arg(port);
    const QByteArray host = urlHost(server);
    if (host.isEmpty())
        return u"POP3服务器地址无效：“%1”"_s.arg(server.left(longestHost));
    if (login.isEmpty() || hasControlCharacter(login) || login.toUtf8().size() > longestCredential)
        return u"邮箱登录名为空、过长或含有控制字符"_s;
    if (hasControlCharacter(password) || password.toUtf8().size() > longestCredential)
        return u"邮箱密码过长或含有控制字符"_s;

    Pop3Account account;
    account.tlsFromTheFirstByte = port == tlsPort;
    account.url = composeUrl(account.tlsFromTheFirstByte ? "pop3s" : "pop3", host, port);
    if (account.url.isEmpty())
        return u"POP3服务器地址无效：“%1”"_s.arg(server.left(longestHost));
    account.server = u"%1:%2"_s.arg(QString::fromLatin1(host)).arg(port);
    account.login = login.toUtf8();
    account.password = password.toUtf8();
    return account;
}
