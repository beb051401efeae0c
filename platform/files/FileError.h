#pragma once

#include <QString>

/// What came of work on a file: nothing, or why it failed.
class [[nodiscard]] FileError
{
public:
    FileError() = default;
    /// A result of Disk's: an error when it is below 0.
    explicit FileError(qint64 result) : m_code(result < 0 ? static_cast<int>(-result) : 0) {}

    [[nodiscard]] bool isError() const { return m_code != 0; }
    /// There is no such file.
    [[nodiscard]] bool isAbsence() const;
    /// Another process has it.
    [[nodiscard]] bool isBusy() const;
    /// As Disk gave it.
    [[nodiscard]] int result() const { return -m_code; }
    /// In words for the operator, "磁盘已满"; "" when there is none.
    [[nodiscard]] QString text() const;

private:
    int m_code = 0; // an errno
};
