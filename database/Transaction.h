#pragma once

#include "database/Connection.h"

/// Writes that belong together: rolled back at the end of the scope unless committed. A transaction inside
/// another joins it; when the inner one is rolled back, the outer one can no longer be committed.
class Transaction
{
public:
    /// Throws DatabaseFault when it cannot begin.
    explicit Transaction(Connection &connection);
    ~Transaction();
    Transaction(const Transaction &) = delete;
    Transaction &operator=(const Transaction &) = delete;

    /// Throws DatabaseFault, the writes then rolled back, when the database refuses or when any statement
    /// since the beginning failed, also when its caller absorbed the fault.
    void commit();
    /// Ends the transaction in a hurry: gives the connection up, and the database takes back what was written
    /// when it finds it gone, in its own time. The connection is lost then.
    void abandon();

private:
    Connection &m_connection;
    bool m_committed = false;
};
