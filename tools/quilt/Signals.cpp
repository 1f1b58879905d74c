#include "Signals.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>

#include <sys/eventfd.h>
#include <unistd.h>

namespace QuiltTool
{

namespace
{

std::atomic<bool> s_stop{false};
std::atomic<int> s_stopDescriptor{-1};
static_assert(std::atomic<bool>::is_always_lock_free); // as a signal handler needs it
static_assert(std::atomic<int>::is_always_lock_free);

void requestStop(int)
{
    const int error = errno;
    s_stop = true;
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t ignored = ::write(s_stopDescriptor, &one, sizeof one);
    errno = error;
}

void handle(int signal, void (*handler)(int))
{
    struct sigaction action = {};
    struct sigaction before = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_IGN)
        sigaction(signal, &action, nullptr);
}

}

void catchSignals()
{
    if (s_stopDescriptor < 0)
        s_stopDescriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        handle(signal, requestStop);
    for (const int signal : {SIGPIPE, SIGXFSZ})
        handle(signal, SIG_IGN);
}

bool stopRequested()
{
    return s_stop;
}

int stopDescriptor()
{
    return s_stopDescriptor;
}

}
