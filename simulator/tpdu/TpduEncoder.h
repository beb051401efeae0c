#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>

namespace simulator
{
/// A text that the network delivers, in the 7-bit alphabet when it fits, else in UCS-2.
struct Delivery {
    QString number; ///< digits, "+" and digits, or letters (an alphanumeric sender of at most 11 characters)
    QString text;
    QDateTime scts; ///< written with its own offset from UTC
    QString smsc;
    bool isFlash = false; ///< class 0
    int reference = 0;    ///< used when the text needs more than one part
};

/// Whether a number can be written into an address field: at most 20 digits, or at most 11 characters of the
/// 7-bit alphabet.
bool isEncodableNumber(const QString &number);

/// The SMS-DELIVER TPDUs of a text, in the order of its parts, each with the service-centre address before it
/// (3GPP TS 23.040, 9.2.2.1). A part never splits an extended character or a surrogate pair. Empty when the
/// number cannot be encoded or more than 255 parts would be needed.
QList<QByteArray> encodeDeliver(const Delivery &delivery);
} // namespace simulator
