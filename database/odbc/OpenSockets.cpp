#include "database/odbc/OpenSockets.h"

#include <QDir>
#include <algorithm>
#include <iterator>
#include <sys/stat.h>

OpenSockets OpenSockets::now()
{
    OpenSockets sockets;
    const QStringList names =
        QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System | QDir::NoDotAndDotDot);
    for (const QString &name : names) {
        struct stat status {
        };
        const int descriptor = name.toInt();
        if (::fstat(descriptor, &status) == 0 && S_ISSOCK(status.st_mode))
            sockets.m_descriptors.insert(descriptor);
    }
    return sockets;
}

std::vector<int> OpenSockets::since(const OpenSockets &before) const
{
    std::vector<int> added;
    std::set_difference(m_descriptors.begin(), m_descriptors.end(), before.m_descriptors.begin(),
                        before.m_descriptors.end(), std::back_inserter(added));
    return added;
}
