#include "tests/console/Desktop.h"

#include <QRegularExpression>
#include <QTest>
#include <algorithm>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace
{

constexpr int startMilliseconds = 30000;

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
    startPart(u"Xvfb"_s, u"-displayfd 1 -screen 0 1024x768x24 -nolisten tcp"_s.split(u' '));
    QProcess &server = *m_parts.front();
    while (!server.canReadLine()) {
        if (!server.waitForReadyRead(startMilliseconds))
            throw std::runtime_error("Xvfb does not get ready");
    }
    m_environment.insert(u"DISPLAY"_s, u":"_s + QString::fromLatin1(server.readLine().trimmed()));
    startPart(u"openbox"_s, {});
    const auto isManaged = [this] {
        return output(u"xprop"_s, {u"-root"_s, u"_NET_SUPPORTING_WM_CHECK"_s}).contains("window id");
    };
    if (!QTest::qWaitFor(isManaged, startMilliseconds))
        throw std::runtime_error("the window manager does not get ready");
    // A panel that starts while the window manager does may stay unseen for ever; another one is then seen.
    constexpr int attempts = 6;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        startPart(
            u"trayer"_s,
            u"--edge bottom --align right --widthtype request --height 24 --SetDockType true"_s.split(u' '));
        if (QTest::qWaitFor([this] { return !notificationArea().isEmpty(); }, startMilliseconds / attempts))
            return;
        end(*m_parts.back());
        m_parts.pop_back();
    }
    throw std::runtime_error("the notification area does not appear");
}

Desktop::~Desktop()
{
    std::for_each(m_parts.rbegin(), m_parts.rend(), [](const auto &part) { end(*part); });
}

void Desktop::startPart(const QString &program, const QStringList &arguments)
{
    m_parts.push_back(run(program, arguments));
}

std::unique_ptr<QProcess> Desktop::run(const QString &program, const QStringList &arguments) const
{
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(m_environment);
    process->start(program, arguments);
    if (!process->waitForStarted())
        throw std::runtime_error("cannot start " + program.toStdString());
    return process;
}

QByteArray Desktop::output(const QString &program, const QStringList &arguments) const
{
    const auto process = run(program, arguments);
    if (!process->waitForFinished(startMilliseconds))
        end(*process);
    return process->readAllStandardOutput();
}

QString Desktop::xdotool(const QStringList &arguments) const
{
    return QString::fromUtf8(output(u"xdotool"_s, arguments)).trimmed();
}

QString Desktop::search(const QString &what, const QString &text) const
{
    return xdotool({u"search"_s, u"--onlyvisible"_s, what, text}).section(u'\n', -1);
}

QSize Desktop::sizeOf(const QString &window) const
{
    static const QRegularExpression geometry(u"Geometry: (\\d+)x(\\d+)"_s);
    const auto match = geometry.match(xdotool({u"getwindowgeometry"_s, window}));
    return {match.captured(1).toInt(), match.captured(2).toInt()};
}

QSize Desktop::frameOf(const QString &window) const
{
    static const QRegularExpression extents(u"= (\\d+), (\\d+), (\\d+), (\\d+)"_s);
    const auto match =
        extents.match(QString::fromLatin1(output(u"xprop"_s, {u"-id"_s, window, u"_NET_FRAME_EXTENTS"_s})));
    return {match.captured(1).toInt() + match.captured(2).toInt(),
            match.captured(3).toInt() + match.captured(4).toInt()};
}

QImage Desktop::picture(const QString &window) const
{
    return QImage::fromData(output(u"import"_s, {u"-window"_s, window, u"png:-"_s}));
}

void Desktop::click(const QString &window, QPoint position, Button button, int times) const
{
    xdotool({u"mousemove"_s, u"--window"_s, window, QString::number(position.x()),
             QString::number(position.y()), u"click"_s, u"--repeat"_s, QString::number(times), u"--delay"_s,
             u"50"_s, QString::number(button)});
}

void Desktop::dragCorner(const QString &window, QPoint by) const
{
    // The window manager resizes with Alt and the right button, whatever its frame looks like.
    const QSize size = sizeOf(window);
    xdotool({u"mousemove"_s, u"--window"_s, window, QString::number(size.width() - 40),
             QString::number(size.height() - 40), u"keydown"_s, u"alt"_s, u"mousedown"_s, u"3"_s});
    constexpr int steps = 10;
    for (int step = 0; step < steps; ++step)
        xdotool({u"mousemove_relative"_s, u"--"_s, QString::number(by.x() / steps),
                 QString::number(by.y() / steps)});
    xdotool({u"mouseup"_s, u"3"_s, u"keyup"_s, u"alt"_s});
}
