#pragma once

#include <QByteArray>
#include <QList>
#include <optional>

namespace simulator
{
/// One parameter of a command; quotes are taken off.
struct AtParameter {
    QByteArray text;
    bool quoted = false;

    [[nodiscard]] bool isEmpty() const { return text.isEmpty() && !quoted; }
    /// The whole number (decimal, not negative); absent when it is none.
    [[nodiscard]] std::optional<int> number() const;
};

/// One command of a command line (ITU-T V.250, 5.3 and 5.4).
struct AtCommand {
    enum class Form { Execute, Set, Read, Test };

    QByteArray name; ///< upper case: "E", "+CMGF"; "" for a bare AT
    Form form = Form::Execute;
    QByteArray argument; ///< what follows "=", or the number of a basic command

    /// The parameters between commas; none when the argument is empty.
    [[nodiscard]] QList<AtParameter> parameters() const;
    /// The whole number at that place among them; absent when there is none.
    [[nodiscard]] std::optional<int> number(qsizetype at = 0) const;
};

/// The commands of a line in order; none when the line holds no "AT" (the line is then ignored: 5.2.1). What
/// cannot be parsed becomes a command with the name "?".
QList<AtCommand> parseAtCommandLine(const QByteArray &line);
} // namespace simulator
