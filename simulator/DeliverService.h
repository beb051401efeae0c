#pragma once

#include "simulator/ModemState.h"
#include "simulator/TpduDecoder.h"

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

    /// +CNMI was set: buffered notifications are sent or dropped, as its bfr says.
    void notificationModeChanged();
    /// +CNMA: false when nothing waits to be acknowledged.
    bool acknowledge();
    /// A new start forgets what was buffered in the modem, not what the network holds.
    void restart();

    [[nodiscard]] int waiting() const { return static_cast<int>(m_waiting.size()); }
    /// Forgets what the network holds.
    void dropWaiting() { m_waiting.clear(); }

signals:
    void unsolicited(const QByteArrayList &lines);

private:
    /// Why the modem takes nothing now; empty when it does.
    [[nodiscard]] QString obstacle() const;
    QString deliverWaiting();
    bool route(const QByteArray &pdu);
    bool store(const QByteArray &pdu, const QByteArray &prefix, bool notifies);
    void direct(const QByteArrayList &lines);
    void notify(const QByteArrayList &lines);

    ModemState &m_state;
    bool m_plugged = false;
    bool m_retryPending = false;
    int m_unacknowledged = 0;
    QList<QByteArray> m_waiting;
    QList<QByteArrayList> m_buffered; ///< notifications of mode 0
};
} // namespace simulator
