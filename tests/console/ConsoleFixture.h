#pragma once

#include "console/frmMain.h"
#include "foundation/Settings.h"
#include "service/MessageBoxes.h"
#include "tests/support/Office.h"

#include <QStringList>

/// Message boxes that a test answers beforehand: remembers the texts and gives the next answer.
class ScriptedBoxes final : public MessageBoxes
{
public:
    void inform(const QString &text) override { shown += text; }
    bool confirm(const QString &text) override
    {
        shown += text;
        return !answers.isEmpty() && answers.takeFirst();
    }

    QStringList shown;
    QList<bool> answers; // to the questions, in order; Cancel when there is none
};

/// The main window in an office of its own; COM3 is the device that the test names.
class ConsoleFixture
{
public:
    ConsoleFixture()
    {
        auto scripted = std::make_unique<ScriptedBoxes>();
        boxes = scripted.get();
        window.setMessageBoxes(std::move(scripted));
        QObject::connect(&window, &frmMain::ended, &window, [this] { ++endings; });
        QObject::connect(&window, &frmMain::logLineAdded, &window,
                         [this](const QString &line) { log += line; });
    }

    void configure(const QString &centerCode, const QString &serverPort, const QString &timeDelay = {})
    {
        office.registry.write(Settings::centerCodePath(), centerCode);
        office.registry.write(Settings::serverPortPath(), serverPort);
        office.registry.write(Settings::timeDelayPath(), timeDelay);
    }
    /// The log lines since the last call without their timestamps, oldest first.
    [[nodiscard]] QStringList takeLog()
    {
        QStringList lines = std::exchange(log, {});
        for (QString &line : lines)
            line.remove(0, 20);
        return lines;
    }
    /// The boxes shown since the last call.
    [[nodiscard]] QString takeBoxes() { return std::exchange(boxes->shown, {}).join(u'|'); }
    template <typename Widget>
    [[nodiscard]] Widget *child(const char *name) const
    {
        return window.findChild<Widget *>(QString::fromLatin1(name));
    }

    Office office;
    QString device = office.path(QStringLiteral("no-modem"));
    ModemControl modem{office.clock, [this](int comPort) { return comPort == 3 ? device : QString(); }};
    ScriptedBoxes *boxes = nullptr; // the window's own
    QStringList log;
    int endings = 0;
    frmMain window{{office.clock, office.registry, office.session, modem}};
};
