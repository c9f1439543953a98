// The program behind main: one command, from its arguments to its exit code.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/program/commands/Command.h"

namespace Host {

class Program {
public:
    // Console and display outlive the program. The display is that of a user at the terminal, or null. leave
    // ends the process at once.
    Program(Console& console, AlertDisplay* user, std::function<void(int)> leave)
        : console_(console), user_(user), leave_(std::move(leave)) {}

    // How the program may speak where its output goes to a terminal.
    bool mayColour = false;

    // Does what the arguments ask for. The result is an ExitCode. Called once.
    int run(const std::vector<std::u16string>& arguments);
    // Asks the command to end. Any thread.
    void stop() { stop_.raise(); }

private:
    int say(const Saying& saying);
    int runCommand(const CommandLine& commandLine);

    Console& console_;
    AlertDisplay* const user_;
    const std::function<void(int)> leave_;
    StopRequest stop_;
};

}  // namespace Host
