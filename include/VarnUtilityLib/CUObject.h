// CUObject.h — the root class of the library and its error and text conventions.
//
// Every library class derives from CUObject, which carries a signed 32-bit reference count.
// The count is 0 when an object is made (copies too) and rises by one for every CUSharedPtr
// that holds the object; the pointer that lowers it below 1 deletes the object. Objects made
// on the stack or as members keep count 0 and must never be handed to a CUSharedPtr.
//
// Static members named Create... return a new object in a CUSharedPtr (count 1).
// Failures are thrown as `unsigned int` codes from CUError.h.
#pragma once

#include <VarnUtilityLib/CUError.h>
#include <VarnUtilityLib/CUExport.h>
#include <VarnUtilityLib/CUPlatformTypes.h>
#include <VarnUtilityLib/CUSharedPtr.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>

class CUStringMac;

/// Text of one line feed: the line end of every diagnostic text the library builds.
extern CU_EXPORT char const* CU_NEWLINE_CHAR;

/// A process-wide native mutex, initialised by the first CUObject constructor. The library
/// itself never locks it.
extern CU_EXPORT CUPlatformMutexStorage g_MutexHandle_CUObject;

/// 1 once g_MutexHandle_CUObject has been initialised, 0 before.
extern CU_EXPORT unsigned char initMutex_CUObject;

/// The root class of the library and its error and text conventions.
class CU_EXPORT CUObject {
  public:
    /// Count 0. The first object made in the process also initialises g_MutexHandle_CUObject
    /// (not under a lock: make the first object before starting threads).
    CUObject();

    /// A copy is a new object with no owners: count 0, whatever the source's count.
    CUObject(CUObject const& other);

    virtual ~CUObject();

    /// "%s(0x%p)" with the dynamic type's mangled name and this object's address; the
    /// address conversion writes its own 0x, so the text shows 0x twice.
    virtual CUSharedPtr<CUStringMac> Description();

    /// Does nothing: the target keeps its own count.
    virtual CUObject& operator=(CUObject const& other);

    /// Current number of CUSharedPtr owners (a snapshot when other threads hold pointers).
    std::int32_t GetRetainCount() const noexcept { return m_nRefCount.load(); }

    /// Objects made with `new` come from the library's small-block allocator: blocks up to
    /// 512 bytes in size classes 8 bytes apart with free lists per thread (an object may be
    /// freed on any thread); freed blocks are kept for reuse rather than given back to the
    /// system. Larger objects use the global operator new. Throws std::bad_alloc.
    static void* operator new(std::size_t size);
    /// Gives an object's block back; `size` is the size of the object's dynamic type.
    static void operator delete(void* block, std::size_t size) noexcept;
    /// Types aligned beyond 16 bytes use the global aligned forms.
    static void* operator new(std::size_t size, std::align_val_t alignment);
    /// \overload
    static void operator delete(void* block, std::size_t size, std::align_val_t alignment) noexcept;
    /// Construction in place, as with the global placement form.
    static void* operator new(std::size_t /*size*/, void* where) noexcept { return where; }
    /// \overload
    static void operator delete(void* /*block*/, void* /*where*/) noexcept {}

  private:
    friend void cu_detail::Retain(CUObject const* object) noexcept;
    friend void cu_detail::Release(CUObject const* object) noexcept;

    mutable std::atomic<std::int32_t> m_nRefCount;
};

namespace cu_detail {

/// Points at a flag that is non-zero while the process runs a single thread (the C library's
/// own, which turns 0 before a second thread starts). Counts then change without bus-locked
/// instructions, as the standard library's shared pointers do; no other thread can exist to
/// see them.
CU_EXPORT extern char const* const g_pSingleThreaded;

inline void Retain(CUObject const* object) noexcept {
    if (*g_pSingleThreaded != 0) {
        object->m_nRefCount.store(object->m_nRefCount.load(std::memory_order_relaxed) + 1,
                                  std::memory_order_relaxed);
    } else {
        object->m_nRefCount.fetch_add(1);
    }
}

inline void Release(CUObject const* object) noexcept {
    std::int32_t left;
    if (*g_pSingleThreaded != 0) {
        left = object->m_nRefCount.load(std::memory_order_relaxed) - 1;
        object->m_nRefCount.store(left, std::memory_order_relaxed);
    } else {
        left = object->m_nRefCount.fetch_sub(1) - 1;
    }
    if (left < 1) {
        delete const_cast<CUObject*>(object);
    }
}

} // namespace cu_detail

// A CUObject is described by a CUStringMac; bring the string in for every user of CUObject.
#include <VarnUtilityLib/CUStringMac.h>
