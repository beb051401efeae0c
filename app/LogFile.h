#pragma once

#include "platform/files/Files.h"

#include <QHash>
#include <QStringList>

/// The log as a file, mode 0640: every line appended, oldest first, UTF-8, LF line ends, flushed line by line. Within an
/// hour the first hundred lines of the same text are written, which no ordinary trouble exceeds; the rest are counted,
/// and the hour's end gives one line with the sum. Lines that the disk refused are counted, and the first one that it
/// takes again tells how many.
class LogFile
{
public:
    /// Opens for appending. Throws Fault when that fails.
    explicit LogFile(const QString &fileName);
    ~LogFile();
    LogFile(const LogFile &) = delete;
    LogFile &operator=(const LogFile &) = delete;

    /// line: begins with its timestamp and a blank. What the operator is to be told: that from this line on the
    /// disk refuses; "" at all others.
    [[nodiscard]] QString append(const QString &line);
    /// Opens the file anew under its name, after it was renamed. When that fails the old one goes on.
    void reopen();

private:
    void write(const QString &line);
    void writeSums();

    QString m_fileName;
    LineFile m_file;
    QHash<QString, int> m_counts; // of this hour, by message
    QString m_lastTime;
    int m_lostLines = 0;
    FileError m_error; // of the last of them
};
