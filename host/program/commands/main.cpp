#include <iostream>
#include <string>

#include "host/program/commands/Program.h"
#include "host/program/output/Console.h"
#include "host/program/viewer/TerminalDisplay.h"
#include "platform/DynamicLibrary.h"
#include "platform/Process.h"
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
    return Host::Program(console, display).run(Platform::programArguments(argc, argv));
}
