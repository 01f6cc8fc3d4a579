// TimeTestSupport.h — environment pinning, string and thrown-code readers for the time tests.
#pragma once

#include <VarnUtilityLib/CUStringMac.h>

#include "platform/Calendar.h"

#include <cstdlib>
#include <optional>
#include <string>

// Pins a variable that the date code reads (TZ, LANG...) and restores it when it goes, dropping
// the cached zone and locale each time.
class ScopedEnv {
  public:
    ScopedEnv(char const* name, char const* value) : m_name(name) {
        if (char const* old = std::getenv(name)) {
            m_old = old;
        }
        Set(value);
    }
    ~ScopedEnv() { Set(m_old ? m_old->c_str() : nullptr); }
    ScopedEnv(ScopedEnv const&) = delete;
    ScopedEnv& operator=(ScopedEnv const&) = delete;

    void Set(char const* value) {
        value != nullptr ? ::setenv(m_name.c_str(), value, 1) : ::unsetenv(m_name.c_str());
        varn::platform::ResetSystemZoneCache();
        varn::platform::ResetDateLocaleCache();
    }

  private:
    std::string m_name;
    std::optional<std::string> m_old;
};

// The text of a string as UTF-8 ("<null>" when there is none).
inline std::string Utf8(CUSharedPtr<CUStringMac> s) {
    std::string out;
    return s && s->GetString(out) == kCUStatusSuccess ? out : "<null>";
}

// The code that `make` throws, 0 when it throws none.
template <class F> unsigned int ThrownCode(F make) {
    try {
        make();
    } catch (unsigned int code) {
        return code;
    }
    return 0;
}
