#pragma once

#include <QString>
#include <chrono>
#include <initializer_list>
#include <optional>
#include <stdexcept>

namespace simulator
{
/// A control command that cannot be done: the text says what was expected.
class ControlError : public std::runtime_error
{
public:
    explicit ControlError(const QString &text) : std::runtime_error(text.toStdString()) {}
};

/// The words of one control line, taken from the front. A word in double quotes may hold blanks.
class ControlWords
{
public:
    /// More of anything than that is a slip of the pen.
    static constexpr int maxCount = 1'000'000;

    explicit ControlWords(const QString &line) : m_rest(line.trimmed()) {}

    [[nodiscard]] bool isEmpty() const { return m_rest.isEmpty(); }
    /// All that follow throw ControlError when the word is missing or wrong; what names it.
    QString word(const QString &what);
    int number(const QString &what, int min, int max);
    std::chrono::milliseconds milliseconds(const QString &what);
    std::optional<std::chrono::milliseconds> optionalMilliseconds(const QString &what);
    bool onOff() { return choice({"on", "off"}) == 0; }
    /// Which of these the next word is.
    int choice(std::initializer_list<const char *> choices);
    /// Raw octets from an even count of hexadecimal digits.
    QByteArray octets(const QString &what);
    /// Takes the next word when it is that one.
    bool takeIf(const QString &word);
    /// Whatever is left, with the escapes \r, \n, \e, \\ and \xHH resolved.
    QByteArray escaped();
    /// Whatever is left, as it was written.
    QString rest() { return std::exchange(m_rest, {}); }
    /// Throws unless everything was taken.
    void end() const;

private:
    QString m_rest;
};
} // namespace simulator
