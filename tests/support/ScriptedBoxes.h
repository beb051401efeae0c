#pragma once

#include "service/MessageBoxes.h"

#include <QStringList>

/// Message boxes that a test answers beforehand: remembers the texts and gives the next answer.
class ScriptedBoxes final : public MessageBoxes
{
public:
    void inform(const QString &text) override { m_shown += text; }
    bool confirm(const QString &text) override
    {
        m_shown += text;
        return !answers.isEmpty() && answers.takeFirst();
    }
    /// The boxes shown since the last call.
    [[nodiscard]] QString takeShown() { return std::exchange(m_shown, {}).join(u'|'); }

    QList<bool> answers; // to the questions, in order; Cancel when there is none

private:
    QStringList m_shown;
};
