// Reference counting: xcRepBase is the base of reference-counted objects and xcPtrHandle<T> /
// xcPtrHandle_const<T> the counted handles to them.
//
// The count is atomic, so handles to one object may be copied and dropped on several threads.
// Copying an xcRepBase object (copy construction or assignment) does not copy its count: the
// copy starts unshared. The object is deleted when its last handle goes away.
#pragma once

#include <atomic>
#include <cstddef>
#include <type_traits>
#include <utility>

class xcRepBase {
public:
    xcRepBase() noexcept : m_count(0) {}
    xcRepBase(const xcRepBase&) noexcept : m_count(0) {}
    xcRepBase& operator=(const xcRepBase&) noexcept { return *this; }
    virtual ~xcRepBase() = default;

    void addRef() const noexcept { m_count.fetch_add(1, std::memory_order_relaxed); }
    void release() const noexcept {
        if (m_count.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
    }
    long refCount() const noexcept { return m_count.load(std::memory_order_relaxed); }

private:
    mutable std::atomic<long> m_count;
};

template <class T>
class xcPtrHandle_const;

// A counted handle that gives non-const access to its object.
template <class T>
class xcPtrHandle {
public:
    xcPtrHandle() noexcept = default;
    xcPtrHandle(std::nullptr_t) noexcept {}  // NOLINT
    // Takes a new (or already counted) object; the handle counts it.
    explicit xcPtrHandle(T* p) noexcept : m_p(p) { if (m_p) m_p->addRef(); }
    xcPtrHandle(const xcPtrHandle& o) noexcept : m_p(o.m_p) { if (m_p) m_p->addRef(); }
    xcPtrHandle(xcPtrHandle&& o) noexcept : m_p(std::exchange(o.m_p, nullptr)) {}
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    xcPtrHandle(const xcPtrHandle<U>& o) noexcept : m_p(o.get()) {  // NOLINT
        if (m_p) m_p->addRef();
    }
    ~xcPtrHandle() { if (m_p) m_p->release(); }

    xcPtrHandle& operator=(xcPtrHandle o) noexcept {
        std::swap(m_p, o.m_p);
        return *this;
    }

    T* get() const noexcept { return m_p; }
    T* rep() const noexcept { return m_p; }
    T& operator*() const noexcept { return *m_p; }
    T* operator->() const noexcept { return m_p; }
    bool isNull() const noexcept { return m_p == nullptr; }
    explicit operator bool() const noexcept { return m_p != nullptr; }
    void reset() noexcept { xcPtrHandle().swap(*this); }
    void swap(xcPtrHandle& o) noexcept { std::swap(m_p, o.m_p); }

    template <class U>
    bool operator==(const xcPtrHandle<U>& o) const noexcept { return m_p == o.get(); }
    bool operator==(std::nullptr_t) const noexcept { return m_p == nullptr; }

private:
    T* m_p = nullptr;
};

// A counted handle that gives const access only.
template <class T>
class xcPtrHandle_const {
public:
    xcPtrHandle_const() noexcept = default;
    xcPtrHandle_const(std::nullptr_t) noexcept {}  // NOLINT
    explicit xcPtrHandle_const(const T* p) noexcept : m_p(p) { if (m_p) m_p->addRef(); }
    xcPtrHandle_const(const xcPtrHandle_const& o) noexcept : m_p(o.m_p) { if (m_p) m_p->addRef(); }
    xcPtrHandle_const(xcPtrHandle_const&& o) noexcept : m_p(std::exchange(o.m_p, nullptr)) {}
    template <class U, class = std::enable_if_t<std::is_convertible_v<const U*, const T*>>>
    xcPtrHandle_const(const xcPtrHandle<U>& o) noexcept : m_p(o.get()) {  // NOLINT
        if (m_p) m_p->addRef();
    }
    template <class U, class = std::enable_if_t<std::is_convertible_v<const U*, const T*> &&
                                                !std::is_same_v<U, T>>>
    xcPtrHandle_const(const xcPtrHandle_const<U>& o) noexcept : m_p(o.get()) {  // NOLINT
        if (m_p) m_p->addRef();
    }
    ~xcPtrHandle_const() { if (m_p) m_p->release(); }

    xcPtrHandle_const& operator=(xcPtrHandle_const o) noexcept {
        std::swap(m_p, o.m_p);
        return *this;
    }

    const T* get() const noexcept { return m_p; }
    const T* rep() const noexcept { return m_p; }
    const T& operator*() const noexcept { return *m_p; }
    const T* operator->() const noexcept { return m_p; }
    bool isNull() const noexcept { return m_p == nullptr; }
    explicit operator bool() const noexcept { return m_p != nullptr; }
    void reset() noexcept { xcPtrHandle_const().swap(*this); }
    void swap(xcPtrHandle_const& o) noexcept { std::swap(m_p, o.m_p); }

    template <class U>
    bool operator==(const xcPtrHandle_const<U>& o) const noexcept { return m_p == o.get(); }
    template <class U>
    bool operator==(const xcPtrHandle<U>& o) const noexcept { return m_p == o.get(); }
    bool operator==(std::nullptr_t) const noexcept { return m_p == nullptr; }

private:
    const T* m_p = nullptr;
};

// Casting away constness of a handle, for the rare caller that owns the object.
template <class T>
xcPtrHandle<T> xfConstCast(const xcPtrHandle_const<T>& h) {
    return xcPtrHandle<T>(const_cast<T*>(h.get()));
}
