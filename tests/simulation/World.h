#pragma once

#include "simulator/Modem.h"
#include "tests/simulation/OfficeDatabase.h"

#include <QMap>
#include <QStringList>
#include <chrono>
#include <functional>
#include <memory>
#include <vector>

/// The truth of a run, whoever may know of it. Times are of the steady clock since its begin.
struct Truth {
    using Time = std::chrono::milliseconds;

    /// A message that somebody is to get by SMS.
    struct Wanted {
        QString id; ///< of what it comes from
        QString number;
        QString text;
        Time since{0};      ///< when it became due
        bool isSure = true; ///< false: it may also not be sent, a subscription having changed beside it
    };
    /// A message that the modem handed to the network.
    struct HandedOver {
        int modem = 1;
        Time at{0};
        QString number;
        QString text;
        bool isAccepted = false;
    };
    /// A message that came to the modem and is to be stored.
    struct Arrived {
        QString sender;
        QString text;
        int least = 1; ///< times: 0 when somebody else took it out of the modem
        int most = 1;  ///< more when it was away with its SIM
    };
    /// Somebody or something was out of order.
    struct Disturbance {
        Time from{0};
        Time until{0};
    };

    std::vector<Wanted> wanted;
    std::vector<HandedOver> handedOver;
    std::vector<Arrived> arrived;
    std::vector<Disturbance> disturbances;
    QStringList unseen;      ///< what was not so in time
    int kills = 0;           ///< each may repeat the one message in hand
    int stops = 0;           ///< by the operator
    int lostAnswers = 0;     ///< each may leave one message's fate unknown
    int refusals = 0;        ///< messages that the network was told to refuse for good, or three times
    int refusedCommands = 0; ///< AT+CMGS that the modem did not take
    int removedUnread = 0;   ///< from a modem's store
    int hastyCommands = 0;   ///< to a modem that had not answered
    bool isClockMoved = false;
};

/// Everything around the servers: the office with its database and its people, the network with a modem for each
/// server. It does what a line of a story says and keeps the truth.
class World final : public QObject
{
public:
    /// servers: each has a modem of its own, named "modem1" and so on.
    explicit World(int servers);

    /// Does what this line says; see Story for them. What the office cannot do (its database is locked, say)
    /// does not happen.
    void perform(const QString &line);
    /// The servers' part of a story: "kill N CROSSINGS PAUSE" and the like.
    std::function<void(const QStringList &words)> onServers;

    [[nodiscard]] const Truth &truth() const { return m_truth; }
    [[nodiscard]] OfficeDatabase &office() { return m_office; }
    /// A SIM that is away with messages comes back when the other one is empty.
    void settle();
    /// True when nothing lies with the modems or the network any more.
    [[nodiscard]] bool isQuiet() const;

private:
    struct ModemOnDesk {
        std::unique_ptr<simulator::Modem> modem;
        int onOtherSim = 0;            ///< messages
        QByteArray heard{};            ///< last
        QList<QStringList> meddling{}; ///< commands, before the server's next one
    };
    struct Crashes {
        int left = 0;
        QString pause;
    };

    void addModem(int server);
    void run(int modem, const QString &control) const;
    void hear(int modem, const QByteArray &line);
    [[nodiscard]] Truth::Time now() const;
    void disturb(std::chrono::milliseconds length);
    void disturb(const QString &seconds, std::function<void()> mend, std::chrono::seconds grace = {});

    // What each line of a story does.
    void schedule(const QStringList &words);
    void queue(const QStringList &words);
    void withdraw(const QStringList &words);
    void postpone(const QStringList &words);
    void mail(const QStringList &words);
    void receive(const QStringList &words);
    void sendCode(const QStringList &words);
    void commandModem(const QStringList &words);
    void holdDatabase(const QStringList &words);
    void refuseReceived(const QStringList &words);
    void allowReceived();
    void fill(const QStringList &words);
    void breakDisk(const QStringList &words);
    void spoil(const QStringList &words);
    void sendAway(const QStringList &words);
    void moveClock(const QStringList &words);
    void crash(const QStringList &words);
    void see(const QStringList &words);
    void endServer(const QStringList &words);

    std::vector<ModemOnDesk> m_modems;
    QMap<QString, Crashes> m_crashes; ///< by server
    OfficeDatabase m_office;
    QHash<QByteArray, QByteArray> m_spoiled;         ///< what a file held before
    QMap<QString, std::chrono::seconds> m_lastCodes; ///< when a user sent it
    std::chrono::milliseconds m_slowness{0};         // of texts, one after the other
    Truth m_truth;
};
