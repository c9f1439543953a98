// The program behind brevant-host's main.
#pragma once

#include <string>
#include <vector>

#include "host/program/commands/CommandLine.h"
#include "host/program/output/Console.h"
#include "host/program/viewer/AlertDisplay.h"

namespace Host {

class Program {
public:
    // Both outlive the program. Alerts are shown on the display.
    Program(Console& console, AlertDisplay& display) : console_(console), display_(display) {}

    // Does what the arguments ask for. The result is an ExitCode.
    int run(const std::vector<std::u16string>& arguments);

private:
    int runTask(const CommandLine& commandLine);
    int changeSettings(const CommandLine& commandLine);
    int runHost(const CommandLine& commandLine);

    Console& console_;
    AlertDisplay& display_;
};

}  // namespace Host
