#include "pop3/LoginRefusal.h"

#include <algorithm>
#include <initializer_list>

using namespace Qt::StringLiterals;

namespace
{

bool containsAny(const QString &text, std::initializer_list<QStringView> phrases)
{
    return std::any_of(phrases.begin(), phrases.end(),
                       [&text](QStringView phrase) { return text.contains(phrase, Qt::CaseInsensitive); });
}

Pop3ConnectOutcome meaningOf(const QByteArray &reply, const QString &words)
{
    const QByteArray upper = reply.toUpper();
    if (upper.contains("[IN-USE]"))
        return Pop3ConnectOutcome::MailboxInUse;
    if (upper.contains("[LOGIN-DELAY]"))
        return Pop3ConnectOutcome::TooOften;
    if (upper.contains("[SYS/"))
        return Pop3ConnectOutcome::ServerUnwell;
    // Large providers take no password from a mail program, and say so in their own words.
    if (containsAny(words, {u"授权码", u"专用密码", u"独立密码", u"未开", u"authorization code",
                            u"authorized code", u"authorisation code", u"auth code", u"app password",
                            u"application password", u"specific password", u"not enabled", u"not open"}))
        return Pop3ConnectOutcome::CodeWanted;
    if (containsAny(words, {u"already locked", u"mailbox is locked", u"maildrop already", u"lock busy"}))
        return Pop3ConnectOutcome::MailboxInUse;
    if (containsAny(words, {u"too many login", u"too frequent", u"login frequency", u"频繁", u"频率"}))
        return Pop3ConnectOutcome::TooOften;
    return Pop3ConnectOutcome::LoginRefused;
}

} // namespace

Pop3ConnectResult refusedLogin(const QString &server, const QByteArray &reply, const QString &words)
{
    return {meaningOf(reply, words), u"邮箱登录被拒绝：%1 %2"_s.arg(server, words)};
}

bool isUnknownWay(const QByteArray &reply, const QString &words)
{
    return !reply.toUpper().contains("[AUTH]") &&
           containsAny(words, {u"support", u"implement", u"unknown command", u"unknown auth", u"unrecogni",
                               u"mechanism", u"syntax", u"bad command", u"invalid command"});
}
