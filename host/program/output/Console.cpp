#include "host/program/output/Console.h"

#include "host/program/output/TerminalText.h"
#include "text/Utf.h"

namespace Host {

void Console::line(std::u16string_view text) {
    const std::string bytes = Ferrow::toUtf8(harmless(text));
    Platform::MutexLock lock(mutex_);
    output_ << bytes << '\n' << std::flush;
}

void Console::lines(const std::vector<std::u16string>& texts) {
    std::string bytes;
    for (const auto& text : texts)
        bytes += Ferrow::toUtf8(harmless(text)) + '\n';
    Platform::MutexLock lock(mutex_);
    output_ << bytes << std::flush;
}

void Console::error(std::u16string_view text) {
    const std::string bytes = Ferrow::toUtf8(harmless(text));
    Platform::MutexLock lock(mutex_);
    errors_ << "brevant-host: " << bytes << '\n' << std::flush;
}

}  // namespace Host
