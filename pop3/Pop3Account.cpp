#include "pop3/Pop3Account.h"

#include <QUrl>
#include <algorithm>

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

} // namespace

std::variant<Pop3Account, QString> checkedAccount(const QString &login, const QString &password,
                                                  const QString &server, int port, int tlsPort)
{
    if (port < 1 || port > 0xFFFF)
        return u"POP3端口无效：%1"_s.arg(port);
    Pop3Account account;
    account.tlsFromTheFirstByte = port == tlsPort;
    QUrl url;
    url.setScheme(account.tlsFromTheFirstByte ? u"pop3s"_s : u"pop3"_s);
    url.setHost(server.trimmed());
    url.setPort(port);
    account.url = url.toEncoded();
    account.server = url.authority(QUrl::FullyEncoded);
    if (url.host().isEmpty() || account.server.size() > longestHost)
        return u"POP3服务器地址无效：“%1”"_s.arg(server.left(longestHost));
    if (login.isEmpty() || hasControlCharacter(login) || login.toUtf8().size() > longestCredential)
        return u"邮箱登录名为空、过长或含有控制字符"_s;
    if (hasControlCharacter(password) || password.toUtf8().size() > longestCredential)
        return u"邮箱密码过长或含有控制字符"_s;

    account.login = login.toUtf8();
    account.password = password.toUtf8();
    return account;
}
