#pragma once

#include "simulator/network/ModemState.h"
#include "simulator/network/SentLog.h"

namespace simulator
{
/// The network's side of sending: accepts or refuses what the modem submits, as the script says.
class SubmitService
{
public:
    SubmitService(ModemState &state, SentLog &log) : m_state(state), m_log(log) {}

    /// Answers a submit with the service-centre address and the TPDU.
    Reply submit(const QByteArray &pdu);

    [[nodiscard]] int accepted() const { return m_accepted; }
    [[nodiscard]] int refused() const { return m_refused; }
    /// Hears what becomes of each TPDU.
    void setListener(std::function<void(const SubmitRecord &)> listener) { m_listener = std::move(listener); }

private:
    void note(const SubmitRecord &record);
    Reply refuse(SubmitRecord record, int code, const QString &reason);

    ModemState &m_state;
    SentLog &m_log;
    std::function<void(const SubmitRecord &)> m_listener = [](const SubmitRecord &) {};
    int m_lastReference = 0;
    int m_accepted = 0;
    int m_refused = 0;
};
} // namespace simulator
