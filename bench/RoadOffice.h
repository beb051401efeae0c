#pragma once

#include "tests/support/Office.h"

/// One waiting row.
struct Workload {
    QStringList names;
    QString text;

    explicit Workload(int recipients, int characters = 150) : text(characters, u'长')
    {
        for (int i = 0; i < recipients; ++i)
            names += QStringLiteral("user%1").arg(i);
    }
};

/// One office on a route, filled; its commits reach the disk.
struct RoadOffice : Office {
    RoadOffice(DatabaseRoute route, const Workload &load);
};
