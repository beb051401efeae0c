#include "app/LogFile.h"

#include "platform/fault/Fault.h"

using namespace Qt::StringLiterals;

LogFile::LogFile(const QString &fileName) : m_fileName(fileName)
{
    if (const FileError error = m_file.open(m_fileName, FileMode::logged); error.isError())
        throw Fault(u"无法打开日志文件 %1：%2"_s.arg(fileName, error.text()));
}

LogFile::~LogFile()
{
    for (const QString &line : m_repeated.takeSums())
        write(line);
}

QString LogFile::append(const QString &line)
{
    const bool wasWhole = m_lostLines == 0;
    const QStringList lines = m_repeated.next(line);
    for (const QString &each : lines)
        write(each);
    return wasWhole && m_lostLines > 0 ? u"日志文件 %1 无法写入：%2"_s.arg(m_fileName, m_error.text())
                                       : QString();
}

void LogFile::reopen()
{
    static_cast<void>(m_file.open(m_fileName, FileMode::logged));
}

void LogFile::write(const QString &line)
{
    constexpr qsizetype timestamp = 19;
    QString text = line + u'\n';
    if (m_lostLines > 0)
        text.prepend(line.left(timestamp) +
                     u" 此前有 %1 行日志无法写入：%2\n"_s.arg(m_lostLines).arg(m_error.text()));
    const FileError error = m_file.append(text.toUtf8(), Sync::NotAwaited);
    m_lostLines = error.isError() ? m_lostLines + 1 : 0;
    if (error.isError())
        m_error = error;
}
