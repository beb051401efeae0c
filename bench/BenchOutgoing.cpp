#include "bench/OutgoingBenches.h"

#include "bench/RoadBench.h"

#include <QCoreApplication>

namespace
{

/// The expander and the archiver at an office's largest.
bool benchEmbeddedRoad()
{
    return benchRoad(DatabaseRoute::Sqlite, QStringLiteral("SQLite"), 10'000, 1);
}

} // namespace

/// Prints each figure beside its limit; exit status 1 when one is missed.
///   bench-outgoing [road] [sender] [idle]     these parts, else all
int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList wanted = QCoreApplication::arguments().mid(1);
    const std::array parts = {
        std::pair(QStringLiteral("road"), &benchEmbeddedRoad),
        std::pair(QStringLiteral("sender"), &benchSender),
        std::pair(QStringLiteral("idle"), &benchIdle),
    };
    bool holds = true;
    for (const auto &[name, measure] : parts) {
        if (wanted.isEmpty() || wanted.contains(name))
            holds = measure() && holds;
    }
    return holds ? 0 : 1;
}
