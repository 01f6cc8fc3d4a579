// SystemError.cpp — errno, strerror_r and access.
#include "platform/SystemError.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstring>

namespace varn::platform {

void ClearSystemError() noexcept {
    errno = 0;
}

int LastSystemError() noexcept {
    return errno;
}

std::string SystemErrorText(int code) {
    if (code == 0) {
        return {};
    }
    char buffer[256];
    // The GNU strerror_r may return a static text instead of filling the buffer.
    char const* words = ::strerror_r(code, buffer, sizeof buffer);
    std::string text = words != nullptr ? words : "unknown error";
    if (!text.empty()) {
        text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
    }
    return text;
}

int ProbePath(char const* path, char access) noexcept {
    struct stat info {};
    if (::lstat(path, &info) != 0) {
        return errno;
    }
    int mode = access == 'r' ? R_OK : access == 'w' ? W_OK : access == 'x' ? X_OK : F_OK;
    if (::access(path, mode) != 0) {
        return errno;
    }
    return 0;
}

} // namespace varn::platform
