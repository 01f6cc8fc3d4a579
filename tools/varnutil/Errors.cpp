// Errors.cpp — one wording of the library's codes for the whole tool, and its colours.
#include "Errors.h"

#include <VarnUtilityLib/CUError.h>

#include "platform/SystemError.h"
#include "platform/Terminal.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>

namespace varnutil {
namespace {

char const* meaning(unsigned code) {
    switch (code) {
    case kCUStatusSuccess:
        return "success";
    case CUError_NotReady:
        return "not ready: the object was not initialised or a name is empty";
    case CUError_InvalidArgument:
        return "invalid argument";
    case CUError_DirectoryNotFound:
        return "folder not found";
    case CUError_PlatformFailure:
        return "the system refused the operation";
    case CUError_NotSupported:
        return "not supported by this object";
    case CUError_Unused:
        return "unused code";
    case CUError_IsDirectory:
        return "a folder was named where a file is needed";
    case CUError_DeleteFailed:
        return "the file could not be deleted";
    case CUError_FileNotFound:
        return "file not found";
    case kCUStatusFailure:
        return "the operation failed";
    case 0x10002:
        return "the file operation could not be started";
    case 0x10003:
        return "the copy failed";
    case 0x10004:
        return "the move failed";
    case 0x10005:
        return "the XML text could not be built or written";
    default:
        return nullptr;
    }
}

} // namespace

std::string CodeLabel(unsigned code) {
    char label[32];
    if (code >= 0x10000) {
        std::snprintf(label, sizeof label, "status 0x%x", code);
    } else {
        std::snprintf(label, sizeof label, "error %u", code);
    }
    return label;
}

void ClearSystemReason() {
    varn::platform::ClearSystemError();
}

std::string SystemReason() {
    return varn::platform::SystemErrorText(varn::platform::LastSystemError());
}

std::string PathReason(std::string const& path, char access) {
    return varn::platform::SystemErrorText(varn::platform::ProbePath(path.c_str(), access));
}

void ReportProblem(std::ostream& err, char const* command, std::string const& subject,
                   std::string const& reason) {
    err << Paint(err, Style::Error, std::string("varnutil ") + command + ":") << ' ';
    if (!subject.empty()) {
        err << subject << ": ";
    }
    err << reason << '\n';
}

void ReportError(std::ostream& err, char const* command, std::string const& subject, unsigned code,
                 std::string const& systemReason) {
    char const* words = meaning(code);
    std::string reason = !systemReason.empty() ? systemReason
                         : words != nullptr    ? words
                                               : "unknown code";
    ReportProblem(err, command, subject, reason + " (" + CodeLabel(code) + ")");
}

std::string DescribeError(unsigned code) {
    char number[32];
    if (code >= 0x10000) {
        std::snprintf(number, sizeof number, "0x%x", code);
    } else {
        std::snprintf(number, sizeof number, "%u", code);
    }
    char const* words = meaning(code);
    return std::string(number) + " (" + (words != nullptr ? words : "unknown code") + ")";
}

bool WantsColour(std::ostream const& out) {
    char const* noColour = std::getenv("NO_COLOR");
    if (noColour != nullptr && *noColour != '\0') {
        return false;
    }
    namespace vp = varn::platform;
    if (&out == &std::cout) {
        return vp::IsTerminal(vp::StandardStream::Output);
    }
    if (&out == &std::cerr) {
        return vp::IsTerminal(vp::StandardStream::Error);
    }
    return false;
}

std::string Paint(std::ostream const& out, Style style, std::string const& text) {
    char const* start = nullptr;
    switch (style) {
    case Style::Plain:
        return text;
    case Style::Heading:
        start = "\033[1m";
        break;
    case Style::Error:
        start = "\033[1;31m";
        break;
    case Style::Good:
        start = "\033[32m";
        break;
    }
    if (!WantsColour(out)) {
        return text;
    }
    return start + text + "\033[0m";
}

void ReportFailure(std::ostream& err, char const* command, std::string const& what) {
    err << "varnutil " << command << ": " << Paint(err, Style::Error, "error") << ": " << what
        << '\n';
}

std::string TextOf(CUSharedPtr<CUStringMac> const& s, char const* absent, char const* nullText) {
    std::string out;
    if (!s) {
        return absent;
    }
    if (s->GetString(out) != kCUStatusSuccess) {
        return nullText != nullptr ? nullText : absent;
    }
    return out;
}

std::string QuotedTextOf(CUSharedPtr<CUStringMac> const& s, char const* absent) {
    std::string out;
    if (!s || s->GetString(out) != kCUStatusSuccess) {
        return absent;
    }
    std::string quoted(1, '"');
    quoted.append(out).push_back('"');
    return quoted;
}

} // namespace varnutil
