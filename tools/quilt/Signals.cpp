#include "Signals.h"

#include <atomic>

#include <csignal>

namespace QuiltTool
{

namespace
{

std::atomic<bool> s_stop{false};
static_assert(std::atomic<bool>::is_always_lock_free); // as a signal handler needs it

void requestStop(int)
{
    s_stop = true;
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
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        handle(signal, requestStop);
    for (const int signal : {SIGPIPE, SIGXFSZ})
        handle(signal, SIG_IGN);
}

bool stopRequested()
{
    return s_stop;
}

}
