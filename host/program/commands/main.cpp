#include <cstdlib>
#include <iostream>
#include <string>

#include "host/program/commands/Program.h"
#include "host/program/viewer/TerminalDisplay.h"
#include "platform/DynamicLibrary.h"
#include "platform/Environment.h"
#include "platform/Process.h"
#include "platform/Signals.h"
#include "platform/Terminal.h"
#include "text/Utf.h"

int main(int argc, char** argv) {
    const uint32_t searchError = Platform::narrowLibrarySearch() ? 0 : Platform::lastError();
    Platform::prepareConsoleOutput();
    Host::Console console(std::cout, std::cerr);
    if (searchError != 0)
        console.error(u"libraries may be looked for in the current folder (error " +
                      Ferrow::toUtf16(std::to_string(searchError)) + u")");
    Host::TerminalDisplay display(console);
    // Nothing of what still runs is waited for; what has been said is out already.
    Host::Program program(console, Platform::terminalIsInteractive() ? &display : nullptr, std::_Exit);
    program.mayColour = Platform::terminalTakesEscapes() && Platform::errorsAreTerminal() &&
                        Platform::environment(u"NO_COLOR").empty();
    const Platform::Signals signals([&program] { program.stop(); });
    return program.run(Platform::programArguments(argc, argv));
}
