#pragma once

#include "modem/ModemControl.h"
#include "tests/modem/PtyPeer.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <optional>

inline ModemLimits shortLimits()
{
    using namespace std::chrono_literals;
    ModemLimits limits;
    // Only silence is waited out, so that a busy machine fails no test.
    limits.syncAttempt = 500ms;
    limits.sync = 2s;
    limits.resync = 2s;
    limits.reopenSync = 1s;
    limits.command = 2s;
    limits.prompt = 500ms;
    limits.sendResult = 700ms;
    limits.quiet = 100ms;
    limits.afterRestart = 300ms;
    limits.straggler = 300ms;
    limits.lateReference = 300ms;
    limits.simBusy = 500ms;
    limits.simRetry = 20ms;
    limits.storePoll = 60s;
    limits.reopen = 50ms;
    limits.waitRetry = 30ms;
    return limits;
}

struct Received {
    qint16 result = -1;
    QString sender;
    QString text;
    QString time;
    bool operator==(const Received &) const = default;
};

/// A control on a device path that modems come to and leave, with everything it says and raises.
class ModemBench
{
public:
    explicit ModemBench(const ModemLimits &limits = shortLimits())
        : control(
              clock, [this](int) { return path(); }, nullptr, limits)
    {
        QObject::connect(&control, &ModemControl::notice,
                         [this](const QString &text) { notices.append(text); });
        QObject::connect(&control, &ModemControl::messageArrived, [this] {
            Received message;
            message.result = control.read(message.sender, message.text, message.time);
            received.append(message);
            if (const auto fate = fates.isEmpty() ? otherwise : fates.takeFirst())
                control.settle(*fate);
        });
        control.setPortNumber(3);
    }

    [[nodiscard]] QString path() const { return directory.filePath(QStringLiteral("modem")); }
    void plug(const PtyPeer &modem) const
    {
        QFile::remove(path());
        QVERIFY(QFile::link(modem.device(), path()));
    }
    /// Plugs it in and opens the port.
    void open(const PtyPeer &modem)
    {
        plug(modem);
        QCOMPARE(control.open(), qint16{0});
    }
    [[nodiscard]] QStringList texts() const
    {
        QStringList texts;
        for (const Received &message : received)
            texts.append(message.text);
        return texts;
    }

    QTemporaryDir directory;
    ManualClock clock{QDateTime(QDate(2026, 11, 21), QTime(8, 0))};
    ModemControl control;
    QStringList notices;
    QList<Received> received;
    QList<std::optional<MessageFate>> fates; ///< of the next messages
    std::optional<MessageFate> otherwise = MessageFate::Handled;
};

inline qint16 code(ModemResult result)
{
    return static_cast<qint16>(result);
}

/// The kind of fault that sending raises; nullopt and the result in result when none.
inline std::optional<ModemFault::Kind> faultOf(ModemControl &control, const QString &number,
                                               const QString &text, qint16 *result = nullptr)
{
    try {
        const qint16 got = control.send(number, text);
        if (result != nullptr)
            *result = got;
        return std::nullopt;
    } catch (const ModemFault &fault) {
        return fault.kind();
    }
}

inline QString numberText()
{
    return QStringLiteral("13800138000");
}
