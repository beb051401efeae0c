#pragma once

#include <QStringList>
#include <optional>

namespace simulator
{
/// What the command line asks for.
struct Options {
    QString link;
    QString listen; ///< [ADDRESS:]PORT of a line over the network, in the link's place
    QString control;
    std::optional<QString> command; ///< to be sent to the simulator at control, instead of running one
    QString log;
    bool trace = false;
    QStringList setUp; ///< control commands that bring about the other options
};

/// Reads the command line. --help and --version end the program; a wrong option ends it with status 2 and a
/// text that says what is wrong.
Options readOptions(const QStringList &arguments);
} // namespace simulator
