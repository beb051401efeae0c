#pragma once

#include "app/Explanation.h"

#include <QStringList>
#include <optional>
#include <variant>

/// What the command line asks for.
struct CommandLine {
    bool start = false;
    bool hidden = false;
    bool headless = false;
    bool trace = false;
    bool showSettings = false;
    bool skipOldMail = false;
    bool check = false;
    bool tryModem = false; ///< in check also while a window of these settings is there
    bool status = false;
    bool demo = false;
    bool findModem = false;
    QString foundPort;  ///< the name of the setting that takes what is found, COM3 and the like
    QString testNumber; ///< of --send-test, "" without
    QString testText;
    std::optional<Question> explain;
    bool collectMail = false; // the collector of a service
    QString settingsFile;     ///< the one that is named, else the environment's or the user's own
    QString logFile;
    QString metricsFile;
    QString screenshotFile;
    struct Assignment {
        QString name;
        QString value;
    };
    QList<Assignment> assignments; // --set, in the order given

    bool help = false;
    bool version = false;

    /// Of the service: with its window, be it for a picture alone?
    [[nodiscard]] bool wantsWindow() const { return !headless || !screenshotFile.isEmpty(); }

    /// Exit status for a command line that cannot be understood.
    static constexpr int wrongUsage = 2;
    /// Exit status of an unattended start that a missing setting ended: a person has to act.
    static constexpr int settingMissing = 3;
};

/// A command line that cannot be understood: why, in words.
struct WrongUsage {
    QString why;
};

/// Reads the arguments of main().
[[nodiscard]] std::variant<CommandLine, WrongUsage> readCommandLine(int argc, char **argv);

/// The text of --help.
[[nodiscard]] QString commandLineHelp();
