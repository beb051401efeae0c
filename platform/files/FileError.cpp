#include "platform/files/FileError.h"

#include <cerrno>

using namespace Qt::StringLiterals;

bool FileError::isAbsence() const
{
    return m_code == ENOENT;
}

bool FileError::isBusy() const
{
    return m_code == EWOULDBLOCK;
}

QString FileError::text() const
{
    switch (m_code) {
    case 0:
        return {};
    case ENOSPC:
        return u"磁盘已满"_s;
    case EDQUOT:
        return u"磁盘配额已用完"_s;
    case EFBIG:
        return u"文件超过允许的大小"_s;
    case EROFS:
        return u"磁盘只读"_s;
    case EACCES:
    case EPERM:
        return u"没有权限"_s;
    case EIO:
        return u"读写错误"_s;
    case ENOENT:
        return u"文件或文件夹不存在"_s;
    case ENOTDIR:
        return u"路径中有一部分不是文件夹"_s;
    case EISDIR:
        return u"是文件夹，不是文件"_s;
    case EINVAL:
        return u"不是普通文件"_s;
    case ELOOP:
        return u"链接指向自身"_s;
    case ENAMETOOLONG:
        return u"文件名过长"_s;
    case EMFILE:
    case ENFILE:
        return u"打开的文件过多"_s;
    case EAGAIN:
        return u"正被其他程序占用"_s;
    default:
        return qt_error_string(m_code);
    }
}
