#include <iostream>

#include "Console.h"
#include "Program.h"
#include "TerminalDisplay.h"
#include "platform/DynamicLibrary.h"
#include "platform/Terminal.h"

int main(int argc, char** argv) {
    Platform::narrowLibrarySearch();
    Platform::prepareConsoleOutput();
    Host::Console console(std::cout, std::cerr);
    Host::TerminalDisplay display(console);
    return Host::Program(console, display).run(Platform::programArguments(argc, argv));
}
