// CUSharedPtr.h — the intrusive reference-counting pointer that every library object travels in.
//
// The count lives in the pointee's CUObject part (reached through the virtual-base adjustment
// where the class derives virtually). Copies add one owner; destruction, Reset() and assignment
// drop one; the owner whose decrement leaves the count below 1 deletes the object through its
// virtual destructor. Counts change atomically, so copies of pointers to one object may be made
// and dropped on several threads at once; one CUSharedPtr object itself is not thread-safe.
//
// Conversion to a pointer of another class goes through `operator CUSharedPtr<U>()`: an
// up-cast, or a checked dynamic_cast that gives a null pointer (and changes no count) when the
// object is not a U.
#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

class CUObject;

namespace cu_detail {
// Defined in CUObject.h: these need the complete CUObject.
void Retain(CUObject const* object) noexcept;
void Release(CUObject const* object) noexcept;
} // namespace cu_detail

/// The intrusive reference-counting pointer that every library object travels in.
template <class T> class CUSharedPtr {
  public:
    /// Holds `object` (may be null) and adds one owner to it.
    CUSharedPtr(T* object = nullptr) noexcept : m_pObject(object) { retain(m_pObject); }

    /// Another owner of the same object.
    CUSharedPtr(CUSharedPtr const& other) noexcept : m_pObject(other.m_pObject) {
        retain(m_pObject);
    }

    /// Takes over the other pointer's ownership; the other pointer is left null.
    CUSharedPtr(CUSharedPtr&& other) noexcept
        : m_pObject(std::exchange(other.m_pObject, nullptr)) {}

    /// Drops this owner; the last owner deletes the object. An exception thrown by the
    /// object's destructor ends the process.
    virtual ~CUSharedPtr() { Reset(); }

    /// Adds an owner to the new object before dropping the old one, so that assigning a
    /// pointer to itself, or to another pointer to the same object, never frees it.
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): retain-before-release covers it
    CUSharedPtr& operator=(CUSharedPtr const& other) noexcept {
        T* incoming = other.m_pObject;
        retain(incoming);
        T* old = m_pObject;
        m_pObject = incoming;
        release(old);
        return *this;
    }

    /// Drops this owner and takes over the other pointer's ownership; the other is left null.
    CUSharedPtr& operator=(CUSharedPtr&& other) noexcept {
        if (this != &other) {
            T* old = m_pObject;
            m_pObject = std::exchange(other.m_pObject, nullptr);
            release(old);
        }
        return *this;
    }

    /// Drops this owner (deleting the object if it was the last) and leaves the pointer null.
    void Reset() noexcept {
        T* old = m_pObject;
        m_pObject = nullptr;
        release(old);
    }

    /// The object (undefined behaviour through a null pointer).
    T* operator->() const noexcept { return m_pObject; }
    /// The object (undefined behaviour for a null pointer).
    T& operator*() const noexcept { return *m_pObject; }
    /// The object, or null; no owner is added.
    T* get() const noexcept { return m_pObject; }
    /// True when the pointer holds an object.
    explicit operator bool() const noexcept { return m_pObject != nullptr; }

    /// The same object as a pointer to U: up-casts always succeed; other conversions are
    /// checked at run time and give a null pointer when the object is not a U.
    template <class U> operator CUSharedPtr<U>() const noexcept {
        if constexpr (std::is_convertible_v<T*, U*>) {
            return CUSharedPtr<U>(m_pObject);
        } else {
            return CUSharedPtr<U>(m_pObject ? dynamic_cast<U*>(m_pObject) : nullptr);
        }
    }

    /// True when both point to the same object (or both are null).
    friend bool operator==(CUSharedPtr const& a, CUSharedPtr const& b) noexcept {
        return a.m_pObject == b.m_pObject;
    }
    /// True for a null pointer.
    friend bool operator==(CUSharedPtr const& a, std::nullptr_t) noexcept {
        return a.m_pObject == nullptr;
    }

  private:
    static void retain(T* object) noexcept {
        if (object != nullptr) {
            cu_detail::Retain(object);
        }
    }
    static void release(T* object) noexcept {
        if (object != nullptr) {
            cu_detail::Release(object);
        }
    }

    T* m_pObject;
};
