// main.cpp — varnutil, the command-line tool over VarnUtilityLib.
#include "DriveCommand.h"
#include "Tour.h"

#include <VarnUtilityLib/CUVersion.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <cstring>
#include <iostream>

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

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"varnutil: a tour of VarnUtilityLib and tools built on it"};
    app.set_version_flag("--version", std::string("varnutil ") + VARN_UTILITY_LIB_VERSION_STRING);
    app.require_subcommand(1);

    CLI::App* tour = app.add_subcommand("tour", "Show what the library does, part by part");
    CLI::App* drive = varnutil::AddDriveCommand(app);

    CLI11_PARSE(app, argc, argv);

    if (tour->parsed()) {
        pinTourLocale(std::cout);
        return varnutil::RunTour(std::cout);
    }
    if (drive->parsed()) {
        return varnutil::RunDriveCommand(std::cout, std::cerr);
    }
    return 0;
}
