#pragma once

#include <QStringList>
#include <chrono>
#include <stdexcept>

namespace simulator
{
/// A control command that cannot be done: the text says what was expected.
class ControlError : public std::runtime_error
{
public:
    explicit ControlError(const QString &text) : std::runtime_error(text.toStdString()) {}
};

/// The words of one control line, taken from the front, and its answer. A word in double quotes may hold blanks.
class ControlWords
{
public:
    explicit ControlWords(const QString &line) : m_rest(line.trimmed()) {}

    [[nodiscard]] bool isEmpty() const { return m_rest.isEmpty(); }
    /// All that follow throw ControlError when the word is missing or wrong; what names it.
    QString word(const QString &what);
    int number(int min, int max);
    /// How often: more is a slip of the pen.
    int count() { return number(0, 1'000'000); }
    /// A count, or "always".
    int countOrAlways();
    std::chrono::milliseconds milliseconds();
    bool onOff() { return choice({QStringLiteral("off"), QStringLiteral("on")}) == 1; }
    /// Which of these the next word is.
    int choice(const QStringList &choices);
    /// Takes the next word when it is that one.
    bool takeIf(const QString &word);
    /// Whatever is left, as it was written.
    QString rest() { return std::exchange(m_rest, {}); }
    /// Whatever is left, with the escapes \r, \n, \e, \\ and \xHH resolved.
    QByteArray escaped();
    /// ... as lines parted by "|", each with its line ends.
    QByteArray framedLines();
    /// Throws unless everything was taken.
    void end() const;

    void answer(const QString &text) { m_answer += text; }
    [[nodiscard]] const QString &answer() const { return m_answer; }

private:
    QString m_rest;
    QString m_answer;
};
} // namespace simulator
