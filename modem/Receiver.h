#pragma once

#include "modem/Inbox.h"
#include "modem/ModemLimits.h"
#include "platform/clock/Clock.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>
#include <QTimer>

class ModemLink;
struct AtLine;
enum class MessageFate : int;

/// The receiving half of the modem control: reads the store at open, on every notification and at least once
/// a minute, raises one message per turn of the event loop, and removes the modem's copies of what was
/// handled.
class Receiver final : public QObject
{
    Q_OBJECT
public:
    Receiver(const Clock &clock, ModemLink &link, const ModemLimits &limits, QObject *parent = nullptr);

    /// The link is open: the store is read from the event loop.
    void start();
    /// The link is gone; what is known stays.
    void pause();
    /// Forgets what is not handled.
    void stop();
    /// Looks at the unsolicited lines that came. True when the modem restarted by itself and must be brought
    /// up again.
    [[nodiscard]] bool takeNews();

    /// The message being raised, nullptr outside messageReady().
    [[nodiscard]] const InboxMessage *current() const { return m_current ? &*m_current : nullptr; }
    void noteRead() { m_wasRead = true; }
    void settle(MessageFate fate) { m_fate = fate; }

signals:
    void messageReady();
    void notice(const QString &text);
    /// The modem is gone or has stopped answering.
    void modemLost();
    /// takeNews() would be true: bring the modem up, then start().
    void modemRestarted();

private:
    struct Occupancy {
        int used = 0;
        int total = 0;
        bool isTold = false; ///< the operator knows that it is nearly full
    };

    void work();
    void noteLine(const AtLine &line);
    void takeDirect(const AtLine &line);
    void acknowledge();
    bool readStore();
    bool removeHandled();
    bool raiseNext();
    void finish(const InboxMessage &message);
    void watchOccupancy(bool isWaiting);

    const Clock &m_clock;
    ModemLink &m_link;
    ModemLimits m_limits;
    Inbox m_inbox;
    QTimer m_work;  ///< the next turn of the event loop
    QTimer m_poll;  ///< the store is to be read again
    QTimer m_retry; ///< running: messages wait
    bool m_isStoreDue = false;
    bool m_isRestarted = false;
    bool m_mustForget = false;
    std::optional<bool> m_wantsAcknowledge; ///< +CNMA is demanded; asked once per link
    QHash<QByteArray, Occupancy> m_occupancy;
    QList<StoredTpdu> m_failedRemovals; ///< since the last reading of the store

    std::optional<InboxMessage> m_current;
    MessageFate m_fate;
    bool m_wasRead = false;
};
