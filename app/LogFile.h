#pragma once

#include "app/RepeatedLines.h"

#include <QFile>

/// The log as a file, mode 0640: every line appended, oldest first, UTF-8, LF line ends, flushed line by line. Of
/// lines that come again and again only the first are written one by one (RepeatedLines).
class LogFile
{
public:
    /// Opens for appending. Throws Fault when that fails.
    explicit LogFile(const QString &fileName);
    ~LogFile();
    LogFile(const LogFile &) = delete;
    LogFile &operator=(const LogFile &) = delete;

    /// line: begins with its timestamp and a blank.
    void append(const QString &line);
    /// Opens the file anew under its name, after it was renamed. When that fails the old one goes on.
    void reopen();

private:
    [[nodiscard]] bool open(QFile &file) const;
    void write(const QString &line);

    QString m_fileName;
    std::unique_ptr<QFile> m_file;
    RepeatedLines m_repeated;
};
