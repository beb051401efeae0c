#include "foundation/DatabaseSession.h"

#include "foundation/Settings.h"

QString DatabaseSession::GetConnectString() const
{
    return ReadRegValue(m_registry, Settings::connectStringPath());
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
