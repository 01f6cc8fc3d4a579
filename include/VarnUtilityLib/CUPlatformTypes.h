// CUPlatformTypes.h — the platform types that appear in the library's public signatures.
//
// The library's interface was drawn up against Apple's CoreFoundation and File Manager, and a
// handful of operations still carry those types. On Linux this header defines them:
// - plain records (CFUUIDBytes, CFGregorianDate, HFSUniStr255) with the same fields;
// - opaque handles (__CFString, __CFData, __CFUUID), owned by the library, together with the
//   few functions an application needs to make the ones it passes in and to read the ones it
//   gets back. Every handle made by a ...Create... function here is released with
//   CUPlatformRelease.
// - storage for the native mutex records that CUMutex and g_MutexHandle_CUObject hold, so that
//   no system header has to be included by an application.
#pragma once

#include <VarnUtilityLib/CUExport.h>

#include <cstddef>
#include <cstdint>

// ---- opaque handles ---------------------------------------------------------------------------

/// Immutable Unicode text (UTF-16 units), reference counted and shared between copies.
struct __CFString;
/// Immutable block of bytes, reference counted (see CUPlatformData... below).
struct __CFData;
/// Immutable UUID value.
struct __CFUUID;

// ---- records ------------------------------------------------------------------------------------

/// The sixteen bytes of a UUID, in the order they are written.
struct CFUUIDBytes {
    std::uint8_t byte0, byte1, byte2, byte3, byte4, byte5, byte6, byte7;
    std::uint8_t byte8, byte9, byte10, byte11, byte12, byte13, byte14, byte15;
};

/// A calendar date and time of day without a time zone.
struct CFGregorianDate {
    std::int32_t year;  ///< e.g. 2024
    std::int8_t month;  ///< 1-12
    std::int8_t day;    ///< 1-31
    std::int8_t hour;   ///< 0-23
    std::int8_t minute; ///< 0-59
    double second;      ///< 0 up to (not including) 60, with fractions
};

/// A file name of at most 255 UTF-16 units with its length.
struct HFSUniStr255 {
    std::uint16_t length;       ///< units used
    std::uint16_t unicode[255]; ///< the name's UTF-16 units
};

/// Storage for one native mutex (pthread_mutex_t). Opaque: only the library reads it.
struct alignas(16) CUPlatformMutexStorage {
    unsigned char opaque[64]; ///< the native object's bytes
};

/// Storage for one set of native mutex attributes (pthread_mutexattr_t). Opaque.
struct alignas(8) CUPlatformMutexAttrStorage {
    unsigned char opaque[16]; ///< the native object's bytes
};

/// Storage for one native condition variable (pthread_cond_t). Opaque.
struct alignas(8) CUPlatformCondStorage {
    unsigned char opaque[48]; ///< the native object's bytes
};

/// Storage for one native thread handle (pthread_t). Opaque.
struct alignas(8) CUPlatformThreadStorage {
    unsigned char opaque[8]; ///< the native object's bytes
};

// ---- functions on the handles ---------------------------------------------------------------

/// Makes a text handle from `length` bytes of UTF-8 (no terminator needed). Returns null when
/// the bytes are not valid UTF-8. The caller owns the result (release with CUPlatformRelease).
CU_EXPORT __CFString const* CUPlatformStringCreateWithUTF8(char const* bytes, std::size_t length);

/// Makes a text handle from `count` UTF-16 units, taken as they are. The caller owns the result.
CU_EXPORT __CFString const* CUPlatformStringCreateWithUTF16(char16_t const* units,
                                                            std::size_t count);

/// Number of UTF-16 units of the text; 0 for a null handle.
CU_EXPORT std::size_t CUPlatformStringGetLength(__CFString const* text);

/// Address of the text's UTF-16 units (not terminated), valid while the handle lives; null for a
/// null handle.
CU_EXPORT char16_t const* CUPlatformStringGetUnits(__CFString const* text);

/// Adds one owner to a text handle and returns it; a null handle is returned as it is.
CU_EXPORT __CFString const* CUPlatformStringRetain(__CFString const* text);

/// Drops one owner of a text handle; the last owner frees it. Null is ignored.
CU_EXPORT void CUPlatformRelease(__CFString const* text);

/// Makes a UUID handle holding the 16 bytes as they are. Returns null when memory cannot be had.
/// The caller owns the result (release with CUPlatformRelease).
CU_EXPORT __CFUUID const* CUPlatformUUIDCreateWithBytes(CFUUIDBytes const& bytes);

/// Makes a new random (version 4) UUID handle; null when memory cannot be had. The caller owns
/// the result.
CU_EXPORT __CFUUID const* CUPlatformUUIDCreate();

/// The 16 bytes of a UUID handle; all zero for a null handle.
CU_EXPORT CFUUIDBytes CUPlatformUUIDGetBytes(__CFUUID const* uuid);

/// Adds one owner to a UUID handle and returns it; a null handle is returned as it is.
CU_EXPORT __CFUUID const* CUPlatformUUIDRetain(__CFUUID const* uuid);

/// Drops one owner of a UUID handle; the last owner frees it. Null is ignored.
CU_EXPORT void CUPlatformRelease(__CFUUID const* uuid);
/// Makes a data handle holding a copy of `length` bytes (for CUStream::WriteCFData). Returns
/// null when `bytes` is null and `length` is not 0, or when memory runs out. The caller owns the
/// result (release with CUPlatformRelease).
CU_EXPORT __CFData const* CUPlatformDataCreate(void const* bytes, std::size_t length);

/// Number of bytes held; 0 for a null handle.
CU_EXPORT std::size_t CUPlatformDataGetLength(__CFData const* data);

/// Address of the bytes, valid while the handle lives; null for a null handle and for a handle
/// holding no bytes.
CU_EXPORT unsigned char const* CUPlatformDataGetBytePtr(__CFData const* data);

/// Adds one owner to a data handle and returns it; a null handle is returned as it is.
CU_EXPORT __CFData const* CUPlatformDataRetain(__CFData const* data);

/// Drops one owner of a data handle; the last owner frees it. Null is ignored.
CU_EXPORT void CUPlatformRelease(__CFData const* data);
