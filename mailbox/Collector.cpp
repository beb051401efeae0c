#include "mailbox/Collector.h"

#include "mailbox/Pop3PollingDriver.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

constexpr auto unnoticed = 1s;
/// An account's turn is bounded by the limits of its session and of the database; this is far beyond them.
constexpr auto hanging = 15min;
constexpr std::chrono::milliseconds stopLimit = 2s;
/// Within it everything may be the network's passing fault, and nobody is told.
constexpr auto untold = 1h;
/// Of an account whose row is gone nothing is told any more.
constexpr auto forgotten = 3h;
/// The first end may have been anybody's fault.
constexpr int deathsBeforeAnAccountRests = 2;

QString processTask()
{
    return u"外部邮件收取进程"_s;
}

} // namespace

Collector::Collector(Program program, DatabaseSession &session, OperatorConsole &console, FaultLog &faults,
                     TaskGuard &guard, const Clock &clock)
    : m_program(std::move(program)),
      m_session(session),
      m_console(console),
      m_faults(faults),
      m_guard(guard),
      m_clock(clock)
{
    m_process.setProgram(m_program.path);
    m_process.setArguments(m_program.arguments);
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel); // the trace
    m_untilLong.setSingleShot(true);
    m_untilHanging.setSingleShot(true);
    connect(&m_process, &QProcess::readyReadStandardOutput, this, &Collector::readReports);
    connect(&m_process, &QProcess::finished, this, &Collector::finished);
    connect(&m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error != QProcess::FailedToStart)
            return;
        noteOutcome();
        m_faults.failed(processTask(), m_process.errorString());
    });
    connect(&m_untilLong, &QTimer::timeout, this, [this] {
        m_isShown = true;
        m_console.showActivity(u"正在收取外部邮件"_s);
    });
    connect(&m_untilHanging, &QTimer::timeout, &m_process, &QProcess::kill);
}

Collector::~Collector()
{
    stop();
}

void Collector::setSettings(const ServiceSettings &settings)
{
    m_state.areServersSeveral = settings.areServersSeveral;
    m_state.verifiesMailServers = settings.verifiesMailServers;
    m_state.attachesHiddenText = settings.attachesHiddenText;
}

void Collector::pass()
{
    if (isCollecting() || !hasMailboxes(m_session.Conn()))
        return;
    const QString connectString = m_session.GetConnectString();
    if (connectString != m_state.connectString)
        end();
    m_state.connectString = connectString;
    if (m_process.state() == QProcess::NotRunning) {
        m_account = {};
        m_mail.reset();
        m_process.start();
    }
    m_failure.reset();
    m_isCollecting = true;
    m_process.write(CollectorProtocol::encode(m_state));
    m_untilLong.start(unnoticed);
    m_untilHanging.start(hanging);
}

void Collector::stop()
{
    end();
    rest();
}

void Collector::end()
{
    const QSignalBlocker blocker(m_process); // nobody is told of this end
    m_untilHanging.stop();
    m_process.kill();
    static_cast<void>(m_process.waitForFinished(static_cast<int>(stopLimit.count())));
}

void Collector::rest()
{
    m_untilLong.stop();
    m_untilHanging.stop();
    if (m_isShown)
        m_console.showActivity({});
    m_isShown = m_isCollecting = false;
}

void Collector::readReports()
{
    if (isCollecting())
        m_untilHanging.start(hanging);
    while (m_process.canReadLine()) {
        if (const auto report = CollectorProtocol::decodeReport(m_process.readLine()))
            noteReport(*report);
    }
    if (m_process.bytesAvailable() > CollectorProtocol::longestReport)
        m_process.readAll();
}

void Collector::noteReport(const CollectorProtocol::Report &report)
{
    using namespace CollectorProtocol;
    if (const auto *account = std::get_if<AccountBegins>(&report))
        m_account = *account;
    else if (const auto *learnt = std::get_if<AccountLearnt>(&report))
        noteHistory(*learnt);
    else if (const auto *mail = std::get_if<MailBegins>(&report))
        m_mail = *mail;
    else if (const auto *broken = std::get_if<MailLearnt>(&report))
        m_state.note(broken->mail, broken->broken);
    else if (const auto *ended = std::get_if<AccountEnds>(&report))
        noteEnd(*ended);
    else if (const auto *read = std::get_if<MailEnds>(&report)) {
        m_mail.reset();
        if (read->isCollected)
            m_console.count(OperatorConsole::Event::Collected);
    } else if (const auto *replaced = std::get_if<CharactersReplaced>(&report))
        m_guard.tellReplacedCharacters(replaced->table);
    else if (const auto *failure = std::get_if<PassFailed>(&report))
        m_failure = *failure;
    else if (std::holds_alternative<PassEnds>(report))
        noteOutcome();
}

void Collector::noteEnd(const CollectorProtocol::AccountEnds &account)
{
    const QString task = u"收取"_s + account.mailbox;
    if (account.cause.isEmpty()) {
        m_unemptied.remove(account.accountKey);
        m_faults.over(task);
        return;
    }
    const std::chrono::milliseconds now = m_clock.steady();
    const auto known = m_unemptied.constFind(account.accountKey);
    const auto since = known == m_unemptied.cend() ? now : known->since;
    m_unemptied.insert(account.accountKey, {account.mailbox, account.cause, since, now});
    if (now - since >= untold && !m_faults.isFailing(task))
        m_faults.failed(task, account.cause);
}

OldMailbox Collector::oldestMailbox() const
{
    const std::chrono::milliseconds now = m_clock.steady();
    OldMailbox oldest;
    for (const auto &[mailbox, cause, since, lastTold] : m_unemptied) {
        if (now - lastTold < forgotten && now - since > oldest.age)
            oldest = {mailbox, cause, now - since};
    }
    return oldest;
}

void Collector::noteHistory(const CollectorProtocol::AccountLearnt &learnt)
{
    const auto &[accountKey, mailbox, history] = learnt;
    AccountHistory &known = m_state.histories[accountKey];
    if (history.areIdsChanging && !known.areIdsChanging)
        m_console.addLogLine(u"%1：邮件服务器每次都更换邮件标识，同样的邮件会重复保存"_s.arg(mailbox));
    known = history;
}

void Collector::finished(int exitCode, QProcess::ExitStatus status)
{
    readReports();
    if (status == QProcess::CrashExit)
        notePoison(u"信号 %1"_s.arg(exitCode));
    else if (exitCode != 0)
        notePoison(u"状态 %1"_s.arg(exitCode));
    else if (isCollecting())
        return noteOutcome();
    rest();
}

/// Of a pass.
void Collector::noteOutcome()
{
    rest();
    m_untilHanging.stop();
    if (m_failure)
        noteFailure();
    else if (m_process.error() != QProcess::FailedToStart)
        m_faults.over(processTask());
}

void Collector::notePoison(const QString &cause)
{
    if (m_mail && !m_state.plainMails.contains(m_mail->mail)) {
        m_state.plainMails.insert(m_mail->mail);
        m_console.addLogLine(u"%1：邮件 %2 使收取进程中止（%3），将以原文附件保存"_s.arg(
            m_mail->mailbox, m_mail->mail.uid, cause));
        return;
    }
    if (m_mail) {
        m_state.passedOverMails.insert(m_mail->mail);
        m_console.addLogLine(u"%1：邮件 %2 使收取进程中止（%3），已留在服务器上，本次运行不再收取"_s.arg(
            m_mail->mailbox, m_mail->mail.uid, cause));
        return;
    }
    m_faults.failed(processTask(), u"进程意外中止（%1）"_s.arg(cause));
    m_state.isOneAtATime = true; // so that the account that has its turn is the one that ends it
    if (!m_account.mailbox.isEmpty() &&
        ++m_deathsOutsideMails[m_account.accountKey] == deathsBeforeAnAccountRests) {
        m_state.passedOverAccounts.insert(m_account.accountKey);
        m_console.addLogLine(u"%1 两次使收取进程中止，本次运行不再收取"_s.arg(m_account.mailbox));
    }
}

void Collector::noteFailure()
{
    // A database that is gone is told once for all who need it: by the guard, when the service's own session
    // finds it so.
    if (m_failure->databaseGone) {
        m_guard.runPass(u"外部邮件收取"_s, [this] { static_cast<void>(hasMailboxes(m_session.Conn())); });
        if (!m_session.Conn().isOpen())
            return;
    }
    m_faults.failed(processTask(), m_failure->cause);
}
