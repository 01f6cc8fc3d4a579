// CUDateTime.cpp — instants, calendar fields and their texts.
//
// The instant is held by value: the platform date object that the interface speaks of is a
// double here, with a flag for the null date, so making and copying a date allocates nothing.
#include <VarnUtilityLib/CUDateTime.h>

#include "platform/Calendar.h"

#include <cmath>
#include <string>

namespace cal = varn::platform;

namespace {

cal::Zone zoneFor(bool local) noexcept {
    return local ? cal::SystemZone() : cal::Zone{};
}

CUSharedPtr<CUStringMac> makeString(std::u16string& units) {
    return CUSharedPtr<CUStringMac>(new CUStringMac(reinterpret_cast<unsigned short*>(units.data()),
                                                    static_cast<unsigned int>(units.size() * 2)));
}

CUSharedPtr<CUStringMac> nullText() {
    return CUSharedPtr<CUStringMac>(new CUStringMac("(NULL)", CUString_CharCode_UTF8));
}

// The fields and the formatted texts agree, day for day, from about 277,000 BC to about
// 5.7 million years after 2001: before, the formatter's days drift from the proleptic
// calendar's; after, it clamps. NaN is no instant at all. Outside that range every view of the
// date reads as that of a date that is not there, rather than as a drifted or clamped one.
bool representable(double absoluteTime) {
    return absoluteTime >= -8.8e12 && absoluteTime <= 1.8e14; // false for NaN
}

} // namespace

CUDateTime::CUDateTime() : m_absoluteTime(cal::AbsoluteTimeNow()), m_bHasDate(true) {
    if (!std::isfinite(m_absoluteTime)) {
        throw static_cast<unsigned int>(CUError_NotReady);
    }
}

CUDateTime::CUDateTime(int year, int month, int day, int hour, int minute, int second)
    : m_absoluteTime(0.0), m_bHasDate(true) {
    CFGregorianDate fields{};
    fields.year = year;
    // The calendar record's fields are 8 bits wide: only the low 8 bits of each survive.
    fields.month = static_cast<std::int8_t>(month);
    fields.day = static_cast<std::int8_t>(day);
    fields.hour = static_cast<std::int8_t>(hour);
    fields.minute = static_cast<std::int8_t>(minute);
    fields.second = second;
    m_absoluteTime = cal::AbsoluteFromGregorian(fields, cal::SystemZone());
}

CUDateTime::CUDateTime(_DateTimeInfo& info) : m_absoluteTime(0.0), m_bHasDate(true) {
    cal::Zone zone;
    if (!cal::MakeFixedOffsetZone(info.gmtOffset, zone)) {
        throw static_cast<unsigned int>(CUError_NotReady);
    }
    CFGregorianDate fields{};
    fields.year = info.year;
    fields.month = static_cast<std::int8_t>(info.month);
    fields.day = static_cast<std::int8_t>(info.day);
    fields.hour = static_cast<std::int8_t>(info.hour);
    fields.minute = static_cast<std::int8_t>(info.minute);
    fields.second = info.second;
    m_absoluteTime = cal::AbsoluteFromGregorian(fields, zone);
    if (info.daylightSaving != 0) {
        m_absoluteTime -= 3600.0;
    }
}

CUDateTime::CUDateTime(double absoluteTime) : m_absoluteTime(absoluteTime), m_bHasDate(true) {}

CUDateTime::CUDateTime(CUDateTime const& other)
    : CUObject(other), m_absoluteTime(other.m_absoluteTime), m_bHasDate(other.m_bHasDate) {}

CUDateTime::~CUDateTime() = default;

CUSharedPtr<CUDateTime> CUDateTime::Create() {
    try {
        return CUSharedPtr<CUDateTime>(new CUDateTime());
    } catch (...) {
        return CUSharedPtr<CUDateTime>();
    }
}

CUSharedPtr<CUDateTime> CUDateTime::Create(int year, int month, int day, int hour, int minute,
                                           int second) {
    try {
        return CUSharedPtr<CUDateTime>(new CUDateTime(year, month, day, hour, minute, second));
    } catch (...) {
        return CUSharedPtr<CUDateTime>();
    }
}

CUSharedPtr<CUDateTime> CUDateTime::Create(_DateTimeInfo& info) {
    try {
        return CUSharedPtr<CUDateTime>(new CUDateTime(info));
    } catch (...) {
        return CUSharedPtr<CUDateTime>();
    }
}

CUSharedPtr<CUDateTime> CUDateTime::AddSeconds(double seconds) {
    if (!m_bHasDate) {
        return CUSharedPtr<CUDateTime>();
    }
    try {
        return CUSharedPtr<CUDateTime>(new CUDateTime(m_absoluteTime + seconds));
    } catch (...) {
        return CUSharedPtr<CUDateTime>();
    }
}

CUSharedPtr<CUDateTime> CUDateTime::AddMinutes(double minutes) {
    return AddSeconds(minutes * 60.0);
}

CUSharedPtr<CUDateTime> CUDateTime::AddHours(double hours) {
    return AddSeconds(hours * 60.0 * 60.0);
}

CUSharedPtr<CUDateTime> CUDateTime::AddDays(double days) {
    return AddSeconds(days * 24.0 * 60.0 * 60.0);
}

CFGregorianDate CUDateTime::GregorianDate(bool local) {
    if (!m_bHasDate || !representable(m_absoluteTime)) {
        return CFGregorianDate{};
    }
    return cal::GregorianFromAbsolute(m_absoluteTime, zoneFor(local));
}

int CUDateTime::GetYear(bool local) {
    return m_bHasDate ? GregorianDate(local).year : 0;
}

int CUDateTime::GetMonth(bool local) {
    return m_bHasDate ? GregorianDate(local).month : 0;
}

int CUDateTime::GetDay(bool local) {
    return m_bHasDate ? GregorianDate(local).day : 0;
}

int CUDateTime::GetHour(bool local) {
    return m_bHasDate ? GregorianDate(local).hour : 0;
}

int CUDateTime::GetMinute(bool local) {
    return m_bHasDate ? GregorianDate(local).minute : 0;
}

int CUDateTime::GetSecond(bool local) {
    return m_bHasDate ? static_cast<int>(GregorianDate(local).second) : 0;
}

CUSharedPtr<CUStringMac> CUDateTime::GetString(bool local, long dateStyle, long timeStyle) {
    if (!m_bHasDate || !representable(m_absoluteTime)) {
        return nullText();
    }
    // The fields of the chosen zone are encoded again as if they were GMT and formatted by a
    // GMT formatter, so the text shows exactly those wall-clock fields.
    CFGregorianDate fields = GregorianDate(local);
    double asGMT = cal::AbsoluteFromGregorian(fields, cal::Zone{});
    std::u16string text;
    try {
        if (!cal::FormatWithStyles(asGMT, dateStyle, timeStyle, cal::DateLocaleId(), text)) {
            return nullText();
        }
        return makeString(text);
    } catch (...) {
        return nullText();
    }
}

CUSharedPtr<CUStringMac> CUDateTime::GetString(bool local) {
    return GetString(local, 2, 2);
}

CUSharedPtr<CUStringMac> CUDateTime::GetDateString(bool local) {
    return GetString(local, 2, 0);
}

CUSharedPtr<CUStringMac> CUDateTime::GetTimeString(bool local) {
    return GetString(local, 0, 2);
}

CUSharedPtr<CUStringMac> CUDateTime::Description() {
    if (!m_bHasDate || !representable(m_absoluteTime)) {
        return nullText();
    }
    std::u16string text;
    try {
        if (!cal::FormatWithPatternInSystemZone(m_absoluteTime, u"yyyy/MM/dd HH:mm:ss", text)) {
            return nullText();
        }
        return makeString(text);
    } catch (...) {
        return nullText();
    }
}

CUDateTime& CUDateTime::operator=(CUDateTime const& other) {
    // The own date goes first; assigning a date to itself therefore leaves it null.
    m_bHasDate = false;
    m_absoluteTime = 0.0;
    if (other.m_bHasDate) {
        m_absoluteTime = other.m_absoluteTime;
        m_bHasDate = true;
    }
    return *this;
}

bool CUDateTime::operator==(CUDateTime const& other) {
    return m_bHasDate && other.m_bHasDate && m_absoluteTime == other.m_absoluteTime;
}

bool CUDateTime::operator<(CUDateTime const& other) const {
    return m_bHasDate && other.m_bHasDate && m_absoluteTime < other.m_absoluteTime;
}
