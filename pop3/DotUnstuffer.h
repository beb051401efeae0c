#pragma once

#include <QByteArray>

/// Takes the octets of a multi-line answer as they arrive, in pieces of any size, and gives its content: dots
/// that were put in front removed, the end found (RFC 1939, 3). Line ends are kept as they are. Only CR LF starts
/// a line; a server that ends its status lines with a bare LF ends all its lines so.
///
/// A dot line behind a bare LF is doubtful. It ends the answer of a server that appends the dot to a message whose
/// last line has only a LF, and it is content in a message that tries to fake its end. The size that the server
/// told decides where it is known: content that is short of it goes on.
class DotUnstuffer
{
public:
    /// toldOctets: of the content, as the server told; 0 or less when it is not known.
    explicit DotUnstuffer(bool bareLineFeeds, qint64 toldOctets = 0)
        : m_bareLineFeeds(bareLineFeeds), m_toldOctets(toldOctets)
    {
    }

    /// Appends the content of octets to content; returns how many octets belonged to this answer. A dot at the end
    /// is left until it is known what follows.
    qsizetype consume(QByteArrayView octets, QByteArray &content);
    /// True once the final "." line was consumed.
    [[nodiscard]] bool finished() const { return m_isFinished; }

    /// The octets so far end with a doubtful dot line: if nothing follows, that was the end.
    [[nodiscard]] bool endsInDoubt() const { return m_endsInDoubt && !m_isFinished; }
    /// Nothing follows.
    void finishInDoubt() { m_isFinished = true; }
    /// A doubtful dot line was taken for content, and the size of the whole does not prove that right.
    [[nodiscard]] bool isInDoubt() const
    {
        return m_passedDoubt && (m_toldOctets <= 0 || qAbs(m_contentOctets - m_toldOctets) > sizeTolerance);
    }

private:
    static constexpr qint64 sizeTolerance = 2; // some count the closing line end, some do not

    void keep(QByteArrayView octets, QByteArray &content);

    const bool m_bareLineFeeds;
    const qint64 m_toldOctets;
    qint64 m_contentOctets = 0;
    bool m_isAtLine = true;       // a line begins
    bool m_isAfterBareLf = false; // or what may be one
    bool m_isAfterCr = false;
    bool m_endsInDoubt = false;
    bool m_passedDoubt = false;
    bool m_isFinished = false;
};
