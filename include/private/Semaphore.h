#pragma once

#include <semaphore.h>

namespace Util
{

/// A POSIX semaphore, used as a lock: the thread that releases it need not be the one that acquired
/// it. It may be destroyed as soon as a thread has come through acquire(), even while the one that
/// let it through is still on its way out of release().
///
/// Failures throw boost::interprocess::interprocess_exception with the errno of the call.
class Semaphore
{
public:
    explicit Semaphore(unsigned int count = 1);
    ~Semaphore();
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    void acquire(); ///< waits until the count is above 0 and takes 1 from it
    void release();

private:
    sem_t m_semaphore;
};

/// Holds a semaphore from its construction to its destruction. One that cannot be released is a
/// broken one, and ends the process.
class SemaphoreLock
{
public:
    explicit SemaphoreLock(Semaphore* semaphore) : m_semaphore(semaphore)
    {
        m_semaphore->acquire();
    }
    // NOLINTNEXTLINE(bugprone-exception-escape)
    ~SemaphoreLock() { m_semaphore->release(); }
    SemaphoreLock(const SemaphoreLock&) = delete;
    SemaphoreLock& operator=(const SemaphoreLock&) = delete;

private:
    Semaphore* const m_semaphore;
};

}
