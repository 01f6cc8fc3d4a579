// TimeTestSupport.h — pins an environment variable that the date code reads (TZ, LANG...) for
// one test and restores it afterwards, dropping the cached zone and locale both ways.
#pragma once

#include "platform/Calendar.h"

#include <cstdlib>
#include <optional>
#include <string>

class ScopedEnv {
  public:
    ScopedEnv(char const* name, char const* value) : m_name(name) {
        if (char const* old = std::getenv(name)) {
            m_old = old;
        }
        set(value);
    }
    ~ScopedEnv() { set(m_old ? m_old->c_str() : nullptr); }
    ScopedEnv(ScopedEnv const&) = delete;
    ScopedEnv& operator=(ScopedEnv const&) = delete;

  private:
    void set(char const* value) {
        if (value != nullptr) {
            ::setenv(m_name.c_str(), value, 1);
        } else {
            ::unsetenv(m_name.c_str());
        }
        varn::platform::ResetSystemZoneCache();
        varn::platform::ResetDateLocaleCache();
    }

    std::string m_name;
    std::optional<std::string> m_old;
};

// The text of a string as UTF-8 ("<null>" when there is none).
#include <VarnUtilityLib/CUStringMac.h>

inline std::string Utf8(CUSharedPtr<CUStringMac> s) {
    std::string out;
    if (!s || s->GetString(out) != kCUStatusSuccess) {
        return "<null>";
    }
    return out;
}
