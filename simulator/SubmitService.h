#pragma once

#include "simulator/ModemState.h"
#include "simulator/SentLog.h"

#include <QObject>

namespace simulator
{
/// The network's side of sending: accepts or refuses what the modem submits, as the script says.
class SubmitService : public QObject
{
    Q_OBJECT

public:
    SubmitService(ModemState &state, SentLog &log) : m_state(state), m_log(log) {}

    /// Answers a submit with the service-centre address and the TPDU. prefix is "+CMGS: " or "+CMSS: ".
    Reply submit(const QByteArray &pdu, const QByteArray &prefix);

    [[nodiscard]] int accepted() const { return m_accepted; }
    [[nodiscard]] int refused() const { return m_refused; }

signals:
    /// A message whose sender wants to know when it arrived.
    void reportWanted(const QString &number, int messageReference);

private:
    Reply refuse(SubmitRecord record, int code, const QString &reason);

    ModemState &m_state;
    SentLog &m_log;
    int m_lastReference = 0;
    int m_accepted = 0;
    int m_refused = 0;
};
} // namespace simulator
