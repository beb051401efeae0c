#include "app/LogFile.h"

#include "platform/fault/Fault.h"

using namespace Qt::StringLiterals;

LogFile::LogFile(const QString &fileName) : m_file(fileName)
{
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::Append))
        throw Fault(u"无法打开日志文件 %1：%2"_s.arg(fileName, m_file.errorString()));
}

void LogFile::append(const QString &line)
{
    m_file.write(line.toUtf8() + '\n');
    m_file.flush();
}
