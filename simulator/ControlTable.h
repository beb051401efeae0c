#pragma once

#include "simulator/ControlWords.h"

#include <QList>
#include <functional>

namespace simulator
{
/// The commands of the control channel, by name.
class ControlTable
{
public:
    /// Does one command and returns the text behind "ok". Throws std::runtime_error to refuse.
    using Handler = std::function<QString(ControlWords &words)>;

    ControlTable();
    ControlTable(const ControlTable &) = delete;
    ControlTable &operator=(const ControlTable &) = delete;

    void add(const QString &name, const QString &usage, const QString &help, Handler run);

    /// The answer to one line: "ok", perhaps with a text, or "error" with the reason. Listings come as lines
    /// that start with two blanks, before the line that starts with "ok".
    [[nodiscard]] QString run(const QString &line) const;

private:
    struct Control {
        QString name;
        QString usage;
        QString help;
        Handler run;
    };
    [[nodiscard]] QString help() const;

    QList<Control> m_controls;
};
} // namespace simulator
