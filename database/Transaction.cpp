#include "database/Transaction.h"

Transaction::Transaction(Connection &connection) : m_connection(connection)
{
    m_connection.beginTransaction();
}

Transaction::~Transaction()
{
    if (!m_committed)
        m_connection.rollbackTransaction();
}

void Transaction::commit()
{
    m_connection.commitTransaction();
    m_committed = true;
}

void Transaction::abandon()
{
    m_connection.giveUp();
}
