#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <optional>

/// One parameter of an information line (ITU-T V.250, 5.4.3.1): a number, a quoted text, a list
/// in parentheses.
struct AnswerField {
    QByteArray text; ///< without its quotes; of a list: what is between the parentheses
    enum class Kind { Plain, Quoted, List } kind = Kind::Plain;
    bool operator==(const AnswerField &) const = default;

    /// The non-negative number that a plain or quoted field is, else nullopt.
    [[nodiscard]] std::optional<int> number() const;
};

/// Letter case does not count.
[[nodiscard]] bool startsWithWord(QByteArrayView line, QByteArrayView word);

/// The parameters behind the ":" of an information line, in order; empty ones are kept. Any text gives
/// some list.
[[nodiscard]] QList<AnswerField> answerFields(QByteArrayView line);

/// The values of a list such as "0-2,5" that lie in 0 to 31; what is neither number nor range is skipped.
[[nodiscard]] QList<int> listedNumbers(QByteArrayView list);
