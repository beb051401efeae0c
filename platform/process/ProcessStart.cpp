#include "platform/process/ProcessStart.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

void prepareProcess()
{
    int descriptor = ::open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO)
        descriptor = ::open("/dev/null", O_RDWR);
    if (descriptor >= 0)
        ::close(descriptor);
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    const passwd *user = ::getenv("HOME") == nullptr ? ::getpwuid(::getuid()) : nullptr;
    if (user != nullptr)
        ::setenv("HOME", user->pw_dir, 1);
}
