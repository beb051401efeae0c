#pragma once

#include "app/CommandLine.h"
#include "app/LogFile.h"
#include "app/SingleInstance.h"
#include "platform/signals/HangupSignal.h"
#include "platform/signals/StopSignal.h"
#include "platform/supervision/Supervisor.h"
#include "service/ConsoleSignals.h"
#include "service/Service.h"

#include <QTimer>

/// The service as a process runs it, with a window or without: log file, signals and the service manager around
/// it.
class ServerRun final : public QObject
{
    Q_OBJECT
public:
    /// All of these outlive it. instance: it is asked there. Throws Fault when the log file or a signal cannot be had.
    ServerRun(const CommandLine &line, SingleInstance &instance, const ServerParts &parts,
              ConsoleSignals &console, MessageBoxes &boxes);
    ~ServerRun() override;

    [[nodiscard]] Service &service() { return m_service; }

    /// From the event loop's start, with the service started if the command line says so, to its end: the exit
    /// status.
    [[nodiscard]] int exec();

    /// How the service is, in words, a fact a line.
    [[nodiscard]] QString status();

signals:
    /// Again and again while something keeps the event loop waiting.
    void busy();

private:
    void followSignals();
    void tellManager();
    void writeLines();
    void showSignOfLife();

    const CommandLine &m_line;
    SingleInstance &m_instance;
    const ServerParts m_parts;
    ConsoleSignals &m_console;
    StopSignal m_stopSignal;
    std::optional<LogFile> m_logFile;
    HangupSignal m_hangupSignal;
    Supervisor m_supervisor;
    Service m_service;
    QTimer m_signsOfLife;
};
