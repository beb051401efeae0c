#pragma once

#include <QByteArray>
#include <QString>

/// Writes SMS-DELIVER TPDUs for tests, without the code under test.
struct Deliver {
    QByteArray sender = "8613800138000"; ///< digits of an international number
    QString text = {};                   ///< UCS-2
    QByteArray scts = "62110291030023";  ///< 2026-11-20 19:30:00 +08:00, swapped semi-octets
    QByteArray udh = {};                 ///< hex of a whole user data header, "" = none

    /// Hex, an empty service-centre address in front.
    [[nodiscard]] QByteArray hex() const
    {
        QByteArray digits = sender.size() % 2 == 0 ? sender : sender + 'F';
        for (qsizetype i = 0; i + 1 < digits.size(); i += 2)
            std::swap(digits[i], digits[i + 1]);
        QByteArray body = udh;
        for (const QChar unit : text)
            body += QByteArray::number(0x10000 + unit.unicode(), 16).last(4).toUpper();
        return QByteArray("00") + (udh.isEmpty() ? "04" : "44") + octet(sender.size()) + "91" + digits +
               "0008" + scts + octet(body.size() / 2) + body;
    }
    /// Part sequence of total with this 8-bit reference.
    [[nodiscard]] static QByteArray concatenation(int reference, int total, int sequence)
    {
        return "050003" + octet(reference) + octet(total) + octet(sequence);
    }
    /// Two decimal digits as a time stamp holds them.
    [[nodiscard]] static QByteArray swapped(int value)
    {
        return QByteArray::number(value % 10) + QByteArray::number(value / 10);
    }
    [[nodiscard]] static QByteArray octet(qsizetype value)
    {
        return QByteArray::number(0x100 + value, 16).last(2).toUpper();
    }
};
