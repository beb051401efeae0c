#include "foundation/DatabaseSession.h"

#include "foundation/Settings.h"

QString DatabaseSession::GetConnectString()
{
    try {
        m_readFailure.clear();
        m_lastRead = ReadRegValue(m_registry, Settings::connectStringPath());
    } catch (const Fault &fault) {
        m_readFailure = fault.message();
        if (m_lastRead.isEmpty())
            throw;
    }
    return m_lastRead;
}

bool DatabaseSession::OpenDB()
{
    try {
        m_connection.close();
        m_connection.open(GetConnectString());
        m_openFailure.clear();
        return true;
    } catch (const Fault &fault) {
        m_openFailure = fault.message();
        return false;
    }
}
