#pragma once

#include "modem/ModemStatus.h"
#include "modem/line/ModemLimits.h"

#include <QByteArray>

class AtChannel;
struct BringUpReport;

/// Asks a modem at work how it is, and tells what keeps it from sending and receiving: once when that begins, once when
/// it is over.
class ModemWatch
{
public:
    ModemWatch(AtChannel &channel, const ModemLimits &limits) : m_channel(channel), m_limits(limits) {}

    [[nodiscard]] const ModemStatus &status() const { return m_status; }
    /// The bring-up knows some; it also tells the operator of a modem that is not registered.
    void noteBroughtUp(const BringUpReport &report);
    /// The line for the operator, "" when nothing changed.
    [[nodiscard]] QString look();
    /// Nothing is known any more.
    void forget()
    {
        m_status = {};
        m_trouble.clear();
    }

private:
    [[nodiscard]] QByteArray ask(const QByteArray &name) const;
    [[nodiscard]] QString askTrouble(ModemStatus &status);

    AtChannel &m_channel;
    ModemLimits m_limits;
    ModemStatus m_status;
    QString m_trouble; ///< that was told and is not over
};
