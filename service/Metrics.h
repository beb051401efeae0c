#pragma once

#include "foundation/OperatorConsole.h"
#include "service/ServiceState.h"

#include <QHash>

/// What the service did and how it is, for a monitoring system: a file in the Prometheus text format that is
/// replaced as a whole. Each figure carries the server's name, which is the file's without its ending.
class Metrics
{
public:
    explicit Metrics(QString fileName) : m_fileName(std::move(fileName)) {}

    [[nodiscard]] bool isWanted() const { return !m_fileName.isEmpty(); }
    void count(OperatorConsole::Event event, const QString &cause);
    /// Throws Fault when the file cannot be written.
    void write(const ServiceState &state, const QDateTime &now) const;

private:
    [[nodiscard]] QByteArray text(const ServiceState &state, const QDateTime &now) const;

    QString m_fileName;
    QHash<OperatorConsole::Event, qint64> m_counts;
    QHash<QString, qint64> m_failures; // by cause
};
