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

/// Each tries one thing the service needs and changes nothing. They throw Fault only when the registry cannot
/// be read.
/// The server's own files: whether the settings are whole, and whether the others can be written.
void checkFiles(const ServerParts &parts, CheckReport &report);
void checkSettings(const ServerParts &parts, CheckReport &report);
void checkDatabase(const ServerParts &parts, CheckReport &report);
void checkModem(const ServerParts &parts, CheckReport &report);
/// The same while the service holds the modem, which is then left alone.
void checkBusyModem(const ServerParts &parts, CheckReport &report);
/// Logs in to every mailbox that would be collected. Tells nothing when there is no database or no mailbox.
void checkMailAccounts(const ServerParts &parts, CheckReport &report);

/// All of them, in the order in which a Start needs them. True when all is well.
/// isServing: the service of these settings runs, in this process or another, and holds the modem.
[[nodiscard]] bool checkEverything(const ServerParts &parts, const CheckReport::Show &show,
                                   bool isServing = false);
