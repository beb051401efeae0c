#pragma once

#include "modem/BringUp.h"
#include "modem/MessageStore.h"
#include "modem/ModemWatch.h"
#include "modem/line/AtChannel.h"
#include "modem/line/ModemLimits.h"
#include "modem/line/SerialLine.h"

#include <QList>
#include <QObject>
#include <QString>

/// A device with a modem on it that was brought up: from opening to loss or closing.
class ModemLink final : public QObject
{
    Q_OBJECT
public:
    explicit ModemLink(const ModemLimits &limits, QObject *parent = nullptr);

    /// Opens device and brings the modem up; after a failure the device is released. bauds: the line speeds
    /// at which it is looked for, the likeliest first.
    [[nodiscard]] BringUpReport open(const QString &device, const QString &serviceCentre,
                                     const QList<int> &bauds, std::chrono::milliseconds syncLimit);
    /// Of a text of an earlier session, for which a modem may still be busy at the next open().
    void expectLateResult(bool isExpected) { m_isResultExpected = isExpected; }
    /// The line speed at which the modem answered last; 0 = never.
    [[nodiscard]] int baud() const { return m_baud; }
    /// Brings the modem up again on the open line, after it restarted by itself.
    [[nodiscard]] BringUpReport bringUpAgain();
    /// Sets PDU mode again, which a modem that restarted silently has lost. False when the modem does not
    /// take it.
    [[nodiscard]] bool assertPduMode();
    /// The same, and the notifications too.
    [[nodiscard]] bool assertSettings();
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

    QString m_serviceCentre;
    QByteArray m_iccid;
    int m_baud = 0;
    bool m_isResultExpected = false;
    QByteArray m_notificationCommand; ///< the +CNMI that this modem takes, "" = none
};
