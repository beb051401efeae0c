#include "tests/simulation/Kill.h"

#include "tests/simulation/VirtualTime.h"

#include <QHash>
#include <optional>

namespace
{

struct Life {
    quint64 crossings = 0;
    std::optional<quint64> end;
    bool isDead = false;
};

QHash<int, Life> lives; // by server

int current()
{
    return VirtualTime::instance().domain();
}

} // namespace

void Kill::begin(int server)
{
    lives[server] = {};
}

void Kill::after(int server, quint64 crossings)
{
    Life &life = lives[server];
    life.end = life.crossings + crossings;
    life.isDead = life.isDead || crossings == 0;
}

bool Kill::crosses()
{
    if (current() == VirtualTime::world)
        return true;
    Life &life = lives[current()];
    if (!life.isDead)
        life.isDead = ++life.crossings == life.end;
    return !life.isDead;
}

bool Kill::isDead(int server)
{
    return lives[server].isDead;
}

bool Kill::isDead()
{
    return current() != VirtualTime::world && isDead(current());
}

quint64 Kill::crossings(int server)
{
    return lives[server].crossings;
}
