#include "bench/ServerProcess.h"

#include <stdexcept>

using namespace Qt::StringLiterals;

namespace
{

constexpr int patienceMilliseconds = 60000;

} // namespace

ServerProcess::ServerProcess(const QString &settingsFile, const QStringList &options)
{
    m_process.setReadChannel(QProcess::StandardError);
    m_process.start(QStringLiteral(SERVER_PROGRAM),
                    QStringList{u"--settings"_s, settingsFile, u"--headless"_s, u"--start"_s} + options);
    while (!nextLine().contains(u"端口成功"_s)) {
    }
}

ServerProcess::~ServerProcess()
{
    m_process.terminate();
    m_process.waitForFinished(patienceMilliseconds);
}

QString ServerProcess::nextLine()
{
    while (!m_process.canReadLine()) {
        if (!m_process.waitForReadyRead(patienceMilliseconds))
            throw std::runtime_error("the server says nothing");
    }
    return QString::fromUtf8(m_process.readLine()).trimmed();
}
