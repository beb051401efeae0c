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

    /// Appends the content of octets to content; returns how many octets belonged to this answer.
    qsizetype consume(QByteArrayView octets, QByteArray &content);
    /// True once the final "." line was consumed.
    [[nodiscard]] bool finished() const { return m_state == State::Finished; }

    /// The octets so far end with a doubtful dot line: if nothing follows, that was the end.
    [[nodiscard]] bool endsInDoubt() const { return m_state == State::DoubtfulEnd; }
    /// Nothing follows.
    void finishInDoubt() { m_state = State::Finished; }
    /// A doubtful dot line was taken for content, and the size of the whole does not prove that right.
    [[nodiscard]] bool isInDoubt() const
    {
        return m_passedDoubt && (m_toldOctets <= 0 || qAbs(m_contentOctets - m_toldOctets) > sizeTolerance);
    }

private:
    enum class State {
        LineStart,
        InLine,
        AfterDot,
        AfterDotCr,
        AfterBareLf,
        DoubtfulDot,
        DoubtfulDotCr,
        DoubtfulEnd,
        Finished
    };

    static constexpr qint64 sizeTolerance = 2; // some count the closing line end, some do not

    void keep(QByteArray &content, QByteArrayView octets);
    void takeLine(QByteArrayView octets, qsizetype &at, QByteArray &content);
    /// Of the states after a bare LF, which hold their octets back; they are content unless the end is reached.
    void takeDoubtful(char c, qsizetype &at, QByteArray &content);

    State m_state = State::LineStart;
    bool m_bareLineFeeds;
    bool m_afterCr = false; // the last octet of the line so far was CR
    bool m_passedDoubt = false;
    qint64 m_toldOctets;
    qint64 m_contentOctets = 0;
};
