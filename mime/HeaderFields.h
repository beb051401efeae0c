#pragma once

#include <QByteArray>
#include <QList>

struct HeaderField {
    QByteArrayView name;  ///< without blanks
    QByteArrayView value; ///< what follows the colon, folding and line end included
};

/// The header of a message or of a part (RFC 5322, 2.2) as views into its octets, which must outlive it.
/// Lines that are no field are passed over while known fields follow them; else the header ends there, with
/// or without a blank line, and the body begins with that line.
class HeaderFields
{
public:
    explicit HeaderFields(QByteArrayView octets);

    /// In the order of the message.
    [[nodiscard]] const QList<HeaderField> &all() const { return m_fields; }
    /// All values of the fields of that name, letter case ignored.
    [[nodiscard]] QList<QByteArrayView> values(QByteArrayView name) const;
    /// The first of them; empty when there is none.
    [[nodiscard]] QByteArrayView value(QByteArrayView name) const;
    /// Where the body begins.
    [[nodiscard]] qsizetype bodyAt() const { return m_bodyAt; }

private:
    QList<HeaderField> m_fields;
    qsizetype m_bodyAt = 0;
};

/// The first line of some octets, its line end included; empty only when there are none.
[[nodiscard]] QByteArrayView firstLine(QByteArrayView octets);

/// Octets of blank lines and of an mbox "From " line in front of a message.
[[nodiscard]] qsizetype rubbishInFront(QByteArrayView octets);

/// Some text without the line end that closes it, if one does.
[[nodiscard]] QByteArrayView withoutLineEnd(QByteArrayView octets);
