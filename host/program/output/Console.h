// What the program says.
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Sync.h"

namespace Host {

// Writes UTF-8. Every line is made harmless first (TerminalText.h), so that no text from outside can steer
// the terminal. Any thread; a call's lines stay together.
class Console {
public:
    // Both streams outlive the console.
    Console(std::ostream& output, std::ostream& errors) : output_(output), errors_(errors) {}

    void line(std::u16string_view text);
    void lines(const std::vector<std::u16string>& texts);
    // To standard error, under the program's name.
    void error(std::u16string_view text);

    // Whether output could not be written so far.
    bool failed() {
        Platform::MutexLock lock(mutex_);
        return !output_;
    }

private:
    // Guards both streams. Nothing else is taken under it.
    Platform::Mutex mutex_;
    std::ostream& output_ GUARDED_BY(mutex_);
    std::ostream& errors_ GUARDED_BY(mutex_);
};

}  // namespace Host
