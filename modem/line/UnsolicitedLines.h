#pragma once

#include <QByteArray>
#include <QList>
#include <optional>
#include <utility>

/// An information line and the TPDU line that follows it in answers that carry one.
struct AtLine {
    QByteArray text;
    QByteArray payload; ///< hexadecimal digits, "" when none followed
    bool operator==(const AtLine &) const = default;
};

[[nodiscard]] bool isHexDigits(const QByteArray &line);

/// What a modem says unasked, until somebody asks for it. Beyond ModemBounds::unsolicitedLines further lines are dropped.
class UnsolicitedLines
{
public:
    /// False when there is nothing to tell yet: the TPDU line of this one is on its way, perhaps behind another line, or
    /// it was dropped.
    [[nodiscard]] bool add(const QByteArray &line);
    /// True when line is the TPDU that the last one announced.
    [[nodiscard]] bool takePayload(const QByteArray &line);
    /// All of them, but one whose TPDU is still on its way.
    [[nodiscard]] QList<AtLine> take() { return std::exchange(m_lines, {}); }

private:
    QList<AtLine> m_lines;
    std::optional<AtLine> m_announced; ///< its TPDU line is on its way
    int m_linesSince = 0;
};
