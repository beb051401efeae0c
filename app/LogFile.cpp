#include "app/LogFile.h"

#include "platform/fault/Fault.h"

using namespace Qt::StringLiterals;

namespace
{

constexpr int passing = 100; // lines of one text in an hour
constexpr int timeLength = 19;
constexpr int hourLength = 13; // "YYYY-MM-DD HH"

} // namespace

LogFile::LogFile(const QString &fileName) : m_fileName(fileName)
{
    if (const FileError error = m_file.open(m_fileName, FileMode::logged); error.isError())
        throw Fault(u"无法打开日志文件 %1：%2"_s.arg(fileName, error.text()));
}

LogFile::~LogFile()
{
    writeSums();
}

QString LogFile::append(const QString &line)
{
    const bool wasWhole = m_lostLines == 0;
    if (line.left(hourLength) != m_lastTime.left(hourLength))
        writeSums();
    m_lastTime = line.left(timeLength);
    if (++m_counts[line.mid(timeLength)] <= passing)
        write(line);
    return wasWhole && m_lostLines > 0 ? u"日志文件 %1 无法写入：%2"_s.arg(m_fileName, m_error.text())
                                       : QString();
}

void LogFile::reopen()
{
    static_cast<void>(m_file.open(m_fileName, FileMode::logged));
}

void LogFile::writeSums()
{
    for (auto count = m_counts.cbegin(); count != m_counts.cend(); ++count) {
        if (count.value() > passing)
            write(m_lastTime + u" 又有 %1 次："_s.arg(count.value() - passing) + count.key().trimmed());
    }
    m_counts.clear();
}

void LogFile::write(const QString &line)
{
    QString text = line + u'\n';
    if (m_lostLines > 0)
        text.prepend(line.left(timeLength) +
                     u" 此前有 %1 行日志无法写入：%2\n"_s.arg(m_lostLines).arg(m_error.text()));
    const FileError error = m_file.append(text.toUtf8(), Sync::NotAwaited);
    m_lostLines = error.isError() ? m_lostLines + 1 : 0;
    if (error.isError())
        m_error = error;
}
