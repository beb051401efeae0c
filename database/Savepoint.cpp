#include "database/Savepoint.h"

using namespace Qt::StringLiterals;

Savepoint::Savepoint(Connection &connection)
    : m_connection(connection),
      m_name("sms_step_"_L1 + QString::number(connection.m_savepoints + 1)),
      m_earlierFault(connection.setSavepoint(m_name))
{
    ++m_connection.m_savepoints;
}

Savepoint::~Savepoint()
{
    --m_connection.m_savepoints;
    if (!m_released)
        m_connection.rollbackToSavepoint(m_name, m_earlierFault);
}

void Savepoint::release()
{
    if (m_connection.m_transactionFault && !m_earlierFault)
        throw DatabaseFault(*m_connection.m_transactionFault);
    m_connection.releaseSavepoint(m_name);
    m_released = true;
}
