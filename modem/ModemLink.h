#pragma once

#include "modem/BringUp.h"
#include "modem/MessageStore.h"
#include "modem/ModemWatch.h"
#include "modem/line/AtChannel.h"
#include "modem/line/ModemLimits.h"
#include "modem/line/SerialLine.h"

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QString>
#include <QTimer>

/// A device with a modem on it that was brought up: from opening to loss or closing.
class ModemLink final : public QObject
{
    Q_OBJECT
public:
    explicit ModemLink(const ModemLimits &limits, QObject *parent = nullptr);

    /// Line speed in baud; 0 = the usual ones are searched.
    void setSpeed(int baud) { m_speed = baud; }
    /// Opens device and brings the modem up; after a failure the device is released. isAgain: it was lost, and
    /// each attempt looks for it at the speed that worked and, in turn, at one of the others.
    [[nodiscard]] BringUpReport open(const QString &device, const QString &serviceCentre,
                                     std::chrono::milliseconds syncLimit, bool isAgain);
    /// Of a text of an earlier session, for which a modem may still be busy at the next open().
    void expectLateResult(bool isExpected) { m_isResultExpected = isExpected; }
    /// The line speed at which the modem answered last; 0 = never.
    [[nodiscard]] int baud() const { return m_baud; }
    /// Brings the modem up again on the open line, after it restarted by itself.
    [[nodiscard]] BringUpReport bringUpAgain();
    /// Sets PDU mode again, which a modem that restarted silently has lost. False when the modem does not
    /// take it.
    [[nodiscard]] bool assertPduMode();
    /// The same once for the sends of a pass, which follow each other closely, and whenever the modem may have
    /// started anew: modems lose their settings without a word.
    [[nodiscard]] bool assertPduModeForPass();
    /// A send has ended.
    void noteSent() { m_passEnds.start(); }
    /// PDU mode as above, and the notifications too.
    [[nodiscard]] bool assertSettings();
    /// Whether what comes without a stored copy is to be acknowledged: with message service 1 of phase 2+ alone
    /// (3GPP TS 27.005, 3.4.4). The modem is asked once.
    [[nodiscard]] bool wantsAcknowledge();
    /// Where that is wanted.
    void acknowledge();
    /// Of the SIM card, as the last bring-up found it; "" when it is not told.
    [[nodiscard]] QByteArray iccid() const { return m_iccid; }
    void close();
    [[nodiscard]] bool isOpen() const { return line.isOpen(); }
    /// False when the device is gone, or no longer answers although it is there.
    [[nodiscard]] bool answers();

private:
    std::unique_ptr<SerialLine> m_line;

public:
    SerialLine &line;
    AtChannel channel;
    MessageStore store;
    ModemWatch watch;

signals:
    /// The device vanished while no command ran. From the event loop only.
    void lost();

private:
    ModemLimits m_limits;
    BringUpReport findAndBringUp(const QList<int> &bauds, std::chrono::milliseconds syncLimit);
    void note(const BringUpReport &report);
    [[nodiscard]] QList<int> bauds(const QString &device, bool isAgain);

    QString m_serviceCentre;
    QByteArray m_iccid;
    int m_speed = 0;
    int m_baud = 0;
    int m_reopenings = 0;      ///< attempts, so that each tries another speed
    QTimer m_passEnds;         ///< no send has followed the last one
    bool m_isAsserted = false; ///< PDU mode was, in this pass
    QElapsedTimer m_sinceAsserted;
    bool m_isResultExpected = false;
    std::optional<bool> m_wantsAcknowledge;
    QByteArray m_notificationCommand; ///< the +CNMI that this modem takes, "" = none
};
