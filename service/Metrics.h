#pragma once

#include "foundation/OperatorConsole.h"

#include <QDateTime>
#include <QHash>
#include <array>
#include <chrono>
#include <optional>

/// What the service did and how it is, for a monitoring system: a file in the Prometheus text format that is
/// replaced as a whole.
class Metrics
{
public:
    enum class Pass { Send, Archive, Expand, Alert, Collect };
    static constexpr int passCount = 5;

    /// How things are now.
    struct State {
        bool isDatabaseUp = false;
        bool isModemUp = false;
        bool isRegistered = false;
        std::optional<int> signalDbm;
        qint64 waitingRows = 0; ///< of SMS_Queues
    };

    explicit Metrics(QString fileName) : m_fileName(std::move(fileName)) {}

    [[nodiscard]] bool isWanted() const { return !m_fileName.isEmpty(); }
    void count(OperatorConsole::Event event, const QString &cause);
    void passEnded(Pass pass, const QDateTime &end, std::chrono::milliseconds length);
    /// Throws Fault when the file cannot be written.
    void write(const State &state) const;

private:
    struct Ended {
        QDateTime end;
        std::chrono::milliseconds length{0};
    };
    [[nodiscard]] QByteArray text(const State &state) const;

    QString m_fileName;
    QHash<OperatorConsole::Event, qint64> m_counts;
    QHash<QString, qint64> m_failures; // by cause
    std::array<Ended, passCount> m_passes;
};
