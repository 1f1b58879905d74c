#pragma once

#include <compare>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "private/Semaphore.h"

/// The reference counting of jobs, apart from ref_ptr.
namespace Util
{

/// The root of what RcPtr counts. A new object has the count 1, which belongs to whoever made it.
class Rc
{
public:
    Rc() = default;
    Rc(const Rc&) = delete;
    Rc& operator=(const Rc&) = delete;

    virtual void reserved() {} ///< keeps the first place of the table of virtual functions

    void addReference();

    /// Destroys the object on this thread when this was its last reference.
    void releaseReference();

protected:
    virtual ~Rc();

private:
    Semaphore m_lock{1};
    uint32_t m_refCount = 1; // guarded by m_lock
};

/// What all RcPtrs have in common: one reference, or none. Pointers compare by the address of the
/// object. One pointer is not to be used by two threads at once; two pointers to one object are.
class RcPtrBase
{
public:
    virtual ~RcPtrBase();

    explicit operator bool() const { return m_object != nullptr; }

    friend bool operator==(const RcPtrBase& a, const RcPtrBase& b)
    {
        return a.m_object == b.m_object;
    }
    friend std::strong_ordering operator<=>(const RcPtrBase& a, const RcPtrBase& b)
    {
        return std::compare_three_way()(a.m_object, b.m_object);
    }

protected:
    explicit RcPtrBase(Rc* adopted) : m_object(adopted) {}
    RcPtrBase(const RcPtrBase& other);
    RcPtrBase(RcPtrBase&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}

    void swap(RcPtrBase& other) noexcept { std::swap(m_object, other.m_object); }
    Rc* object() const { return m_object; }

private:
    Rc* m_object;
};

/// An owner of one reference on a T, which derives from Rc, or of nothing.
template <class T>
class RcPtr final : public RcPtrBase
{
public:
    RcPtr() : RcPtrBase(nullptr) {}

    /// Takes over the reference that came with a new object.
    explicit RcPtr(T* adopted) : RcPtrBase(adopted) {}

    RcPtr(const RcPtr&) = default;
    RcPtr(RcPtr&&) noexcept = default;

    template <class U>
    RcPtr(const RcPtr<U>& other) : RcPtrBase(other)
    {
        static_assert(std::is_base_of_v<T, U>);
    }

    RcPtr& operator=(RcPtr other) noexcept
    {
        swap(other);
        return *this;
    }

    T* get() const { return static_cast<T*>(object()); }
    T* operator->() const { return get(); }
    T& operator*() const { return *get(); }
};

}
