// What a program needs of its command line and its terminal.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace Platform {

// The arguments without the program's name. argc and argv are those of main.
std::vector<std::u16string> programArguments(int argc, char** argv);

// Makes the console show the UTF-8 that the program writes to standard output and standard error. Before the
// first output.
void prepareConsoleOutput();

// Whether a user sits there: keys can be read and output is seen. False in the background.
bool terminalIsInteractive();

// Whether standard output is a terminal, or standard error is.
bool outputIsTerminal();
bool errorsAreTerminal();

// Whether the terminal behind standard output heeds the escape sequences of ECMA-48. After
// prepareConsoleOutput().
bool terminalTakesEscapes();

// Of the terminal behind standard output; 80 and 24 when it is none.
struct TerminalSize {
    unsigned columns = 80;
    unsigned rows = 24;
};
TerminalSize terminalSize();

// Keys that are no characters; Enter and the escape key are U'\n' and U'\x1B'.
namespace Keys {
constexpr char32_t up = 0x110001, down = 0x110002, pageUp = 0x110003, pageDown = 0x110004, home = 0x110005,
                   end = 0x110006, backTab = 0x110007;
}

// Reads single keys, without echo, from construction to destruction. What was typed before is dropped. One
// per process at a time.
class KeyReader {
public:
    enum class Result {
        key,
        timedOut,
        cancelled,
        ended,       // the terminal is gone
        changed,     // it has another size, or the process has come back to it: what is on it is out of date
        suspending,  // the user asks the process to stop for a while: suspend() follows
    };

    // Null when the terminal refuses it.
    static std::unique_ptr<KeyReader> create();
    virtual ~KeyReader() = default;
    // Waits for a key: a character, one of Keys, or 0 for any other. A negative timeout waits forever. One
    // waiting thread at a time.
    virtual Result read(std::chrono::milliseconds timeout, char32_t& key) = 0;
    // Gives the terminal back, stops the process and returns when it goes on.
    virtual void suspend() = 0;
    // Ends the current read and all later ones. Any thread.
    virtual void cancel() = 0;
};

}  // namespace Platform
