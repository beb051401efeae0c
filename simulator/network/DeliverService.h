#pragma once

#include "simulator/network/ModemState.h"
#include "simulator/tpdu/TpduDecoder.h"

#include <QObject>

namespace simulator
{
/// The network's side of receiving, with the modem's routing of what arrives (3GPP TS 27.005, 3.4.1).
///
/// A message that the modem cannot take (unplugged, unregistered, locked, store full) waits in the network
/// and is tried again when retrySoon() is called.
class DeliverService : public QObject
{
    Q_OBJECT

public:
    explicit DeliverService(ModemState &state) : m_state(state) {}

    /// Delivers TPDUs in that order. Returns what became of them, for people: "2 delivered" or "1 delivered,
    /// 1 waiting: storage full".
    QString deliver(const QList<QByteArray> &pdus);
    /// Tries the waiting messages again from the event loop, behind the answer that is being written.
    void retrySoon();
    void setPlugged(bool plugged);
    [[nodiscard]] int waiting() const { return static_cast<int>(m_waiting.size()); }

signals:
    void unsolicited(const QByteArrayList &lines);

private:
    /// Why the modem takes nothing now; empty when it does.
    [[nodiscard]] QString obstacle() const;
    QString deliverWaiting();
    bool route(const QByteArray &pdu);
    bool store(const QByteArray &pdu, bool notifies);

    ModemState &m_state;
    bool m_plugged = false;
    bool m_retryPending = false;
    QList<QByteArray> m_waiting;
};
} // namespace simulator
