#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

/// Content-Type or Content-Disposition: a value with parameters (RFC 2045, 5.1; RFC 2183).
class ContentField
{
public:
    /// raw: what follows the colon. Missing values, quotes, semicolons and closing quotes are forgiven.
    /// rawCharset: of octets that stand there as they are.
    explicit ContentField(QByteArrayView raw, QByteArrayView rawCharset = {});

    /// In front of the parameters, letter case as written, without comments.
    [[nodiscard]] const QByteArray &value() const { return m_value; }
    /// Whether that is of the form "type/subtype".
    [[nodiscard]] bool isMediaType() const;
    /// A parameter as text: pieces joined in the order of their numbers and decoded (RFC 2231), encoded words
    /// decoded, though the standard forbids them there. A form with charset comes before one without. Empty
    /// when there is none.
    [[nodiscard]] QString parameter(QByteArrayView name) const;

private:
    struct Piece {
        QByteArray name; // lower case, number and "*" included
        QByteArray value;
    };
    void readParameters(const QByteArray &text, qsizetype at);
    [[nodiscard]] const QByteArray *pieceNamed(const QByteArray &name) const;

    QByteArray m_value;
    QList<Piece> m_pieces;
};
