#include "app/LogFile.h"

#include "platform/fault/Fault.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

LogFile::LogFile(const QString &fileName) : m_fileName(fileName), m_file(std::make_unique<QFile>())
{
    if (!open(*m_file))
        throw Fault(u"无法打开日志文件 %1：%2"_s.arg(fileName, qt_error_string()));
}

LogFile::~LogFile()
{
    for (const QString &line : m_repeated.takeSums())
        write(line);
}

bool LogFile::open(QFile &file) const
{
    // Nobody but the owner and his group reads numbers and names, not even for the moment of a later chmod.
    constexpr mode_t mode = 0640;
    const QByteArray name = QFile::encodeName(m_fileName);
    constexpr int flags = O_WRONLY | O_APPEND | O_CLOEXEC;
    int descriptor = ::open(name.constData(), flags | O_CREAT | O_EXCL, mode);
    if (descriptor >= 0)
        static_cast<void>(::fchmod(descriptor, mode)); // the group reads it whatever the umask
    else
        descriptor = ::open(name.constData(), flags | O_CREAT, mode);
    return descriptor >= 0 &&
           file.open(descriptor, QIODevice::WriteOnly | QIODevice::Append, QFile::AutoCloseHandle);
}

void LogFile::append(const QString &line)
{
    const QStringList lines = m_repeated.next(line);
    for (const QString &each : lines)
        write(each);
}

void LogFile::reopen()
{
    auto fresh = std::make_unique<QFile>();
    if (open(*fresh))
        m_file = std::move(fresh);
}

void LogFile::write(const QString &line)
{
    m_file->write(line.toUtf8() + '\n');
    m_file->flush();
}
