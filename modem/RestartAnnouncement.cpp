#include "modem/RestartAnnouncement.h"

#include <algorithm>
#include <array>

namespace
{

constexpr std::array started{
    QByteArrayView("RDY"),      QByteArrayView("^SYSSTART"), QByteArrayView("+CFUN: 1"),
    QByteArrayView("START"),    QByteArrayView("APP RDY"),   QByteArrayView("MODEM:STARTUP"),
    QByteArrayView("^BOOT:"),   QByteArrayView("+SYSSTART"), QByteArrayView("*ATREADY: 1"),
    QByteArrayView("+WIND: 3"), QByteArrayView("+SIND: 0"),  QByteArrayView("NORMAL POWER DOWN"),
};

constexpr std::array ready{
    QByteArrayView("CALL READY"),   QByteArrayView("SMS READY"), QByteArrayView("SMS DONE"),
    QByteArrayView("PB DONE"),      QByteArrayView("+PBREADY"),  QByteArrayView("+QIND: SMS DONE"),
    QByteArrayView("+CPIN: READY"), QByteArrayView("+WIND: 4"),  QByteArrayView("+WIND: 7"),
    QByteArrayView("+SIND: 4"),     QByteArrayView("*PSUTTZ"),
};

template <std::size_t N>
bool contains(const std::array<QByteArrayView, N> &words, QByteArrayView line)
{
    return std::any_of(words.begin(), words.end(), [line](QByteArrayView word) {
        if (line.size() < word.size() || line.first(word.size()).compare(word, Qt::CaseInsensitive) != 0)
            return false;
        // "RDYX" and "+CFUN: 10" are something else.
        return line.size() == word.size() || word.endsWith(':') || line[word.size()] == ' ' ||
               line[word.size()] == ',' || line[word.size()] == ':';
    });
}

} // namespace

RestartAnnouncement restartAnnouncement(QByteArrayView line)
{
    if (contains(started, line))
        return RestartAnnouncement::Started;
    return contains(ready, line) ? RestartAnnouncement::Ready : RestartAnnouncement::None;
}
