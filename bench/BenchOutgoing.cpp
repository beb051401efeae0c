#include "bench/OutgoingBenches.h"

#include <QCoreApplication>

/// Prints each figure beside its limit. Exit status 1 when one is missed.
int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    bool holds = benchExpander();
    holds = benchArchiver() && holds;
    holds = benchSender() && holds;
    // The idle measurement takes a minute; --quick leaves it out.
    if (!QCoreApplication::arguments().contains(QStringLiteral("--quick")))
        holds = benchIdle() && holds;
    return holds ? 0 : 1;
}
