// CUUUID.h — a 128-bit universally unique identifier.
//
// A CUUUID holds one platform UUID handle (possibly null) and converts to and from the handle
// and its 16-byte record CFUUIDBytes (byte 0 first, the order of the text form). Bytes 11 to
// 15 are the "serial area", into which an application may write a 5-byte serial of its own
// while bytes 0 to 10 stay those of the UUID. Every change makes a new platform handle.
//
// Equality, assignment and the serial area go through the virtual accessors, so a subclass
// that overrides GetBytes, GetUUIDBytes, SetUUIDRef or SetUUIDBytes changes them too.
//
// Ownership: count 0 at construction; the Create factories return count 1. GetUUIDRef and the
// conversion to `__CFUUID const*` return the held handle without adding an owner.
// Threads: no lock.
// Errors: 2 (CUError_InvalidArgument) when the platform UUID cannot be made (constructors,
// SetUUIDBytes and everything built on it); the Create factories never throw. Comparing or
// reading the record of a null UUID is a caller error; GetBytes alone answers zeros.
#pragma once

#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CUPlatformTypes.h>

/// A 128-bit universally unique identifier.
class CU_EXPORT CUUUID : public CUObject {
  public:
    /// A new random UUID.
    CUUUID();
    /// The 16 bytes at `bytes`, byte 0 first.
    explicit CUUUID(unsigned char const* bytes);
    /// The record's bytes (through SetUUIDBytes).
    explicit CUUUID(CFUUIDBytes const& bytes);
    /// A new handle with the given one's bytes (through SetUUIDRef); null leaves the UUID null
    /// without throwing.
    explicit CUUUID(__CFUUID const* uuid);
    /// As CUUUID(other.GetUUIDRef()): a null source gives a null UUID.
    CUUUID(CUUUID const& other);
    ~CUUUID() override;

    /// New UUIDs as the matching constructors make them; null instead of any error.
    static CUSharedPtr<CUUUID> Create();
    /// \overload
    static CUSharedPtr<CUUUID> Create(unsigned char const* bytes);
    /// \overload
    static CUSharedPtr<CUUUID> Create(CFUUIDBytes const& bytes);
    /// \overload
    static CUSharedPtr<CUUUID> Create(__CFUUID const* uuid);
    /// \overload
    static CUSharedPtr<CUUUID> Create(CUUUID const& other);
    /// The four words big-endian in bytes 0-3, 4-7, 8-11 and 12-15.
    static CUSharedPtr<CUUUID> Create(unsigned int w0, unsigned int w1, unsigned int w2,
                                      unsigned int w3);
    /// The UUID whose 16 bytes are zero.
    static CUSharedPtr<CUUUID> CreateNull();

    /// The object description, a blank and the canonical upper-case text
    /// ("XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX"); only the object description for a null UUID.
    CUSharedPtr<CUStringMac> Description() override;

    using CUObject::operator=;

    /// The held handle, not retained.
    virtual operator __CFUUID const*() const;
    /// GetUUIDBytes().
    virtual operator CFUUIDBytes() const;

    /// True when all 16 bytes are equal.
    virtual bool operator==(CUUUID const& other) const;
    /// \overload
    virtual bool operator==(__CFUUID const* other) const;
    /// \overload
    virtual bool operator==(CFUUIDBytes const& other) const;

    /// SetUUIDRef(other.GetUUIDRef()); returns this object. Throws 2 as SetUUIDBytes does.
    virtual CUUUID& operator=(CUUUID const& other);

    /// Writes the 16 bytes, byte 0 first; 16 zeros for a null UUID.
    virtual void GetBytes(unsigned char* bytes);
    /// The held handle, not retained (may be null).
    virtual __CFUUID const* GetUUIDRef() const;
    /// Takes the bytes of `uuid` (never the handle itself); nothing when it is the held one.
    /// Throws 2 as SetUUIDBytes does.
    virtual void SetUUIDRef(__CFUUID const* uuid);
    /// The 16 bytes as a record.
    virtual CFUUIDBytes GetUUIDBytes() const;
    /// Replaces the handle with a new one holding `bytes`; throws 2 (leaving the UUID null)
    /// when it cannot be made.
    virtual void SetUUIDBytes(CFUUIDBytes const& bytes);

    /// True when bytes 11 to 15 are all zero.
    bool IsNotFillSerialArea();
    /// Writes the 5 bytes at `serial` into bytes 11 to 15; null changes nothing. Throws 2 as
    /// SetUUIDBytes does.
    void CorrectSerialArea(unsigned char* serial);

  private:
    __CFUUID const* m_pUUID;
};
