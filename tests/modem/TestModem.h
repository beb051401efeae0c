#pragma once

#include "tests/modem/PtyPeer.h"

#include <QByteArrayList>
#include <QHash>
#include <QMap>
#include <functional>

/// A well-behaved GSM modem as far as the tests need one, with places to make it behave otherwise. Hex is
/// upper case.
class TestModem final : public PtyPeer
{
public:
    struct Stored {
        int stat = 0;
        QByteArray hex;
    };

    TestModem();
    ~TestModem() override;

    // All of these may be used while the modem is served.
    /// Answers command (its start, or the whole of it when written with a "$" behind it) with these instead,
    /// one after the other; the last one for ever. "" = silence, "*" = as it does by itself. An answer that
    /// ends in "> " prompts.
    void answer(const QByteArray &command, const QByteArrayList &answers);
    /// The answers to the next TPDUs; afterwards they are accepted. "" = silence, "HANGUP" = unplugged.
    void answerTpdus(const QByteArrayList &answers);
    void store(int index, const QByteArray &hex, int stat = 0);
    void setStoreSize(int places);
    /// Hears nothing at other line speeds.
    void speakOnlyAt(int baud);
    /// Puts it into the store and tells so.
    void deliver(int index, const QByteArray &hex);

    [[nodiscard]] QByteArrayList commands() const; ///< every command line heard
    [[nodiscard]] QByteArrayList tpdus() const;    ///< every TPDU line heard, hex
    [[nodiscard]] QList<int> storedIndices() const;
    [[nodiscard]] int count(const QByteArray &commandStart) const;
    void forgetCommands();

protected:
    void heard(const QByteArray &octets) override;

private:
    QByteArray reply(const QByteArray &command);
    QByteArray storeReply(const QByteArray &command);
    void takeTpdu();

    mutable std::recursive_mutex m_mutex;
    QByteArray m_input;
    bool m_isPrompting = false;
    QMap<QByteArray, QByteArrayList> m_answers;
    QByteArrayList m_tpduAnswers;
    QByteArrayList m_commands;
    QByteArrayList m_tpdus;
    QMap<int, Stored> m_store;
    int m_baud = 0;
    int m_places = 50;
    int m_reference = 0;
};
