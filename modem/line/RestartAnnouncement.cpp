#include "modem/line/RestartAnnouncement.h"

#include "modem/line/AnswerFields.h"

#include <algorithm>
#include <array>

namespace
{

/// It has just started.
constexpr std::array starts{
    QByteArrayView("RDY"),       QByteArrayView("^SYSSTART"),         QByteArrayView("+CFUN: 1"),
    QByteArrayView("START"),     QByteArrayView("APP RDY"),           QByteArrayView("MODEM:STARTUP"),
    QByteArrayView("+SYSSTART"), QByteArrayView("*ATREADY: 1"),       QByteArrayView("+WIND: 3"),
    QByteArrayView("+SIND: 0"),  QByteArrayView("NORMAL POWER DOWN"),
    // Not "^BOOT:": sticks say it every few seconds.
};

/// It started a while ago, or its SIM was exchanged, and a part of it is ready only now.
constexpr std::array parts{
    QByteArrayView("CALL READY"),   QByteArrayView("SMS READY"), QByteArrayView("SMS DONE"),
    QByteArrayView("PB DONE"),      QByteArrayView("+PBREADY"),  QByteArrayView("+QIND: SMS DONE"),
    QByteArrayView("+CPIN: READY"), QByteArrayView("+WIND: 4"),  QByteArrayView("+WIND: 7"),
    QByteArrayView("+SIND: 4"),
};

bool isAnyOf(auto words, QByteArrayView line)
{
    return std::any_of(words.begin(), words.end(), [line](QByteArrayView word) {
        // "RDYX" and "+CFUN: 10" are something else.
        return startsWithWord(line, word) &&
               (line.size() == word.size() || line[word.size()] == ' ' || line[word.size()] == ',');
    });
}

} // namespace

bool announcesStart(QByteArrayView line)
{
    return isAnyOf(starts, line);
}

bool announcesRestart(QByteArrayView line)
{
    return isAnyOf(starts, line) || isAnyOf(parts, line);
}
