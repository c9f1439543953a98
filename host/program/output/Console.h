// What the program says.
#pragma once

#include <deque>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "json/JSONFormatter.h"
#include "platform/Sync.h"

namespace Host {

enum class Style : uint8_t { plain, strong, marked, good, bad };

struct StyledLine {
    std::u16string text;
    Style style = Style::plain;
};

// Writes UTF-8. Every line is made harmless first (TerminalText.h), so that no text from outside can steer
// the terminal. Any thread; a call's lines stay together.
class Console {
public:
    struct Manner {
        bool quiet = false;    // nothing but what was asked for, and errors
        bool machine = false;  // a program reads what was asked for: remarks go where errors go
        bool colours = false;
    };

    // Both streams outlive the console.
    Console(std::ostream& output, std::ostream& errors) : output_(output), errors_(errors) {}
    // Before the first output.
    void adopt(Manner manner);
    bool isForPrograms() const noexcept { return manner_.machine; }

    // What was asked for.
    void line(std::u16string_view text, Style style = Style::plain);
    void lines(const std::vector<std::u16string>& texts);
    // One object on one line; what could steer a terminal stands in it as \uXXXX.
    void object(const Tavix::JSONFormatter& object);
    // A remark by the way, not wanted when quiet.
    void note(std::u16string_view text);
    // To standard error, under the program's name.
    void error(std::u16string_view text);

    // Takes the whole terminal, which stays as it was below, until leaveScreen(). What is said meanwhile
    // waits; of much of it the last part. Only where terminalTakesEscapes() says so (platform/Terminal.h).
    void takeScreen();
    void draw(const std::vector<StyledLine>& lines);
    void leaveScreen();

    // Whether output could not be written so far.
    bool failed() {
        Platform::MutexLock lock(mutex_);
        return !output_;
    }

private:
    void write(bool toErrors, std::string bytes);
    std::string styled(std::u16string_view text, Style style) const;

    static constexpr size_t mostKept = 2000;

    Manner manner_;
    // Guards what is below. Nothing else is taken under it.
    Platform::Mutex mutex_;
    std::ostream& output_ GUARDED_BY(mutex_);
    std::ostream& errors_ GUARDED_BY(mutex_);
    bool hasScreen_ GUARDED_BY(mutex_) = false;
    struct Kept {
        bool toErrors;
        std::string bytes;
    };
    std::deque<Kept> kept_ GUARDED_BY(mutex_);
};

}  // namespace Host
