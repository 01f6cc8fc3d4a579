// Calendar.h — absolute times, time zones, calendar fields and date formatting.
//
// An absolute time is a double: seconds since 2001-01-01 00:00:00 GMT, fractions allowed.
// Calendar conversion uses the proleptic Gregorian calendar in a zone that is GMT, the system
// zone (resolved once by this layer, never by ICU's own guess) or a fixed offset. Formatting
// goes through ICU date formatters that are cached per thread.
//
// Only portable types cross this header.
#pragma once

#include <VarnUtilityLib/CUPlatformTypes.h>

#include <string>

namespace varn::platform {

/// Seconds between 1970-01-01 and 2001-01-01 (both GMT).
inline constexpr double kAbsoluteTimeIntervalSince1970 = 978307200.0;

/// The current wall-clock instant as an absolute time.
double AbsoluteTimeNow() noexcept;

/// A time zone as the date code sees it.
struct Zone {
    enum class Kind { GMT, System, FixedOffset };
    Kind kind = Kind::GMT;
    int offsetSeconds = 0; ///< FixedOffset only: whole minutes, within +-18 hours
};

/// The system zone (whatever it resolves to).
inline Zone SystemZone() noexcept {
    return Zone{Zone::Kind::System, 0};
}

/// A fixed-offset zone of `seconds` east of GMT, rounded to whole minutes (halves away from
/// zero). False when the offset is more than 18 hours either way.
bool MakeFixedOffsetZone(double seconds, Zone& zone) noexcept;

/// The identifier of the system zone: TZ (a zone name, optionally after ':' or as a zoneinfo
/// path), else the target of /etc/localtime, else the C library's zone abbreviation, else
/// "GMT". Candidates ICU does not know are skipped. Resolved once and cached.
std::string SystemZoneId();

/// Forgets the cached system zone so that the next use resolves TZ again (tests).
void ResetSystemZoneCache();

/// Offset of `zone` from GMT at the instant `at`, in seconds (daylight saving included).
double ZoneOffsetAt(Zone const& zone, double at) noexcept;

/// Calendar fields of the instant in `zone`. The 8-bit fields hold their values as they are
/// (values above 127 cannot occur here); seconds keep their fraction, in [0, 60).
CFGregorianDate GregorianFromAbsolute(double at, Zone const& zone) noexcept;

/// The instant at which the wall clock of `zone` shows the fields. Days count on linearly from
/// the first of the month (day 0 or 32 roll over); a month outside 1..12 counts as January's
/// start. The zone's offset is applied in two steps, o0 at the fields read as GMT, then the
/// offset at that instant minus o0, as the system calendar does around daylight-saving changes.
double AbsoluteFromGregorian(CFGregorianDate const& fields, Zone const& zone) noexcept;

/// The locale for date texts: the first non-empty of LC_ALL, LC_TIME and LANG, without its
/// codeset and modifier; C, POSIX or nothing give "en_US_POSIX". Read once and cached.
std::string DateLocaleId();

/// Forgets the cached date locale so that the next use reads the environment again (tests).
void ResetDateLocaleCache();

/// Formats the instant with the formatter styles (0 none, 1 short, 2 medium, 3 long, 4 full;
/// other values mean medium) of `localeId`, in GMT. Both styles none give the empty text.
/// False when ICU cannot make the formatter or the text.
bool FormatWithStyles(double at, long dateStyle, long timeStyle, std::string const& localeId,
                      std::u16string& out);

/// Formats the instant with an ICU pattern in the root locale and the system zone. False when
/// ICU cannot make the formatter or the text.
bool FormatWithPatternInSystemZone(double at, char16_t const* pattern, std::u16string& out);

} // namespace varn::platform
