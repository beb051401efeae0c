#include "bench/StartedServer.h"

#include <stdexcept>

using namespace Qt::StringLiterals;

namespace
{

constexpr int patienceMilliseconds = 60000;

} // namespace

StartedServer::StartedServer(const QString &settingsFile, const QStringList &options)
    : m_process(settingsFile, ServerProcess::service() + options)
{
    m_process.setReadChannel(QProcess::StandardError);
    while (!nextLine().contains(u"端口成功"_s)) {
    }
}

StartedServer::~StartedServer()
{
    static_cast<void>(m_process.end());
}

QString StartedServer::nextLine()
{
    while (!m_process.canReadLine()) {
        if (!m_process.waitForReadyRead(patienceMilliseconds))
            throw std::runtime_error("the server says nothing");
    }
    return QString::fromUtf8(m_process.readLine()).trimmed();
}
