#include "private/Semaphore.h"

#include <cerrno>

#include <boost/interprocess/exceptions.hpp>

namespace Util
{

namespace
{

void check(int result)
{
    using namespace boost::interprocess;
    if (result != 0)
        throw interprocess_exception(error_info(errno));
}

}

Semaphore::Semaphore(unsigned int count)
{
    check(sem_init(&m_semaphore, 1, count));
}

Semaphore::~Semaphore()
{
    sem_destroy(&m_semaphore);
}

void Semaphore::acquire()
{
    int result = 0;
    do
        result = sem_wait(&m_semaphore);
    while (result != 0 && errno == EINTR); // a signal handler of the application ran
    check(result);
}

void Semaphore::release()
{
    check(sem_post(&m_semaphore));
}

}
