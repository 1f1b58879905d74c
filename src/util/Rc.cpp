#include "private/Rc.h"

namespace Util
{

Rc::~Rc() = default;

void Rc::addReference()
{
    const SemaphoreLock lock(&m_lock);
    ++m_refCount;
}

void Rc::releaseReference()
{
    uint32_t left = 0;
    {
        const SemaphoreLock lock(&m_lock);
        left = --m_refCount;
    }
    if (left == 0)
        delete this;
}

RcPtrBase::RcPtrBase(const RcPtrBase& other) : m_object(other.m_object)
{
    if (m_object)
        m_object->addReference();
}

RcPtrBase::~RcPtrBase()
{
    if (m_object)
        m_object->releaseReference();
}

}
