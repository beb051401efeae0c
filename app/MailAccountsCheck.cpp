#include "app/SelfCheck.h"
#include "foundation/DatabaseSession.h"
#include "mailbox/MailAccount.h"
#include "mailbox/Pop3PollingDriver.h"
#include "pop3/Pop3Client.h"
#include "pop3/Pop3Waiter.h"

#include <map>

using namespace Qt::StringLiterals;

namespace
{

/// Hosts that are tried beside each other, so that those which are silent cost one time limit together.
constexpr int mostTogether = 100;
constexpr std::chrono::milliseconds slice{200};

QString remedy(Pop3ConnectOutcome outcome)
{
    using enum Pop3ConnectOutcome;
    static const QHash<Pop3ConnectOutcome, QString> remedies{
        {InvalidAccount, u"请检查邮箱设置（SA_email）中的服务器、端口、登录名和密码"_s},
        {HostUnreachable, u"请检查服务器名称、端口、网络和防火墙"_s},
        {TlsRefused,
         u"请检查服务器名称与证书是否一致、证书是否受信任；设置 MailTls=verify 时服务器必须支持加密"_s},
        {LoginRefused, u"请检查登录名和密码，并在邮箱网站上开通 POP3（有的服务商要求使用授权码）"_s},
        {CodeWanted, u"请在邮箱网站上开通 POP3 并取得授权码，用授权码代替密码"_s},
        {MailboxInUse, u"另一个邮件程序正在使用这个邮箱；请稍后再试，或不要让两个程序同时收取"_s},
        {TooOften, u"服务商限制登录次数；请稍后再试，并减少同时收取这个邮箱的程序"_s},
    };
    return remedies.value(outcome, u"请稍后再试；一直如此请与邮箱服务商联系"_s);
}

using UsersAccount = std::pair<QString, MailAccount>;

/// silence: what is to be said of a host that greeted nobody.
void checkAccount(const QString &userName, const MailAccount &account, const Pop3Options &options,
                  std::optional<Pop3ConnectResult> &silence, CheckReport &report)
{
    const QString mailbox =
        u"用户 %1 的邮箱 %2（%3:%4）"_s.arg(userName, account.EUsername, account.POPIP).arg(account.PopPort);
    if (!account.OAID) {
        report.wrong(mailbox + u" 的 OAID 不是整数，不会收取"_s, u"请 OA 系统管理员检查 SA_email"_s);
        return;
    }
    Pop3Client client(options);
    const Pop3ConnectResult result =
        silence ? *silence
                : client.Connect(account.EUsername, account.EPassword, account.POPIP, account.PopPort);
    if (result.outcome == Pop3ConnectOutcome::HostUnreachable)
        silence = result;
    if (!result.connected()) {
        const QString others = result.otherWaysLeft ? u"（收取时过一分钟还会用其他方式登录）"_s : QString();
        report.wrong(mailbox + u" 不能收取："_s + result.text + others, remedy(result.outcome));
        return;
    }
    try {
        if (client.tellsUniqueIds() || client.Count() == 0)
            report.well(mailbox + u" 可以登录"_s);
        else
            report.wrong(mailbox + u" 可以登录，但服务器不提供邮件标识（UIDL），邮件不会收取"_s,
                         u"请与邮箱服务商联系，或改用支持 UIDL 的 POP3 服务器"_s);
    } catch (const Pop3Fault &fault) {
        report.wrong(mailbox + u" 可以登录，但不能列出邮件："_s + fault.message(),
                     remedy(Pop3ConnectOutcome::LineLost));
    }
    static_cast<void>(client.Disconnect());
}

} // namespace

void checkMailAccounts(const ServerParts &parts, CheckReport &report)
{
    if (!parts.session.Conn().isOpen())
        return; // told by the database
    try {
        Pop3Options options = mailServerOptions(readServiceSettings(parts.registry));
        options.trace = parts.mailTrace.lines;
        options.waiter = std::make_shared<Pop3Waiter>();
        std::map<QString, QList<UsersAccount>> hosts;
        const QStringList users = collectedUsers(parts.session.Conn());
        for (const QString &userName : users) {
            const QList<MailAccount> accounts = mailAccounts(parts.session.Conn(), userName);
            for (const MailAccount &account : accounts)
                hosts[account.POPIP.trimmed().toLower() + u':' + QString::number(account.PopPort)].append(
                    {userName, account});
        }
        int underWay = 0;
        for (const auto &host : hosts) {
            while (underWay == mostTogether)
                static_cast<void>(options.waiter->goOn(slice));
            ++underWay;
            options.waiter->begin([&] {
                std::optional<Pop3ConnectResult> silence;
                for (const auto &[userName, account] : host.second) // one after the other
                    checkAccount(userName, account, options, silence, report);
                --underWay;
            });
        }
        while (underWay > 0)
            static_cast<void>(options.waiter->goOn(slice));
    } catch (const DatabaseFault &fault) {
        report.wrong(u"不能读取要收取的邮箱："_s + fault.message(), u"请先解决上面的数据库问题"_s);
    }
}
