#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <utility>

#include "QUILT/Export.h"

/// Reference counting of tasks, tiles, in-place operations and observers.
namespace OZK_ptr_v4
{

/// The root of what is shared between threads by counting references.
///
/// The count starts at 0; the first ref_ptr takes it to 1. Copying and releasing is safe from any
/// thread; the thread that takes the count back to 0 destroys the object.
class QUILT_API ThreadSafeRefBase
{
public:
    ThreadSafeRefBase() = default;
    ThreadSafeRefBase(const ThreadSafeRefBase&) = delete;
    ThreadSafeRefBase& operator=(const ThreadSafeRefBase&) = delete;

    void addReference() const { m_referenceCount.fetch_add(1, std::memory_order_relaxed); }

    void releaseReference() const
    {
        // acq_rel: whoever destroys the object sees what the other owners wrote to it.
        if (m_referenceCount.fetch_sub(1, std::memory_order_acq_rel) == 1)
            delete this;
    }

    int refCount() const { return m_referenceCount.load(std::memory_order_relaxed); }

protected:
    virtual ~ThreadSafeRefBase();

private:
    mutable std::atomic<int> m_referenceCount{0};
};

/// An owner of one reference on a T, or of nothing.
///
/// T is anything with addReference() and releaseReference(). One ref_ptr object is not to be used
/// by two threads at once; two ref_ptrs on one object are.
template <class T>
class ref_ptr
{
public:
    ref_ptr() = default;
    ref_ptr(std::nullptr_t) {}

    /// Adds a reference. Implicit, so that a new object can be handed to whoever takes a ref_ptr.
    ref_ptr(T* object) : m_object(object)
    {
        if (m_object)
            m_object->addReference();
    }

    ref_ptr(const ref_ptr& other) : ref_ptr(other.m_object) {}
    ref_ptr(ref_ptr&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}

    template <class U>
    ref_ptr(const ref_ptr<U>& other) : ref_ptr(other.get())
    {}

    ~ref_ptr()
    {
        if (m_object)
            m_object->releaseReference();
    }

    ref_ptr& operator=(ref_ptr other) noexcept
    {
        swap(other);
        return *this;
    }

    void swap(ref_ptr& other) noexcept { std::swap(m_object, other.m_object); }

    T* get() const { return m_object; }
    T* operator->() const { return m_object; }
    T& operator*() const { return *m_object; }
    explicit operator bool() const { return m_object != nullptr; }

    friend bool operator==(const ref_ptr& a, const ref_ptr& b) { return a.m_object == b.m_object; }
    friend bool operator==(const ref_ptr& a, std::nullptr_t) { return a.m_object == nullptr; }

private:
    T* m_object = nullptr;
};

}

namespace QUILT
{
using OZK_ptr_v4::ref_ptr;
using OZK_ptr_v4::ThreadSafeRefBase;
}

template <class T>
struct std::hash<OZK_ptr_v4::ref_ptr<T>>
{
    std::size_t operator()(const OZK_ptr_v4::ref_ptr<T>& pointer) const noexcept
    {
        return std::hash<T*>()(pointer.get());
    }
};
