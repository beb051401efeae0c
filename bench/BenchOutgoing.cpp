#include "bench/OutgoingBenches.h"

#include <QCoreApplication>

/// Prints each figure beside its limit; exit status 1 when one is missed.
///   bench-outgoing [expander] [archiver] [sender] [idle]     these parts, else all
int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList wanted = QCoreApplication::arguments().mid(1);
    const std::pair<QString, bool (*)()> parts[] = {
        {QStringLiteral("expander"), benchExpander},
        {QStringLiteral("archiver"), benchArchiver},
        {QStringLiteral("sender"), benchSender},
        {QStringLiteral("idle"), benchIdle},
    };
    bool holds = true;
    for (const auto &[name, measure] : parts) {
        if (wanted.isEmpty() || wanted.contains(name))
            holds = measure() && holds;
    }
    return holds ? 0 : 1;
}
