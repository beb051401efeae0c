#pragma once

#include "foundation/OperatorConsole.h"

#include <QElapsedTimer>

/// Tells the operator that a pass is at work once it takes longer than a second, and takes that back at the
/// end of the scope. Passes as short as usual leave the window alone.
class LongPassSign
{
public:
    LongPassSign(OperatorConsole &console, QString activity);
    ~LongPassSign();
    LongPassSign(const LongPassSign &) = delete;
    LongPassSign &operator=(const LongPassSign &) = delete;

    /// To be called now and then during the pass.
    void look();

private:
    OperatorConsole &m_console;
    QString m_activity;
    QElapsedTimer m_sinceBegin;
    bool m_isShown = false;
};
