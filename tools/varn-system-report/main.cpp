// main.cpp — varn-system-report PATH: writes the library's system report to PATH from a process
// of its own, so that the report outlives the program that asked for it. Started by the
// library (CULog::WriteSystemInfo), never by hand.
#include "platform/SystemReport.h"

int main(int argc, char** argv) {
    return varn::platform::SystemReportProgram(argc, argv);
}
