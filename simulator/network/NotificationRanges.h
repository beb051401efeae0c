#pragma once

#include <QByteArray>
#include <QList>
#include <array>
#include <optional>

namespace simulator
{
/// The values that +CNMI takes, as its test form offers them (3GPP TS 27.005, 3.4.1).
class NotificationRanges
{
public:
    NotificationRanges();

    /// Reads "(0-3),(0,1),(0,2),(0-2),(0,1)": five lists of numbers and ranges. Absent when it is not that.
    static std::optional<NotificationRanges> fromText(const QByteArray &text);

    [[nodiscard]] const QByteArray &text() const { return m_text; }
    [[nodiscard]] bool allows(const std::array<int, 5> &values) const;

private:
    struct Nothing {
    };
    explicit NotificationRanges(Nothing) {}

    QByteArray m_text;
    std::array<QList<int>, 5> m_allowed;
};
} // namespace simulator
