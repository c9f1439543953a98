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

// Columns of the terminal behind standard output; 80 when it is none.
unsigned terminalColumns();

// Reads single keys, without echo, from construction to destruction. What was typed before is dropped. One
// per process at a time.
class KeyReader {
public:
    enum class Result { key, timedOut, cancelled, ended };

    // Null when the terminal refuses it.
    static std::unique_ptr<KeyReader> create();
    virtual ~KeyReader() = default;
    // Waits for a key; it is a character, or 0 for a key that is none. A negative timeout waits forever.
    // ended: the terminal is gone. One waiting thread at a time.
    virtual Result read(std::chrono::milliseconds timeout, char32_t& key) = 0;
    // Ends the current read and all later ones. Any thread.
    virtual void cancel() = 0;
};

}  // namespace Platform
