#include "platform/process/Confinement.h"

#ifdef Q_OS_LINUX

#include <csignal>
#include <malloc.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

namespace
{

/// Larger blocks go back to the system as soon as they are freed. Left alone, the allocator keeps what is smaller
/// than the largest block that was ever freed.
constexpr int giveBackOctets = 1 << 20;

void limit(__rlimit_resource resource, rlim_t most)
{
    const rlimit both{most, most};
    static_cast<void>(::setrlimit(resource, &both));
}

} // namespace

void confineProcess(const ProcessLimits &limits)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    pollfd output{STDOUT_FILENO, 0, 0};
    if (::poll(&output, 1, 0) > 0)
        ::_exit(1); // nobody reads it: the parent went before it could be watched
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    ::prctl(PR_SET_DUMPABLE, 0);
    ::mallopt(M_MMAP_THRESHOLD, giveBackOctets);
    limit(RLIMIT_CORE, 0);
    limit(RLIMIT_NOFILE, static_cast<rlim_t>(limits.descriptors));
#ifndef __SANITIZE_ADDRESS__ // which reserves terabytes of addresses
    limit(RLIMIT_AS, static_cast<rlim_t>(limits.memoryOctets));
#endif
}

void limitProcessorTime(std::chrono::seconds time)
{
    const itimerval once{{}, {time.count(), 0}};
    ::setitimer(ITIMER_PROF, &once, nullptr); // SIGPROF ends the process
}

#else

void confineProcess(const ProcessLimits &) {}

void limitProcessorTime(std::chrono::seconds) {}

#endif
