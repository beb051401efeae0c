#include "pop3/Fiber.h"

#include <QtGlobal>

#include <new>
#include <sys/mman.h>
#include <utility>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/common_interface_defs.h>
#endif

namespace
{

/// Address space: memory are only the pages that were used. A mail is read and stored on it.
constexpr size_t stackOctets = 1 << 20;
/// Below the stack, so that one that overflows ends the process instead of writing elsewhere.
constexpr size_t guardOctets = 1 << 16;

Fiber *running = nullptr;

} // namespace

Fiber::Fiber(std::function<void()> body) : m_body(std::move(body))
{
    m_stack = ::mmap(nullptr, guardOctets + stackOctets, PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (m_stack == MAP_FAILED)
        throw std::bad_alloc();
    ::mprotect(m_stack, guardOctets, PROT_NONE);
    ::getcontext(&m_inside);
    m_inside.uc_stack.ss_sp = static_cast<char *>(m_stack) + guardOctets;
    m_inside.uc_stack.ss_size = stackOctets;
    ::makecontext(&m_inside, &Fiber::enter, 0);
}

Fiber::~Fiber()
{
    ::munmap(m_stack, guardOctets + stackOctets);
}

void Fiber::cross(ucontext_t &from, const ucontext_t &to)
{
#ifdef __SANITIZE_ADDRESS__
    const bool isInward = &to == &m_inside;
    void *own = nullptr;
    __sanitizer_start_switch_fiber(m_hasEnded ? nullptr : &own,
                                   isInward ? m_inside.uc_stack.ss_sp : m_outsideStack,
                                   isInward ? stackOctets : m_outsideOctets);
    ::swapcontext(&from, &to);
    if (isInward) // and back again
        __sanitizer_finish_switch_fiber(own, nullptr, nullptr);
    else
        __sanitizer_finish_switch_fiber(own, &m_outsideStack, &m_outsideOctets);
#else
    ::swapcontext(&from, &to);
#endif
}

void Fiber::enter()
{
    Fiber *self = running;
#ifdef __SANITIZE_ADDRESS__
    __sanitizer_finish_switch_fiber(nullptr, &self->m_outsideStack, &self->m_outsideOctets);
#endif
    self->m_body();
    self->m_hasEnded = true;
    self->cross(self->m_inside, self->m_outside);
}

void Fiber::resume()
{
    Q_ASSERT(!running && !m_hasEnded);
    running = this;
    cross(m_outside, m_inside);
    running = nullptr;
}

Fiber *Fiber::current()
{
    return running;
}

void Fiber::pause()
{
    running->cross(running->m_inside, running->m_outside);
}
