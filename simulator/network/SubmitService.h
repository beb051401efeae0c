#pragma once

#include "simulator/network/ModemState.h"
#include "simulator/tpdu/TpduDecoder.h"

namespace simulator
{
/// What became of a TPDU.
struct SubmitRecord {
    QByteArray pdu;
    Tpdu tpdu;                  ///< empty when the TPDU could not be decoded
    std::optional<int> refused; ///< the +CMS ERROR code; 0 when the refusal was a bare OK
};

/// The network's side of sending: accepts or refuses what the modem submits, as the script says.
class SubmitService
{
public:
    explicit SubmitService(ModemState &state) : m_state(state) {}

    /// Answers a submit with the service-centre address and the TPDU.
    Reply submit(const QByteArray &pdu);

    [[nodiscard]] int accepted() const { return m_accepted; }
    [[nodiscard]] int refused() const { return m_refused; }
    /// Hears what becomes of each TPDU.
    void setListener(std::function<void(const SubmitRecord &)> listener) { m_listener = std::move(listener); }

private:
    Reply refuse(SubmitRecord record, int code, const QString &reason);

    ModemState &m_state;
    std::function<void(const SubmitRecord &)> m_listener = [](const SubmitRecord &) {};
    int m_lastReference = 0;
    int m_accepted = 0;
    int m_refused = 0;
};
} // namespace simulator
