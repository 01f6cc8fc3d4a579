// Calendar.cpp — absolute times, zones and date formatting over ICU and the C library.
#include "platform/Calendar.h"

#include <unicode/basictz.h>
#include <unicode/timezone.h>
#include <unicode/tztrans.h>
#include <unicode/ucal.h>
#include <unicode/udat.h>
#include <unicode/uloc.h>
#include <unicode/unistr.h>
#include <unistd.h>

#include <limits.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <mutex>
#include <vector>

namespace varn::platform {
namespace {

// Days between 1970-01-01 and 2001-01-01.
constexpr std::int64_t kDaysFrom1970To2001 = 11323;

// Howard Hinnant's civil-calendar conversions (proleptic Gregorian, day 0 = 1970-01-01).
std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) noexcept {
    y -= m <= 2;
    std::int64_t const era = (y >= 0 ? y : y - 399) / 400;
    auto const yoe = static_cast<unsigned>(y - era * 400);
    unsigned const doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
    unsigned const doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

void civilFromDays(std::int64_t z, std::int64_t& y, unsigned& m, unsigned& d) noexcept {
    z += 719468;
    std::int64_t const era = (z >= 0 ? z : z - 146096) / 146097;
    auto const doe = static_cast<unsigned>(z - era * 146097);
    unsigned const yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    unsigned const doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    unsigned const mp = (5 * doy + 2) / 153;
    d = doy - (153 * mp + 2) / 5 + 1;
    m = mp < 10 ? mp + 3 : mp - 9;
    y = static_cast<std::int64_t>(yoe) + era * 400 + (m <= 2);
}

bool isLeap(std::int64_t y) noexcept {
    return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

// A value computed once and replaced only by a test's reset. Readers take the published
// pointer without a lock; a reset retires the old value instead of freeing it, because another
// thread may still be reading it.
template <class T> class ResettableCache {
  public:
    template <class Make> T const& Get(Make make) {
        T const* value = m_current.load(std::memory_order_acquire);
        if (value != nullptr) {
            return *value;
        }
        std::lock_guard<std::mutex> guard(m_mutex);
        value = m_current.load(std::memory_order_relaxed);
        if (value == nullptr) {
            m_all.push_back(std::make_unique<T>(make()));
            value = m_all.back().get();
            m_current.store(value, std::memory_order_release);
        }
        return *value;
    }

    void Reset() {
        std::lock_guard<std::mutex> guard(m_mutex);
        m_current.store(nullptr, std::memory_order_release);
    }

  private:
    std::atomic<T const*> m_current{nullptr};
    std::mutex m_mutex;
    std::vector<std::unique_ptr<T>> m_all;
};

struct SystemZoneState {
    std::string id;
    std::unique_ptr<icu::TimeZone> zone;
};

// A span of instants (ICU milliseconds, [start, end)) over which a zone keeps one offset.
struct OffsetSpan {
    SystemZoneState const* zone = nullptr;
    double start = 0.0;
    double end = 0.0;
    double offsetSeconds = 0.0;
};

ResettableCache<SystemZoneState>& systemZoneCache() {
    static ResettableCache<SystemZoneState> cache;
    return cache;
}

ResettableCache<std::string>& dateLocaleCache() {
    static ResettableCache<std::string> cache;
    return cache;
}

// True when ICU knows the name as one of its own zones (custom "GMT+01:00" ids and unknown
// names are refused, so that a bogus TZ never becomes an unknown zone that acts as GMT).
bool isKnownZone(std::string const& name) {
    if (name.empty()) {
        return false;
    }
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeString canonical;
    UBool isSystem = false;
    icu::TimeZone::getCanonicalID(icu::UnicodeString::fromUTF8(name), canonical, isSystem, status);
    return U_SUCCESS(status) && isSystem;
}

// "/usr/share/zoneinfo/Europe/Paris" -> "Europe/Paris"; other text is returned as it is.
std::string stripZoneinfoPrefix(std::string const& path) {
    static constexpr char kMarker[] = "zoneinfo/";
    std::size_t at = path.rfind(kMarker);
    if (at == std::string::npos) {
        return path;
    }
    std::string rest = path.substr(at + sizeof kMarker - 1);
    // The posix/ and right/ trees hold the same zones under the same names.
    for (char const* tree : {"posix/", "right/"}) {
        std::string prefix(tree);
        if (rest.compare(0, prefix.size(), prefix) == 0) {
            rest.erase(0, prefix.size());
        }
    }
    return rest;
}

std::string resolveSystemZoneId() {
    if (char const* tz = std::getenv("TZ"); tz != nullptr && *tz != '\0') {
        std::string name(tz[0] == ':' ? tz + 1 : tz);
        if (!name.empty() && name[0] == '/') {
            name = stripZoneinfoPrefix(name);
        }
        if (isKnownZone(name)) {
            return name;
        }
    }
    char target[PATH_MAX];
    ssize_t n = ::readlink("/etc/localtime", target, sizeof target - 1);
    if (n > 0) {
        target[n] = '\0';
        std::string name = stripZoneinfoPrefix(target);
        if (name != target && isKnownZone(name)) {
            return name;
        }
    }
    std::time_t now = std::time(nullptr);
    std::tm parts{};
    if (::localtime_r(&now, &parts) != nullptr && parts.tm_zone != nullptr &&
        isKnownZone(parts.tm_zone)) {
        return parts.tm_zone;
    }
    return "GMT";
}

// The transitions around `ms` (ICU milliseconds) as [start, end), unbounded on a side that has
// none; false for a zone that cannot tell its transitions.
bool transitionsAround(icu::TimeZone const& zone, UDate ms, double& start, double& end) {
    auto const* basic = dynamic_cast<icu::BasicTimeZone const*>(&zone);
    if (basic == nullptr) {
        return false;
    }
    icu::TimeZoneTransition previous;
    icu::TimeZoneTransition next;
    start = basic->getPreviousTransition(ms, true, previous) ? previous.getTime() : -HUGE_VAL;
    end = basic->getNextTransition(ms, false, next) ? next.getTime() : HUGE_VAL;
    return true;
}

SystemZoneState makeSystemZone() {
    SystemZoneState state;
    state.id = resolveSystemZoneId();
    state.zone.reset(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(state.id)));
    // ICU builds a zone's transition rules on its first transition query, and the offsets
    // below query it from every thread at once. Built here, before the zone is shared, the
    // rules are only read afterwards.
    if (state.zone) {
        double start = 0.0;
        double end = 0.0;
        transitionsAround(*state.zone, ucal_getNow(), start, end);
    }
    return state;
}

SystemZoneState const& systemZone() {
    return systemZoneCache().Get(makeSystemZone);
}

std::string resolveDateLocale() {
    std::string chosen;
    for (char const* name : {"LC_ALL", "LC_TIME", "LANG"}) {
        char const* value = std::getenv(name);
        if (value != nullptr && *value != '\0') {
            chosen = value;
            break;
        }
    }
    chosen = chosen.substr(0, chosen.find_first_of(".@"));
    if (chosen.empty() || chosen == "C" || chosen == "POSIX") {
        return "en_US_POSIX";
    }
    char canonical[ULOC_FULLNAME_CAPACITY];
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = uloc_canonicalize(chosen.c_str(), canonical, sizeof canonical, &status);
    if (U_FAILURE(status) || status == U_STRING_NOT_TERMINATED_WARNING || length <= 0) {
        return chosen;
    }
    return std::string(canonical, static_cast<std::size_t>(length));
}

UDateFormatStyle icuStyle(long style) noexcept {
    switch (style) {
    case 0:
        return UDAT_NONE;
    case 1:
        return UDAT_SHORT;
    case 3:
        return UDAT_LONG;
    case 4:
        return UDAT_FULL;
    default:
        // 2, and any value outside the five styles, is medium.
        return UDAT_MEDIUM;
    }
}

// Opening an ICU formatter costs tens of microseconds, formatting with one a few; a formatter
// is not safe to share between threads, so each thread keeps the few it used last.
class FormatterCache {
  public:
    ~FormatterCache() {
        for (Entry& e : m_entries) {
            udat_close(e.format);
        }
    }

    template <class Open> UDateFormat* Get(std::string const& key, Open open) {
        for (std::size_t i = 0; i < m_entries.size(); ++i) {
            if (m_entries[i].key == key) {
                if (i != 0) {
                    std::swap(m_entries[i], m_entries[0]);
                }
                return m_entries[0].format;
            }
        }
        UDateFormat* format = open();
        if (format == nullptr) {
            return nullptr;
        }
        if (m_entries.size() >= kCapacity) {
            udat_close(m_entries.back().format);
            m_entries.pop_back();
        }
        m_entries.insert(m_entries.begin(), Entry{key, format});
        return format;
    }

  private:
    static constexpr std::size_t kCapacity = 8;
    struct Entry {
        std::string key;
        UDateFormat* format;
    };
    std::vector<Entry> m_entries;
};

FormatterCache& formatters() {
    thread_local FormatterCache cache;
    return cache;
}

// ICU's Gregorian calendar switches to the Julian one before October 1582; the calendar
// fields of this library are proleptic Gregorian throughout, and the texts must agree.
void makeProleptic(UDateFormat* format) {
    UErrorCode status = U_ZERO_ERROR;
    UCalendar* calendar = ucal_clone(udat_getCalendar(format), &status);
    if (U_FAILURE(status) || calendar == nullptr) {
        return;
    }
    ucal_setGregorianChange(calendar, -8.64e15, &status);
    if (U_SUCCESS(status)) {
        udat_setCalendar(format, calendar);
    }
    ucal_close(calendar);
}

UDate toUDate(double at) noexcept {
    return std::floor((at + kAbsoluteTimeIntervalSince1970) * 1000.0 + 0.5);
}

bool formatInto(UDateFormat* format, double at, std::u16string& out) {
    UErrorCode status = U_ZERO_ERROR;
    UChar buffer[128];
    int32_t length = udat_format(format, toUDate(at), buffer, 128, nullptr, &status);
    if (status == U_BUFFER_OVERFLOW_ERROR) {
        std::u16string big(static_cast<std::size_t>(length) + 1, u'\0');
        status = U_ZERO_ERROR;
        length = udat_format(format, toUDate(at), big.data(), length + 1, nullptr, &status);
        if (U_FAILURE(status)) {
            return false;
        }
        big.resize(static_cast<std::size_t>(length));
        out = std::move(big);
        return true;
    }
    if (U_FAILURE(status)) {
        return false;
    }
    out.assign(buffer, static_cast<std::size_t>(length));
    return true;
}

} // namespace

double AbsoluteTimeNow() noexcept {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return (static_cast<double>(now.tv_sec) - kAbsoluteTimeIntervalSince1970) +
           static_cast<double>(now.tv_nsec) * 1e-9;
}

bool MakeFixedOffsetZone(double seconds, Zone& zone) noexcept {
    if (!(std::fabs(seconds) <= 18.0 * 3600.0)) {
        return false;
    }
    zone.kind = Zone::Kind::FixedOffset;
    zone.offsetSeconds = static_cast<int>(std::round(seconds / 60.0)) * 60;
    return true;
}

std::string SystemZoneId() {
    return systemZone().id;
}

void ResetSystemZoneCache() {
    systemZoneCache().Reset();
}

double ZoneOffsetAt(Zone const& zone, double at) noexcept {
    switch (zone.kind) {
    case Zone::Kind::GMT:
        return 0.0;
    case Zone::Kind::FixedOffset:
        return zone.offsetSeconds;
    case Zone::Kind::System:
        break;
    }
    SystemZoneState const& state = systemZone();
    if (!state.zone || !std::isfinite(at)) {
        return 0.0;
    }
    UDate ms = (at + kAbsoluteTimeIntervalSince1970) * 1000.0;
    // Looking an offset up in the zone's history costs a few hundred nanoseconds, and dates
    // are read in runs (a log line reads six fields of one instant), so each thread keeps the
    // span between two transitions in which the last answer holds.
    thread_local OffsetSpan span;
    if (span.zone == &state && ms >= span.start && ms < span.end) {
        return span.offsetSeconds;
    }
    int32_t raw = 0;
    int32_t dst = 0;
    UErrorCode status = U_ZERO_ERROR;
    state.zone->getOffset(ms, false, raw, dst, status);
    if (U_FAILURE(status)) {
        return 0.0;
    }
    double offset = (raw + dst) / 1000.0;
    if (transitionsAround(*state.zone, ms, span.start, span.end)) {
        span.offsetSeconds = offset;
        span.zone = &state;
    }
    return offset;
}

CFGregorianDate GregorianFromAbsolute(double at, Zone const& zone) noexcept {
    CFGregorianDate g{};
    double f = at + ZoneOffsetAt(zone, at);
    // Beyond +-27 million years (far outside any calendar use) the year would not fit.
    if (!std::isfinite(f) || std::fabs(f) > 8.64e14) {
        return g;
    }
    // Whole seconds in integers (no fmod); the fraction rides along to the seconds field.
    double whole = std::floor(f);
    double fraction = f - whole;
    auto seconds = static_cast<std::int64_t>(whole);
    std::int64_t days = seconds / 86400;
    std::int64_t inDay = seconds % 86400;
    if (inDay < 0) {
        inDay += 86400;
        days -= 1;
    }
    std::int64_t year = 0;
    unsigned month = 0;
    unsigned day = 0;
    civilFromDays(days + kDaysFrom1970To2001, year, month, day);
    g.year = static_cast<std::int32_t>(year);
    g.month = static_cast<std::int8_t>(month);
    g.day = static_cast<std::int8_t>(day);
    g.hour = static_cast<std::int8_t>(inDay / 3600);
    g.minute = static_cast<std::int8_t>(inDay / 60 % 60);
    g.second = static_cast<double>(inDay % 60) + fraction;
    if (g.second == 0.0) {
        g.second = 0.0; // no -0.0
    }
    return g;
}

double AbsoluteFromGregorian(CFGregorianDate const& fields, Zone const& zone) noexcept {
    static constexpr int kDaysBeforeMonth[13] = {0,   0,   31,  59,  90,  120, 151,
                                                 181, 212, 243, 273, 304, 334};
    std::int64_t days = daysFromCivil(fields.year, 1, 1) - kDaysFrom1970To2001;
    if (fields.month >= 1 && fields.month <= 12) {
        days += kDaysBeforeMonth[fields.month];
        if (fields.month > 2 && isLeap(fields.year)) {
            days += 1;
        }
    }
    days += fields.day - 1;
    double at = static_cast<double>(days) * 86400.0 + 3600.0 * fields.hour + 60.0 * fields.minute +
                fields.second;
    if (zone.kind != Zone::Kind::GMT) {
        double first = ZoneOffsetAt(zone, at);
        double second = ZoneOffsetAt(zone, at - first);
        at -= second;
    }
    return at;
}

std::string DateLocaleId() {
    return dateLocaleCache().Get(resolveDateLocale);
}

void ResetDateLocaleCache() {
    dateLocaleCache().Reset();
}

bool FormatWithStyles(double at, long dateStyle, long timeStyle, std::string const& localeId,
                      std::u16string& out) {
    UDateFormatStyle date = icuStyle(dateStyle);
    UDateFormatStyle time = icuStyle(timeStyle);
    if (date == UDAT_NONE && time == UDAT_NONE) {
        // Both styles none: the formatter's pattern is empty, and so is its text.
        out.clear();
        return true;
    }
    std::string key;
    key.reserve(8 + localeId.size());
    key += 's';
    key += static_cast<char>('0' + (date + 1)); // UDAT_NONE is -1
    key += static_cast<char>('0' + (time + 1));
    key += localeId;
    UDateFormat* format = formatters().Get(key, [&]() -> UDateFormat* {
        UErrorCode status = U_ZERO_ERROR;
        // ICU takes the time style first.
        UDateFormat* made =
            udat_open(time, date, localeId.c_str(), u"GMT", -1, nullptr, 0, &status);
        if (U_FAILURE(status)) {
            udat_close(made);
            return nullptr;
        }
        makeProleptic(made);
        return made;
    });
    return format != nullptr && formatInto(format, at, out);
}

bool FormatWithPatternInSystemZone(double at, char16_t const* pattern, std::u16string& out) {
    SystemZoneState const& zone = systemZone();
    std::u16string patternText(pattern);
    std::string key = "p" + zone.id + "|";
    key.append(reinterpret_cast<char const*>(patternText.data()), patternText.size() * 2);
    UDateFormat* format = formatters().Get(key, [&]() -> UDateFormat* {
        UErrorCode status = U_ZERO_ERROR;
        icu::UnicodeString zoneName = icu::UnicodeString::fromUTF8(zone.id);
        // The empty locale id is ICU's root locale: neutral texts with ASCII digits.
        UDateFormat* made = udat_open(UDAT_PATTERN, UDAT_PATTERN, "", zoneName.getBuffer(),
                                      zoneName.length(), patternText.c_str(), -1, &status);
        if (U_FAILURE(status)) {
            udat_close(made);
            return nullptr;
        }
        makeProleptic(made);
        return made;
    });
    return format != nullptr && formatInto(format, at, out);
}

} // namespace varn::platform
