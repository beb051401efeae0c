#pragma once

#include "platform/files/Files.h"

#include <QLocalServer>
#include <functional>

/// One running server for each settings file: two would send the same messages twice. The lock lies beside
/// the settings file and ends with its process; beside it lies a socket, its owner's alone, on which the running one
/// is asked: "show", "status" or "log", with LF.
class SingleInstance final : public QObject
{
    Q_OBJECT
public:
    /// Creates the settings file's folder when it is missing. Throws Fault when the lock cannot be written.
    explicit SingleInstance(const QString &settingsFile);

    /// Does a server run for this settings file?
    [[nodiscard]] static bool isRunning(const QString &settingsFile);

    /// True when this process is the one; it then hears of later starts.
    [[nodiscard]] bool isFirst() const { return !m_lock.error().isError(); }
    /// Asks the first one to show its window: what the operator is to be told of it.
    [[nodiscard]] QString callFirst() const;

    /// What the running one answers to any other question.
    using Answers = std::function<QString(QByteArrayView question)>;
    void setAnswers(Answers answers) { m_answers = std::move(answers); }
    /// The answer of the one that runs; nothing when none does. Throws Fault when it does not answer.
    [[nodiscard]] static std::optional<QString> ask(const QString &settingsFile, const QByteArray &question);

signals:
    /// Another start found this one running.
    void startedAgain();

private:
    void receive(QLocalSocket &caller);

    QString m_serverName;
    FileLock m_lock;
    int m_callers = 0;
    Answers m_answers;
    QLocalServer m_server;
};
