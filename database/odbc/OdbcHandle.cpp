#include "database/odbc/OdbcHandle.h"

#include <QRegularExpression>
#include <QStringList>
#include <array>

using namespace Qt::StringLiterals;

OdbcHandle::OdbcHandle(SQLSMALLINT type, SQLHANDLE parent) : m_type(type)
{
    if (!SQL_SUCCEEDED(SQLAllocHandle(type, parent, &m_handle)))
        m_handle = nullptr;
    else if (type == SQL_HANDLE_ENV)
        SQLSetEnvAttr(m_handle, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
}

OdbcHandle::~OdbcHandle()
{
    if (m_handle != nullptr)
        SQLFreeHandle(m_type, m_handle);
}

OdbcHandle::Diagnosis OdbcHandle::diagnosis() const
{
    static const QRegularExpression prefixes(u"^(\\[[^\\]]*\\])+"_s);
    Diagnosis diagnosis;
    QStringList texts;
    for (SQLSMALLINT record = 1;; ++record) {
        std::array<SQLWCHAR, 6> state{};
        std::array<SQLWCHAR, 1024> text{};
        SQLINTEGER number = 0;
        SQLSMALLINT length = 0;
        if (!SQL_SUCCEEDED(SQLGetDiagRecW(m_type, m_handle, record, state.data(), &number, text.data(),
                                          static_cast<SQLSMALLINT>(text.size()), &length)))
            break;
        if (record == 1)
            diagnosis.code = {QString::fromUtf16(reinterpret_cast<const char16_t *>(state.data())), number};
        // Up to its end, not to the length told: one driver counts garbage behind the end.
        QString words = QString::fromUtf16(reinterpret_cast<const char16_t *>(text.data()));
        texts += words.remove(prefixes).section(u'\n', 0, 0).trimmed();
    }
    texts.removeDuplicates();
    diagnosis.text = texts.join(u' ');
    return diagnosis;
}
