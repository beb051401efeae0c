#pragma once

#include "simulator/network/ModemState.h"
#include "simulator/tpdu/TpduDecoder.h"

#include <QObject>

namespace simulator
{
/// What became of a message that the modem submitted.
struct SubmitRecord {
    QByteArray pdu;             ///< none in text mode
    Tpdu tpdu;                  ///< empty when it could not be decoded
    std::optional<int> refused; ///< the +CMS ERROR code; 0 when the refusal was a bare OK
};

/// The network: takes what the modem submits, and gives it what others send, with the modem's routing of that
/// (3GPP TS 27.005, 3.4.1).
///
/// A message that the modem cannot take (unplugged, unregistered, locked, store full) waits in the network
/// and is tried again when retrySoon() is called.
class Network : public QObject
{
    Q_OBJECT

public:
    explicit Network(ModemState &state) : m_state(state) {}

    /// Answers a submit with the service-centre address and the TPDU.
    Reply submit(const QByteArray &pdu);
    /// Answers a message, accepted or refused as the script says.
    Reply submit(SubmitRecord record);

    /// Delivers TPDUs in that order. Returns what became of them, for people: "2 delivered" or "1 delivered,
    /// 1 waiting: storage full".
    QString deliver(const QList<QByteArray> &pdus);
    /// Tries the waiting messages again from the event loop, behind the answer that is being written.
    void retrySoon();
    void setPlugged(bool plugged);

    [[nodiscard]] ModemState &state() { return m_state; }
    [[nodiscard]] int accepted() const { return m_accepted; }
    [[nodiscard]] int refused() const { return m_refused; }
    [[nodiscard]] int waiting() const { return static_cast<int>(m_waiting.size()); }
    /// Hears what becomes of each message that is submitted.
    void setListener(std::function<void(const SubmitRecord &)> listener) { m_listener = std::move(listener); }

signals:
    void unsolicited(const QByteArrayList &lines);

private:
    Reply refuse(SubmitRecord record, int code, const QString &reason);
    /// Why the modem takes nothing now; empty when it does.
    [[nodiscard]] QString obstacle() const;
    QString deliverWaiting();
    bool route(const QByteArray &pdu);
    bool store(const QByteArray &pdu, bool notifies);

    ModemState &m_state;
    std::function<void(const SubmitRecord &)> m_listener = [](const SubmitRecord &) {};
    int m_lastReference = 0; ///< <mr> of +CMGS
    int m_accepted = 0;
    int m_refused = 0;
    bool m_plugged = false;
    bool m_retryPending = false;
    QList<QByteArray> m_waiting;
};
} // namespace simulator
