#pragma once

#include "simulator/controls/ControlWords.h"

#include <QList>
#include <functional>

namespace simulator
{
/// The commands of the control channel, by name.
class ControlTable
{
public:
    ControlTable();
    ControlTable(const ControlTable &) = delete;
    ControlTable &operator=(const ControlTable &) = delete;

    /// run does one command and returns the text behind "ok" or nothing. Throws std::runtime_error to refuse.
    template <typename Run>
    void add(const QString &name, const QString &usage, const QString &help, Run run)
    {
        m_controls += Control{name, usage, help, [run = std::move(run)](ControlWords &words) {
                                  if constexpr (std::is_void_v<decltype(run(words))>) {
                                      run(words);
                                      return QString();
                                  } else {
                                      return run(words);
                                  }
                              }};
    }

    /// The answer to one line: "ok", perhaps with a text, or "error" with the reason. Listings follow as lines
    /// that start with two blanks.
    [[nodiscard]] QString run(const QString &line) const;

private:
    struct Control {
        QString name;
        QString usage;
        QString help;
        std::function<QString(ControlWords &words)> run;
    };
    [[nodiscard]] QString help() const;

    QList<Control> m_controls;
};
} // namespace simulator
