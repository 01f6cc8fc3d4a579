// Tour.cpp — the registry and runner of the tour's sections.
#include "Tour.h"

#include "Errors.h"

#include <system_error>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace varnutil {
namespace {

namespace fs = std::filesystem;

struct Entry {
    int order;
    char const* title;
    TourSection::Run run;
};

std::vector<Entry>& sections() {
    static std::vector<Entry> all;
    return all;
}

// The tour's working folder: a fresh folder under the system's temporary folder, made the
// current folder and TMPDIR while the tour runs, so that every file a section makes (including
// through temp_directory_path) lands inside it. Removed, and the old state restored, at the end.
class TourFolder {
  public:
    TourFolder() {
        std::error_code error;
        m_previous = fs::current_path(error);
        if (char const* tmp = std::getenv("TMPDIR")) {
            m_previousTmp = tmp;
        }
        std::random_device seed;
        for (int attempt = 0; attempt < 16 && m_path.empty(); ++attempt) {
            fs::path candidate =
                fs::temp_directory_path(error) / ("varnutil-tour-" + std::to_string(seed()));
            if (!error && fs::create_directory(candidate, error) && !error) {
                m_path = candidate;
            }
        }
        if (!m_path.empty()) {
            fs::current_path(m_path, error);
            ::setenv("TMPDIR", m_path.c_str(), 1);
        }
    }
    ~TourFolder() {
        std::error_code ignored;
        if (!m_previous.empty()) {
            fs::current_path(m_previous, ignored);
        }
        if (m_previousTmp) {
            ::setenv("TMPDIR", m_previousTmp->c_str(), 1);
        } else {
            ::unsetenv("TMPDIR");
        }
        if (!m_path.empty()) {
            fs::remove_all(m_path, ignored);
        }
    }
    TourFolder(TourFolder const&) = delete;
    TourFolder& operator=(TourFolder const&) = delete;

    fs::path const& path() const { return m_path; }

  private:
    fs::path m_path;
    fs::path m_previous;
    std::optional<std::string> m_previousTmp;
};

} // namespace

TourSection::TourSection(int order, char const* title, Run run) {
    sections().push_back({order, title, run});
}

void Show(std::ostream& out, char const* label, char const* value) {
    char line[64];
    std::snprintf(line, sizeof line, "  %-34s ", label);
    out << line << (value != nullptr ? value : "(null)") << '\n';
}

int TourSectionCount() {
    return static_cast<int>(sections().size());
}

int RunTour(std::ostream& out) {
    auto all = sections();
    std::stable_sort(all.begin(), all.end(),
                     [](Entry const& a, Entry const& b) { return a.order < b.order; });
    auto started = std::chrono::steady_clock::now();
    TourFolder folder;
    if (folder.path().empty()) {
        ReportFailure(std::cerr, "tour", "no temporary folder could be made");
        return kExitFailed;
    }
    out << Paint(out, Style::Heading, "VarnUtilityLib tour") << " (working in "
        << folder.path().string() << ", removed afterwards)\n";
    int failed = 0;
    for (Entry const& e : all) {
        out << '\n' << Paint(out, Style::Heading, std::string("== ") + e.title + " ==") << '\n';
        // A section that throws is reported and the tour goes on with the next one.
        try {
            e.run(out);
        } catch (unsigned int code) {
            out.flush();
            ReportFailure(std::cerr, "tour",
                          std::string(e.title) + ": unexpected error " + DescribeError(code));
            ++failed;
        } catch (std::exception const& error) {
            out.flush();
            ReportFailure(std::cerr, "tour", std::string(e.title) + ": " + error.what());
            ++failed;
        }
    }
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(
                  std::chrono::steady_clock::now() - started)
                  .count();
    out << '\n'
        << all.size() << " sections in " << ms << " ms"
        << (failed == 0 ? std::string()
                        : ", " + Paint(out, Style::Error, std::to_string(failed) + " failed"))
        << '\n';
    return failed == 0 ? kExitOk : kExitFailed;
}

} // namespace varnutil
