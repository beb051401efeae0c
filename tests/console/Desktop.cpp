#include "tests/console/Desktop.h"

#include <QRegularExpression>
#include <QTest>
#include <array>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace
{

constexpr int startMilliseconds = 30000;

QByteArray output(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(startMilliseconds))
        throw std::runtime_error(program.toStdString() + ": " + process.errorString().toStdString());
    return process.readAllStandardOutput();
}

/// What the pattern captures, from 1 on; zeros where it does not match.
std::array<int, 5> numbers(const QByteArray &text, const QString &pattern)
{
    const auto match = QRegularExpression(pattern).match(QString::fromUtf8(text));
    std::array<int, 5> numbers = {};
    for (int i = 1; i <= match.lastCapturedIndex(); ++i)
        numbers.at(size_t(i)) = match.captured(i).toInt();
    return numbers;
}

void end(QProcess &process)
{
    process.terminate();
    if (!process.waitForFinished(2000))
        process.kill();
    process.waitForFinished();
}

} // namespace

Desktop::Desktop()
{
    // It takes a free number and writes it when it is ready.
    m_screen.start(u"Xvfb"_s, u"-displayfd 1 -screen 0 1024x768x24 -nolisten tcp -noreset"_s.split(u' '));
    while (!m_screen.canReadLine()) {
        if (!m_screen.waitForReadyRead(startMilliseconds))
            throw std::runtime_error("Xvfb does not get ready");
    }
    qputenv("DISPLAY", ":" + m_screen.readLine().trimmed());
    qputenv("QT_QPA_PLATFORM", "xcb");
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    // Started by the window manager when that is ready: a panel that comes earlier may stay unseen for ever.
    m_windowManager.start(
        u"openbox"_s,
        {u"--startup"_s,
         u"trayer --edge bottom --align right --widthtype request --height 24 --SetDockType true"_s});
    if (!QTest::qWaitFor([] { return !notificationArea().isEmpty(); }, startMilliseconds))
        throw std::runtime_error("the notification area does not appear");
}

Desktop::~Desktop()
{
    end(m_windowManager);
    end(m_screen); // and with it what else shows itself there
}

QString Desktop::say(const QStringList &arguments)
{
    return QString::fromUtf8(output(u"xdotool"_s, arguments)).trimmed();
}

QSize Desktop::outerSizeOf(const QString &window)
{
    if (window.isEmpty()) // which the tools would take as a wish to choose one with the mouse
        return {};
    const auto size =
        numbers(output(u"xwininfo"_s, {u"-id"_s, window}), u"Width: (\\d+)\\s+Height: (\\d+)"_s);
    const auto frame = numbers(output(u"xprop"_s, {u"-id"_s, window, u"_NET_FRAME_EXTENTS"_s}),
                               u"= (\\d+), (\\d+), (\\d+), (\\d+)"_s);
    return {size[1] + frame[1] + frame[2], size[2] + frame[3] + frame[4]};
}

QImage Desktop::picture(const QString &window)
{
    return QImage::fromData(output(u"import"_s, {u"-window"_s, window, u"png:-"_s}));
}

void Desktop::click(const QString &window, QPoint position, int button, int times)
{
    xdotool(u"mousemove --window %1 %2 %3 click --repeat %4 --delay 50 %5"_s.arg(window)
                .arg(position.x())
                .arg(position.y())
                .arg(times)
                .arg(button));
}
