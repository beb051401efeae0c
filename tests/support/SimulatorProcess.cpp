#include "tests/support/SimulatorProcess.h"

#include "platform/fault/Fault.h"
#include "platform/files/Files.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>
#include <csignal>
#include <sys/prctl.h>

using namespace Qt::StringLiterals;

namespace
{
/// Generous, because sanitizer builds on a busy machine start slowly.
constexpr int limitMs = 30'000;

} // namespace

SimulatorProcess::SimulatorProcess(const QStringList &options)
{
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.setStandardOutputFile(m_folder.filePath(u"output.txt"_s), QIODevice::Append);
    m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    m_process.start(QStringLiteral(SIMULATOR_PROGRAM), QStringList{u"--link"_s, devicePath(), u"--control"_s,
                                                                   controlPath(), u"--log"_s, logPath()} +
                                                           options);
    if (!m_process.waitForStarted(limitMs))
        throw Fault(u"modem-simulator does not start: "_s + m_process.errorString());
    // The control socket is there before the link and answers as soon as the event loop runs.
    const QDeadlineTimer deadline(limitMs);
    while (!QFile::exists(devicePath())) {
        if (m_process.waitForFinished(1) || deadline.hasExpired()) {
            const QByteArray output = readWhole(m_folder.filePath(u"output.txt"_s)).octets;
            throw Fault(u"modem-simulator offers no device: "_s + QString::fromUtf8(output));
        }
    }
}

SimulatorProcess::~SimulatorProcess()
{
    m_process.terminate();
    if (!m_process.waitForFinished(limitMs))
        m_process.kill();
}

QString SimulatorProcess::command(const QString &line)
{
    QLocalSocket socket;
    socket.connectToServer(controlPath());
    if (!socket.waitForConnected(limitMs))
        throw Fault(u"modem-simulator takes no commands: "_s + socket.errorString());
    socket.write(line.toUtf8() + '\n');
    if (socket.state() == QLocalSocket::ConnectedState && !socket.waitForDisconnected(limitMs))
        throw Fault(u"modem-simulator does not answer \"%1\""_s.arg(line));
    const QString answer = QString::fromUtf8(socket.readAll()).chopped(1);
    if (!answer.startsWith(u"ok"))
        throw Fault(u"modem-simulator refuses \"%1\": %2"_s.arg(line, answer));
    return answer.mid(3);
}

bool SimulatorProcess::isEmpty()
{
    const QString status = command(u"status"_s);
    return status.contains(u" SM=0/"_s) && status.contains(u" ME=0/"_s) && status.contains(u" waiting=0 "_s);
}

QList<SentMessage> SimulatorProcess::sent() const
{
    QList<SentMessage> messages;
    for (const QByteArray &line : readWhole(logPath()).octets.split('\n')) {
        const QJsonObject object = QJsonDocument::fromJson(line).object();
        if (object.isEmpty() || object.contains(u"refused"_s))
            continue;
        messages += SentMessage{object.value(u"number"_s).toString(), object.value(u"text"_s).toString(),
                                object.value(u"reference"_s).toInt(), object.value(u"part"_s).toInt(),
                                object.value(u"parts"_s).toInt()};
    }
    return messages;
}

QList<SentMessage> SimulatorProcess::sentWhole() const
{
    QList<SentMessage> whole;
    SentMessage message;
    for (const SentMessage &part : sent()) {
        message.number = part.number;
        message.text = part.part == 1 ? part.text : message.text + part.text;
        if (part.part == part.parts)
            whole += message;
    }
    return whole;
}
