#pragma once

#include <QString>
#include <stdexcept>

/// What the outside world did to us: a database error, a device that is gone, a value that cannot be
/// converted. Foreseen outcomes are return values and our own mistakes are assertions; only faults are
/// thrown. The text is complete when the fault is made: what failed, on what, and why, in words that a person
/// can act on; never a password. A fault never crosses a signal, slot or event: see TaskGuard.
class Fault : public std::runtime_error
{
public:
    explicit Fault(const QString &message);
    [[nodiscard]] const QString &message() const noexcept { return m_message; }

private:
    QString m_message;
};
