#pragma once

#include <QFile>

/// The log as a file: every line appended, oldest first, UTF-8, LF line ends, flushed line by line.
class LogFile
{
public:
    /// Opens for appending. Throws Fault when that fails.
    explicit LogFile(const QString &fileName);
    void append(const QString &line);

private:
    QFile m_file;
};
