#pragma once

#include "modem/Inbox.h"
#include "modem/MessageFate.h"
#include "modem/StoreLevels.h"
#include "modem/line/ModemLimits.h"
#include "platform/clock/Clock.h"

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QSet>
#include <QTimer>
#include <functional>

class ModemLink;
struct AtLine;

/// The receiving half of the modem control: reads the store at open, on every notification and at least
/// once a minute, raises one message per turn of the event loop, and removes the modem's copies of what
/// was handled.
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
    /// The modem cannot keep the message being raised: it lies in no store, or that is nearly full.
    [[nodiscard]] bool mustLeave() const;
    /// The octets of unreadable messages are appended to this file; "" = to none.
    void setUnreadableFile(const QString &path) { m_unreadableFile = path; }
    /// Until a refused message is raised for the second time.
    void setRefusedFirst(std::chrono::seconds wait) { m_inbox.setRefusedFirst(wait); }
    /// Whether parts that lay in the store at the opening are left of a message that an earlier run dealt with.
    void setRestTest(std::function<bool(const InboxMessage &)> isRest) { m_isRest = std::move(isRest); }
    /// The modem's own count of what the SIM holds, where nothing was read yet.
    void askLevel();
    /// What the modem's memories hold, as far as they were read.
    [[nodiscard]] QList<ModemStatus::Memory> memories() const { return m_levels.memories(); }
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
    /// The wall clock at the beginning and the steady one since: nobody sets it while messages wait.
    [[nodiscard]] QDateTime time() const
    {
        return m_begun.addMSecs((m_clock.steady() - m_begunSteady).count());
    }
    void work();
    void noteLine(const AtLine &line);
    void noteAnnounced(const AtLine &line);
    void readAnnounced();
    void takeDirect(const AtLine &line);
    [[nodiscard]] bool keepUnreadable(const InboxMessage &message);
    void armChange();
    bool readStore();
    bool readMemory(const QByteArray &memory);
    bool readAgain(const StoredTpdu &copy);
    bool removeHandled();
    bool remove(const StoredTpdu &copy);
    [[nodiscard]] std::optional<InboxMessage> nextReadTwice();
    bool raiseNext();
    void finish(const InboxMessage &message);
    [[nodiscard]] bool isModemThere();
    void tellLevels();

    const Clock &m_clock;
    const QDateTime m_begun = m_clock.now();
    const std::chrono::milliseconds m_begunSteady = m_clock.steady();
    ModemLink &m_link;
    ModemLimits m_limits;
    Inbox m_inbox;
    QTimer m_work;                                 ///< the next turn of the event loop
    QTimer m_poll;                                 ///< the store is to be read again
    QTimer m_retry;                                ///< running: messages wait
    QTimer m_change;                               ///< time alone makes something ready then
    QList<std::pair<QByteArray, int>> m_announced; ///< places with something new
    bool m_isStoreDue = false;
    bool m_isOpening = false; ///< the store was not read without damage since the link was opened
    bool m_isDamaged = false; ///< a line of the listings under way could not be read
    bool m_isRestarted = false;
    QElapsedTimer m_sinceTextMode;
    QByteArray m_iccid;
    QByteArray m_misfit; ///< the last direct message whose length was not the told one
    QString m_unreadableFile;
    QSet<QByteArray> m_unkept; // octets of messages that could not be kept there, which was told
    std::function<bool(const InboxMessage &)> m_isRest = [](const InboxMessage &) { return false; };
    bool m_mustForget = false;
    StoreLevels m_levels;
    QList<StoredTpdu> m_failedRemovals; ///< since the last reading of the store

    std::optional<InboxMessage> m_current;
    MessageFate m_fate = MessageFate::Wait;
    bool m_wasRead = false;
};
