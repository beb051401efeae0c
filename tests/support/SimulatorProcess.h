#pragma once

#include <QList>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// One TPDU that the simulator accepted, decoded by the simulator's own decoder.
struct SentMessage {
    QString number;
    QString text;      ///< of this part alone
    int reference = 0; ///< of the concatenation; 0 for a single SMS
    int part = 1;
    int parts = 1;
};

/// The built modem-simulator as a process of its own, in a temporary folder.
///
/// Needs no event loop and blocks the calling thread for moments only, so that it serves tests of a driver
/// that blocks its one thread. The process ends with this object, and with the test program when that
/// crashes. Everything throws Fault when the simulator does not start or
/// answer.
class SimulatorProcess
{
public:
    /// Starts the simulator and waits until its device is there. options go on its command line as they are.
    explicit SimulatorProcess(const QStringList &options = {});
    ~SimulatorProcess();
    SimulatorProcess(const SimulatorProcess &) = delete;
    SimulatorProcess &operator=(const SimulatorProcess &) = delete;

    /// The link to the pseudo-terminal: the path for a serial port. Stays the same over unplug and plug.
    [[nodiscard]] QString devicePath() const { return m_folder.filePath(QStringLiteral("modem")); }
    [[nodiscard]] QString controlPath() const { return m_folder.filePath(QStringLiteral("control")); }

    /// Runs one control command; returns what follows "ok" and throws on an "error" answer. Must hold no line
    /// end.
    QString command(const QString &line);
    /// True when neither its stores nor the network hold a message for it.
    [[nodiscard]] bool isEmpty();
    /// The TPDUs accepted so far, oldest first, read from the log.
    [[nodiscard]] QList<SentMessage> sent() const;
    /// The texts accepted so far with the parts of each put together, which one server sends one after the other.
    [[nodiscard]] QList<SentMessage> sentWhole() const;

private:
    [[nodiscard]] QString logPath() const { return m_folder.filePath(QStringLiteral("sent.jsonl")); }

    QTemporaryDir m_folder;
    QProcess m_process;
};
