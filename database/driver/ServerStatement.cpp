#include "database/driver/ServerStatement.h"

#include "database/driver/BoundValue.h"
#include "database/driver/StatementLimit.h"

void ServerStatement::execute(const QVariantList &values)
{
    const qint64 payload = payloadOctets(values);
    if (m_driver.m_maximumPayload > 0 && payload > m_driver.m_maximumPayload)
        throw payloadFault(m_driver.m_maximumPayload);
    try {
        executeStorable(values);
    } catch (const DatabaseFault &fault) {
        m_line->finish();
        if (fault.kind() != DatabaseFault::Kind::Refused)
            throw;
        throw withColumnsTooShort(fault, m_driver.m_names.storedParameters(m_sql), values);
    }
}

bool ServerStatement::next()
{
    if (m_findsNothing)
        return false;
    const auto limit = m_driver.watch(0);
    return m_line->next();
}

void ServerStatement::executeStorable(const QVariantList &values)
{
    QVariantList bound;
    for (const QVariant &value : values)
        bound += boundValue(value, m_driver.replacementForNul());
    const qint64 payload = payloadOctets(values);
    m_findsNothing = !m_driver.m_texts.fit(m_sql, bound);
    while (!m_findsNothing) {
        try {
            executeInTime(bound, payload);
            return;
        } catch (const DatabaseFault &refusal) {
            if (refusal.cause() != DatabaseFault::Cause::Characters)
                throw;
            m_line->finish();
            const auto remedy = m_driver.m_texts.fitRefused(m_sql, bound, refusal);
            // Some servers have ended the transaction with the refusal; then the row's next try goes well.
            if (remedy == StorableTexts::Remedy::None ||
                (m_driver.m_inTransaction && m_driver.m_dialect->faultEndsTransaction()))
                throw;
            m_findsNothing = remedy == StorableTexts::Remedy::FindsNothing;
        }
    }
}

void ServerStatement::executeInTime(const QVariantList &bound, qint64 payload)
{
    const auto execute = [&] {
        const auto limit = m_driver.watch(payload);
        m_line->execute(bound);
    };
    if (!m_driver.m_lenient.concerns(m_sql))
        execute();
    else if (m_driver.m_lenient.run(m_sql, m_driver.m_inTransaction, execute) ==
             LenientSession::Stored::WithOtherCharacters)
        m_driver.m_texts.noteReplaced(m_sql);
}
