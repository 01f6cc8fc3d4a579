// main.cpp — varnutil, the command-line tool over VarnUtilityLib.
#include "DriveCommand.h"
#include "Errors.h"
#include "FilesCommand.h"
#include "LogCommand.h"
#include "SysinfoCommand.h"
#include "Tour.h"
#include "XmlCommand.h"

#include <VarnUtilityLib/CUDateTime.h>
#include <VarnUtilityLib/CUUUID.h>
#include <VarnUtilityLib/CUVersion.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>

using namespace varnutil;

namespace {

// Comparison follows the process's locale. In the C or POSIX locale, case and punctuation
// order like ASCII; the tour pins a real locale there so that it shows the ordinary behaviour.
void pinTourLocale(std::ostream& out) {
    char const* chosen = nullptr;
    for (char const* name : {"LC_ALL", "LC_COLLATE", "LANG"}) {
        char const* value = std::getenv(name);
        if (value != nullptr && *value != '\0') {
            chosen = value;
            break;
        }
    }
    bool plain = chosen == nullptr || std::strcmp(chosen, "POSIX") == 0 ||
                 (chosen[0] == 'C' && (chosen[1] == '\0' || chosen[1] == '.'));
    if (plain) {
        ::unsetenv("LC_ALL");
        ::unsetenv("LC_COLLATE");
        ::setenv("LANG", "en_US.UTF-8", 1);
        out << "(locale " << (chosen != nullptr ? chosen : "unset")
            << " collates like ASCII; this tour uses en_US.UTF-8)\n";
    } else {
        out << "(locale " << chosen << ")\n";
    }
}

// Text of a library string, or "(null)".
std::string utf8(CUSharedPtr<CUStringMac> const& s) {
    return TextOf(s, "(null)");
}

int styleNumber(std::string const& name) {
    static char const* const names[] = {"none", "short", "medium", "long", "full"};
    for (int i = 0; i < 5; ++i) {
        if (name == names[i]) {
            return i;
        }
    }
    return 2;
}

int runDate(bool gmt, std::string const& dateStyle, std::string const& timeStyle, bool pattern,
            std::ostream& out) {
    CUSharedPtr<CUDateTime> now = CUDateTime::Create();
    if (!now) {
        ReportFailure(std::cerr, "date", "the current time cannot be had");
        return kExitFailed;
    }
    if (pattern) {
        out << utf8(now->Description()) << '\n';
    } else {
        out << utf8(now->GetString(!gmt, styleNumber(dateStyle), styleNumber(timeStyle))) << '\n';
    }
    return 0;
}

// Reads "01:02:03:04:05" or "0102030405" into five bytes.
bool parseSerial(std::string const& text, unsigned char serial[5]) {
    std::string hex;
    for (char c : text) {
        if (c != ':' && c != '-') {
            hex += c;
        }
    }
    if (hex.size() != 10 || hex.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        return false;
    }
    for (int i = 0; i < 5; ++i) {
        serial[i] = static_cast<unsigned char>(std::stoi(hex.substr(i * 2, 2), nullptr, 16));
    }
    return true;
}

int runUuid(std::string const& serialText, int count, std::ostream& out) {
    unsigned char serial[5];
    bool withSerial = !serialText.empty();
    if (withSerial && !parseSerial(serialText, serial)) {
        ReportFailure(std::cerr, "uuid",
                      "a serial is five bytes in hexadecimal, e.g. 01:02:03:04:05");
        return kExitUsage;
    }
    for (int i = 0; i < count; ++i) {
        CUSharedPtr<CUUUID> uuid = CUUUID::Create();
        if (!uuid) {
            ReportFailure(std::cerr, "uuid", "no UUID could be made");
            return kExitFailed;
        }
        try {
            if (withSerial) {
                uuid->CorrectSerialArea(serial);
            }
        } catch (unsigned int code) {
            ReportError(std::cerr, "uuid", "the serial could not be written", code, "");
            return kExitFailed;
        }
        std::string text = utf8(uuid->Description());
        out << text.substr(text.rfind(' ') + 1) << '\n';
    }
    return 0;
}

// CLI11 says only "A subcommand is required" when a word is not one of the subcommands; name
// the word, and the subcommands that were expected.
bool reportMissingSubcommand(CLI::App& app, int argc, char** argv) {
    CLI::App* level = &app;
    std::string chain = "varnutil";
    int next = 1;
    for (bool deeper = true; deeper;) {
        deeper = false;
        for (CLI::App* sub : level->get_subcommands({})) {
            if (sub->parsed()) {
                chain += " " + sub->get_name();
                level = sub;
                deeper = true;
                for (; next < argc && sub->get_name() != argv[next]; ++next) {
                }
                ++next;
                break;
            }
        }
    }
    if (level->get_require_subcommand_min() == 0) {
        return false;
    }
    std::string names;
    for (CLI::App* sub : level->get_subcommands({})) {
        names += (names.empty() ? "" : ", ") + sub->get_name();
    }
    std::string word;
    for (; next < argc; ++next) {
        if (argv[next][0] != '-') {
            word = argv[next];
            break;
        }
    }
    std::cerr << Paint(std::cerr, Style::Error, chain + ":") << ' '
              << (word.empty() ? "a subcommand is needed" : "`" + word + "` is not a subcommand")
              << "; one of: " << names << "\nRun with --help for more information.\n";
    return true;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"varnutil: a tour of VarnUtilityLib and tools built on it\n"
                 "Exit status: 0 done, 1 the operation failed, 2 wrong command line.\n"
                 "Colour only on a terminal; set NO_COLOR to turn it off."};
    app.set_version_flag("--version", std::string("varnutil ") + VARN_UTILITY_LIB_VERSION_STRING);
    app.require_subcommand(1);

    CLI::App* tour = app.add_subcommand(
        "tour", "Show what the library does, part by part, in a temporary folder it removes");
    int exitCode = 0;
    varnutil::AddXmlCommand(app, exitCode);

    CLI::App* date = app.add_subcommand("date", "Print the current date and time");
    bool gmt = false;
    bool pattern = false;
    std::string dateStyle = "medium";
    std::string timeStyle = "medium";
    date->add_flag("--gmt", gmt, "GMT instead of local time");
    date->add_option("--date-style", dateStyle, "none, short, medium, long or full")
        ->check(CLI::IsMember({"none", "short", "medium", "long", "full"}));
    date->add_option("--time-style", timeStyle, "none, short, medium, long or full")
        ->check(CLI::IsMember({"none", "short", "medium", "long", "full"}));
    date->add_flag("--description", pattern,
                   "Local time as yyyy/MM/dd HH:mm:ss, whatever the locale");

    CLI::App* uuid = app.add_subcommand("uuid", "Print new random UUIDs");
    std::string serial;
    int count = 1;
    uuid->add_option("--serial", serial,
                     "Five bytes written into bytes 11-15, e.g. 01:02:03:04:05");
    uuid->add_option("-n,--count", count, "How many UUIDs")->check(CLI::Range(1, 100000));
    CLI::App* drive = varnutil::AddDriveCommand(app);
    CLI::App* sysinfo = varnutil::AddSysinfoCommand(app);
    varnutil::AddFilesCommands(app);
    CLI::App* log = varnutil::AddLogCommand(app);

    try {
        app.parse(argc, argv);
    } catch (CLI::RequiredError const& e) {
        if (std::string(e.what()).find("subcommand") != std::string::npos &&
            reportMissingSubcommand(app, argc, argv)) {
            return kExitUsage;
        }
        return app.exit(e) == 0 ? kExitOk : kExitUsage;
    } catch (CLI::ParseError const& e) {
        // --help and --version end parsing with exit code 0; every other parse error is a usage
        // error, whatever number CLI11 gives it.
        int code = app.exit(e);
        return code == 0 ? kExitOk : kExitUsage;
    }

    if (date->parsed()) {
        return runDate(gmt, dateStyle, timeStyle, pattern, std::cout);
    }
    if (uuid->parsed()) {
        return runUuid(serial, count, std::cout);
    }

    if (tour->parsed()) {
        pinTourLocale(std::cout);
        return varnutil::RunTour(std::cout);
    }
    if (drive->parsed()) {
        return varnutil::RunDriveCommand(std::cout, std::cerr);
    }
    if (int code = 0; varnutil::RunFilesCommands(std::cout, std::cerr, &code)) {
        return code;
    }
    if (log->parsed()) {
        return varnutil::RunLogCommand(std::cout, std::cerr);
    }
    if (sysinfo->parsed()) {
        return varnutil::RunSysinfoCommand(std::cout, std::cerr);
    }
    return exitCode;
}
