#pragma once

#include "platform/files/Files.h"

#include <QLocalServer>

/// One running server for each settings file: two would send the same messages twice. The lock lies beside
/// the settings file and ends with its process.
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

signals:
    /// Another start found this one running.
    void startedAgain();

private:
    QString m_serverName;
    FileLock m_lock;
    QLocalServer m_server;
};
