// CUDateTime.h — a point in time, with calendar fields and texts in local time or GMT.
//
// A CUDateTime holds one instant: seconds since 2001-01-01 00:00:00 GMT (the "absolute
// time"), fractions allowed, independent of any time zone. Calendar fields and texts are
// derived from it in the system time zone (argument `true`: TZ, else /etc/localtime) or in GMT
// (`false`). Arithmetic returns new objects; only assignment changes one.
//
// A date may be null: only copying or assigning from a null date makes one (the constructors
// throw instead). Every operation accepts a null date: texts give "(NULL)", field getters 0,
// arithmetic a null pointer, comparisons false.
//
// Ownership: count 0 at construction; Create... and Add... return count 1.
// Threads: no lock; a date is read-only after construction except through operator=.
// Errors: the constructors (not the copy constructor) throw 1 (CUError_NotReady) when the
// instant or its time zone cannot be had; the Create factories and Add... never throw.
#pragma once

#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CUPlatformTypes.h>

#include <cstdint>

/// Calendar fields in a fixed-offset time zone, for CUDateTime(_DateTimeInfo&).
struct _DateTimeInfo {
    std::int32_t year;            ///< full year, e.g. 2024
    std::int32_t month;           ///< 1-12; only the low 8 bits are used
    std::int32_t day;             ///< 1-31; only the low 8 bits are used
    std::int32_t hour;            ///< 0-23; only the low 8 bits are used
    std::int32_t minute;          ///< 0-59; only the low 8 bits are used
    std::int32_t second;          ///< whole seconds
    std::int32_t gmtOffset;       ///< offset of the fields' zone from GMT, seconds east positive
    unsigned char daylightSaving; ///< non-zero: the fields are daylight time, one hour earlier
};

/// A point in time, with calendar fields and texts in local time or GMT.
class CU_EXPORT CUDateTime : public CUObject {
  public:
    /// Now. Throws 1 if the clock cannot be read.
    CUDateTime();

    /// Wall-clock time in the system time zone. Month, day, hour and minute keep only their
    /// low 8 bits (taken as signed); a day past the month's end rolls into the next month.
    /// Throws 1 if the zone cannot be had.
    CUDateTime(int year, int month, int day, int hour, int minute, int second);

    /// The record's fields as wall-clock time at its gmtOffset (rounded to whole minutes),
    /// minus one hour when daylightSaving is set. Throws 1 when the offset passes 18 hours.
    explicit CUDateTime(_DateTimeInfo& info);

    /// The given absolute time (seconds since 2001-01-01 00:00:00 GMT).
    explicit CUDateTime(double absoluteTime);

    /// The same instant; a null source gives a null date. Never throws.
    CUDateTime(CUDateTime const& other);

    ~CUDateTime() override;

    /// New date, or null when the constructor throws.
    static CUSharedPtr<CUDateTime> Create();
    /// \overload
    static CUSharedPtr<CUDateTime> Create(int year, int month, int day, int hour, int minute,
                                          int second);
    /// \overload
    static CUSharedPtr<CUDateTime> Create(_DateTimeInfo& info);

    /// A new date so many seconds (minutes x 60, hours x 3600, days x 86,400) later; a day is
    /// always 86,400 seconds, whatever daylight-saving change lies between. Null for a null
    /// date or when the new object cannot be made.
    CUSharedPtr<CUDateTime> AddSeconds(double seconds);
    /// AddSeconds(minutes x 60).
    CUSharedPtr<CUDateTime> AddMinutes(double minutes);
    /// AddSeconds(hours x 3600).
    CUSharedPtr<CUDateTime> AddHours(double hours);
    /// AddSeconds(days x 86,400).
    CUSharedPtr<CUDateTime> AddDays(double days);

    /// The calendar fields in local time (true) or GMT (false). Unspecified for a null date.
    CFGregorianDate GregorianDate(bool local);

    /// One field in local time (true) or GMT (false); 0 for a null date. GetSecond truncates
    /// toward zero.
    int GetYear(bool local);
    /// The month, 1-12.
    int GetMonth(bool local);
    /// The day of the month, 1-31.
    int GetDay(bool local);
    /// The hour, 0-23.
    int GetHour(bool local);
    /// The minute, 0-59.
    int GetMinute(bool local);
    /// The second, 0-59 (truncated).
    int GetSecond(bool local);

    /// The wall-clock time in local time (true) or GMT (false), in the user's locale (first
    /// non-empty of LC_ALL, LC_TIME, LANG) with date and time styles 0 none, 1 short,
    /// 2 medium, 3 long, 4 full (other values: medium). "(NULL)" for a null date or when the
    /// text cannot be made.
    CUSharedPtr<CUStringMac> GetString(bool local, long dateStyle, long timeStyle);
    /// GetString(local, 2, 2).
    CUSharedPtr<CUStringMac> GetString(bool local);
    /// GetString(local, 2, 0).
    CUSharedPtr<CUStringMac> GetDateString(bool local);
    /// GetString(local, 0, 2).
    CUSharedPtr<CUStringMac> GetTimeString(bool local);

    /// "yyyy/MM/dd HH:mm:ss" in local time, locale-neutral; "(NULL)" for a null date.
    CUSharedPtr<CUStringMac> Description() override;

    using CUObject::operator=;
    /// Takes the source's instant (or its null date). The own date is dropped before the
    /// source is read, so assigning a date to itself leaves it null.
    virtual CUDateTime& operator=(CUDateTime const& other);

    /// True when both dates are non-null and the instants are equal; two null dates are not
    /// equal.
    virtual bool operator==(CUDateTime const& other);
    /// The same, for a modifiable operand: with it `a == b` has one best reading in C++20 instead
    /// of a tie with the reversed `b == a`.
    bool operator==(CUDateTime& other) { return operator==(static_cast<CUDateTime const&>(other)); }

    /// True when both dates are non-null and this instant is earlier.
    virtual bool operator<(CUDateTime const& other) const;

    /// The instant in seconds since 2001-01-01 00:00:00 GMT; 0 for a null date.
    double GetAbsoluteTime() const noexcept { return m_bHasDate ? m_absoluteTime : 0.0; }

    /// False for a null date.
    bool HasDate() const noexcept { return m_bHasDate; }

  private:
    double m_absoluteTime;
    bool m_bHasDate;
};
