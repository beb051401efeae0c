#include "tests/console/Desktop.h"

#include <QRegularExpression>
#include <QTest>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace
{

constexpr int startMilliseconds = 30000;

std::unique_ptr<QProcess> started(const QString &program, const QStringList &arguments,
                                  const QProcessEnvironment &environment)
{
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(environment);
    process->start(program, arguments);
    if (!process->waitForStarted())
        throw std::runtime_error("cannot start " + program.toStdString());
    return process;
}

void end(QProcess &process)
{
    process.terminate();
    if (!process.waitForFinished(2000)) {
        process.kill();
        process.waitForFinished();
    }
}

} // namespace

Desktop::Desktop()
{
    m_environment.remove(u"DBUS_SESSION_BUS_ADDRESS"_s);
    m_environment.insert(u"QT_QPA_PLATFORM"_s, u"xcb"_s);
    // Xvfb takes a free number and writes it when it is ready.
    startPart(u"Xvfb"_s,
              {u"-displayfd"_s, u"1"_s, u"-screen"_s, u"0"_s, u"1024x768x24"_s, u"-nolisten"_s, u"tcp"_s});
    QProcess &server = *m_parts.front();
    while (!server.canReadLine()) {
        if (!server.waitForReadyRead(startMilliseconds))
            throw std::runtime_error("Xvfb does not get ready");
    }
    m_environment.insert(u"DISPLAY"_s, u":"_s + QString::fromLatin1(server.readLine().trimmed()));
    startPart(u"openbox"_s, {});
    startNotificationArea();
}

Desktop::~Desktop()
{
    for (auto part = m_parts.rbegin(); part != m_parts.rend(); ++part)
        end(**part);
}

/// A panel that starts while the window manager does may stay unseen for ever; another one is then seen.
void Desktop::startNotificationArea()
{
    constexpr int attempts = 6;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        startPart(u"trayer"_s, {u"--edge"_s, u"bottom"_s, u"--align"_s, u"right"_s, u"--widthtype"_s,
                                u"request"_s, u"--height"_s, u"24"_s, u"--SetDockType"_s, u"true"_s});
        if (QTest::qWaitFor([this] { return !notificationArea().isEmpty(); }, startMilliseconds / attempts))
            return;
        end(*m_parts.back());
        m_parts.pop_back();
    }
    throw std::runtime_error("the notification area does not appear");
}

void Desktop::startPart(const QString &program, const QStringList &arguments)
{
    m_parts.push_back(started(program, arguments, m_environment));
}

std::unique_ptr<QProcess> Desktop::run(const QString &program, const QStringList &arguments) const
{
    return started(program, arguments, m_environment);
}

QString Desktop::xdotool(const QStringList &arguments) const
{
    const auto process = started(u"xdotool"_s, arguments, m_environment);
    if (!process->waitForFinished(10000))
        end(*process);
    return QString::fromUtf8(process->readAllStandardOutput()).trimmed();
}

QString Desktop::window(const QString &title) const
{
    return xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, title}).section(u'\n', -1);
}

QString Desktop::notificationArea() const
{
    return xdotool({u"search"_s, u"--onlyvisible"_s, u"--class"_s, u"trayer"_s}).section(u'\n', -1);
}

QSize Desktop::sizeOf(const QString &window) const
{
    static const QRegularExpression geometry(u"Geometry: (\\d+)x(\\d+)"_s);
    const auto match = geometry.match(xdotool({u"getwindowgeometry"_s, window}));
    return {match.captured(1).toInt(), match.captured(2).toInt()};
}

QString Desktop::focusedWindow() const
{
    return xdotool({u"getactivewindow"_s});
}

QImage Desktop::picture(const QString &window) const
{
    const auto process = started(u"import"_s, {u"-window"_s, window, u"png:-"_s}, m_environment);
    process->waitForFinished();
    return QImage::fromData(process->readAllStandardOutput());
}

void Desktop::moveTo(const QString &window, QPoint position) const
{
    xdotool({u"mousemove"_s, u"--window"_s, window, QString::number(position.x()),
             QString::number(position.y())});
}

void Desktop::click(const QString &window, QPoint position, Button button) const
{
    moveTo(window, position);
    xdotool({u"click"_s, QString::number(button)});
}

void Desktop::doubleClick(const QString &window, QPoint position) const
{
    moveTo(window, position);
    xdotool({u"click"_s, u"--repeat"_s, u"2"_s, u"--delay"_s, u"50"_s, u"1"_s});
}

void Desktop::dragCorner(const QString &window, QPoint by) const
{
    // The window manager resizes with Alt and the right button, whatever its frame looks like.
    const QSize size = sizeOf(window);
    moveTo(window, {size.width() - 40, size.height() - 40});
    xdotool({u"keydown"_s, u"alt"_s, u"mousedown"_s, u"3"_s});
    constexpr int steps = 10;
    for (int step = 0; step < steps; ++step)
        xdotool({u"mousemove_relative"_s, u"--"_s, QString::number(by.x() / steps),
                 QString::number(by.y() / steps)});
    xdotool({u"mouseup"_s, u"3"_s, u"keyup"_s, u"alt"_s});
}

void Desktop::minimise(const QString &window) const
{
    xdotool({u"windowminimize"_s, window});
}

void Desktop::askForSize(const QString &window, QSize size) const
{
    xdotool({u"windowsize"_s, window, QString::number(size.width()), QString::number(size.height())});
}

void Desktop::press(const QStringList &keys) const
{
    xdotool(QStringList{u"key"_s} + keys);
}

void Desktop::type(const QString &text) const
{
    xdotool({u"type"_s, text});
}
