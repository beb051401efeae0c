#pragma once

#include "platform/text/HarmlessText.h"
#include "service/ServerParts.h"

#include <QStringList>
#include <functional>

/// The answers of --check: what is tried, what is wrong and what to do about it, in words.
class CheckReport
{
public:
    using Show = std::function<void(const QString &line)>;
    explicit CheckReport(Show show) : m_show(std::move(show)) {}

    void well(const QString &what) { m_show(QStringLiteral("[正常] ") + harmlessText(what)); }
    void wrong(const QString &what, const QString &remedy)
    {
        m_isWell = false;
        m_show(QStringLiteral("[问题] ") + harmlessText(what));
        m_show(QStringLiteral("       处理办法：") + remedy);
    }
    [[nodiscard]] bool isWell() const { return m_isWell; }

private:
    Show m_show;
    bool m_isWell = true;
};

/// Logs in to every mailbox that would be collected. Tells nothing when there is no database or no mailbox.
void checkMailAccounts(const ServerParts &parts, CheckReport &report);

/// Tries what the service needs, in the order in which a Start needs it: its own files, the database, the settings, the
/// modem, the mailboxes. Changes nothing. True when all is well. Throws Fault when the registry cannot be read.
/// isServing: the service of these settings runs, in this process or another, and holds the modem.
[[nodiscard]] bool checkEverything(const ServerParts &parts, const CheckReport::Show &show,
                                   bool isServing = false);
