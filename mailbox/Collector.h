#pragma once

#include "foundation/ServiceSettings.h"
#include "foundation/TaskGuard.h"
#include "mailbox/CollectorProtocol.h"

#include <QProcess>
#include <QTimer>

/// A mailbox that was not emptied.
struct OldMailbox {
    QString name; ///< for people
    QString cause;
    std::chrono::milliseconds age{0};
};

/// The collector as the service has it: a process of its own for the collection passes, so that no mail and no mail
/// server can hold up or end the service. Remembers for the run which mails ended such a process, so that the next
/// one reads them plainly and leaves those on their servers that end it too, and how the logins went. Tells which
/// mailboxes have not been emptied for an hour.
class Collector final : public QObject
{
    Q_OBJECT
public:
    /// How the process is started; it gets a state for each pass on standard input.
    struct Program {
        QString path;
        QStringList arguments;
    };

    Collector(Program program, DatabaseSession &session, OperatorConsole &console, FaultLog &faults,
              TaskGuard &guard, const Clock &clock);
    ~Collector() override;

    /// From the next pass on.
    void setSettings(const ServiceSettings &settings);
    /// A tick: starts a pass if there is anything to collect and none is under way. Throws DatabaseFault.
    void pass();
    /// Is one under way?
    [[nodiscard]] bool isCollecting() const { return m_isCollecting; }
    /// The one that waits longest to be emptied; its age is 0 when none does.
    [[nodiscard]] OldMailbox oldestMailbox() const;
    /// Ends the process; what it has not committed is rolled back. Takes two seconds at most.
    void stop();

private:
    void end();
    void rest();
    void readReports();
    void noteReport(const CollectorProtocol::Report &report);
    void noteHistory(const CollectorProtocol::AccountLearnt &learnt);
    void noteEnd(const CollectorProtocol::AccountEnds &account);
    void noteOutcome();
    void finished(int exitCode, QProcess::ExitStatus status);
    void notePoison(const QString &cause);
    void noteFailure();

    Program m_program;
    DatabaseSession &m_session;
    OperatorConsole &m_console;
    FaultLog &m_faults;
    TaskGuard &m_guard;

    QProcess m_process{this};
    QTimer m_untilLong;    // a pass that takes longer is shown
    QTimer m_untilHanging; // a process that says nothing for longer is ended
    bool m_isShown = false;
    bool m_isCollecting = false;

    // Of the pass under way.
    CollectorProtocol::AccountBegins m_account;
    std::optional<CollectorProtocol::MailBegins> m_mail;
    std::optional<CollectorProtocol::PassFailed> m_failure;

    CollectorState m_state;                  // grows from pass to pass
    QHash<qint64, int> m_deathsOutsideMails; // by account

    struct Unemptied {
        QString mailbox;
        QString cause;
        std::chrono::milliseconds since; ///< on the steady clock
        std::chrono::milliseconds lastTold;
    };
    QHash<qint64, Unemptied> m_unemptied; // by account
    const Clock &m_clock;
};
