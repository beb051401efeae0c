#include "app/DisplayWatch.h"

#include <QString>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

std::function<void()> displayGone; // a message handler sees nothing else
QtMessageHandler before = nullptr;

/// The library tells of a broken connection by a warning and no other way, and then calls exit().
void listen(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (message.contains("X11 connection broke"_L1)) {
        if (const auto gone = std::exchange(displayGone, nullptr))
            gone();
    }
    before(type, context, message);
}

} // namespace

void whenDisplayIsGone(std::function<void()> gone)
{
    displayGone = std::move(gone);
    if (before == nullptr)
        before = qInstallMessageHandler(listen);
}
