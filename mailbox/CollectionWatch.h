#pragma once

#include "mailbox/CollectorProtocol.h"

/// Follows a collection pass, and knows what those before it have learnt. It is told before anything of a stranger's is
/// read, so that whoever outlives the pass knows what it died of. This one only remembers.
class CollectionWatch
{
public:
    explicit CollectionWatch(CollectorState known = {}) : m_known(std::move(known)) {}
    virtual ~CollectionWatch() = default;
    CollectionWatch(const CollectionWatch &) = delete;
    CollectionWatch &operator=(const CollectionWatch &) = delete;

    [[nodiscard]] const CollectorState &known() const { return m_known; }
    /// What is known of an account from now on.
    /// mailbox: for people.
    void learn(qint64 accountKey, const QString &mailbox, const AccountHistory &history)
    {
        m_known.histories.insert(accountKey, history);
        told(CollectorProtocol::AccountLearnt{accountKey, mailbox, history});
    }
    /// The same of a mail.
    void learn(const MailKey &mail, const BrokenMail &broken)
    {
        m_known.note(mail, broken);
        told(CollectorProtocol::MailLearnt{mail, broken});
    }
    /// What the service knows, and the settings, before the next pass.
    void know(CollectorState known) { m_known = std::move(known); }
    virtual void told(const CollectorProtocol::Report & /*report*/) {}

private:
    CollectorState m_known;
};
