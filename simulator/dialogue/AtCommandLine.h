#pragma once

#include <QByteArrayList>
#include <optional>

namespace simulator
{
/// One command of a command line (ITU-T V.250, 5.3 and 5.4).
struct AtCommand {
    QByteArray name; ///< upper case: "E", "+CMGF"; "" for a bare AT
    QByteArray tail; ///< as typed: "?", "=?", "=" with an argument, or the number of a basic command

    [[nodiscard]] bool isRead() const { return tail == "?"; }
    [[nodiscard]] bool isTest() const { return tail == "=?"; }
    /// What stands between commas behind "=", without blanks and quotes; none when nothing does.
    [[nodiscard]] QByteArrayList parameters() const;
    /// The whole number (decimal, not negative) at that place among them, or of a basic command; absent when there is
    /// none.
    [[nodiscard]] std::optional<int> number(qsizetype at = 0) const;
};

/// The commands of a line in order; none when the line holds no "AT" (the line is then ignored: 5.2.1). What
/// cannot be parsed becomes commands that no modem knows.
QList<AtCommand> parseAtCommandLine(const QByteArray &line);
} // namespace simulator
