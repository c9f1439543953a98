#include "host/program/output/Console.h"

#include "host/program/output/TerminalText.h"
#include "text/Utf.h"

namespace Host {
namespace {

constexpr std::string_view enterScreen = "\x1B[?1049h\x1B[?25l", exitScreen = "\x1B[?25h\x1B[?1049l";
constexpr std::string_view toTop = "\x1B[H", clearLine = "\x1B[K", clearBelow = "\x1B[J";

std::string_view escapeOf(Style style) {
    switch (style) {
        case Style::strong:
            return "\x1B[1m";
        case Style::marked:
            return "\x1B[7m";
        case Style::good:
            return "\x1B[32m";
        case Style::bad:
            return "\x1B[31m";
        case Style::plain:
            break;
    }
    return {};
}

}  // namespace

void Console::adopt(Manner manner) {
    manner_ = manner;
}

std::string Console::styled(std::u16string_view text, Style style) const {
    std::string bytes = Ferrow::toUtf8(harmless(text));
    const std::string_view escape = manner_.colours ? escapeOf(style) : std::string_view();
    if (!escape.empty())
        bytes = std::string(escape) + bytes + "\x1B[0m";
    return bytes;
}

void Console::write(bool toErrors, std::string bytes) {
    Platform::MutexLock lock(mutex_);
    if (hasScreen_) {
        kept_.push_back({toErrors, std::move(bytes)});
        if (kept_.size() > mostKept)
            kept_.pop_front();
        return;
    }
    (toErrors ? errors_ : output_) << bytes << std::flush;
}

void Console::line(std::u16string_view text, Style style) {
    write(false, styled(text, style) + '\n');
}

void Console::lines(const std::vector<std::u16string>& texts) {
    std::string bytes;
    for (const auto& text : texts)
        bytes += Ferrow::toUtf8(harmless(text)) + '\n';
    write(false, std::move(bytes));
}

void Console::object(const Tavix::JSONFormatter& object) {
    write(false, Ferrow::toUtf8(harmlessJson(object.toString())) + '\n');
}

void Console::note(std::u16string_view text) {
    if (!manner_.quiet)
        write(manner_.machine, Ferrow::toUtf8(harmless(text)) + '\n');
}

void Console::error(std::u16string_view text) {
    write(true, "brevant: " + styled(text, Style::bad) + '\n');
}

void Console::takeScreen() {
    Platform::MutexLock lock(mutex_);
    if (!hasScreen_)
        output_ << enterScreen << std::flush;
    hasScreen_ = true;
}

void Console::draw(const std::vector<StyledLine>& lines) {
    std::string bytes(toTop);
    const char* separator = "";
    for (const StyledLine& line : lines) {
        bytes += separator + styled(line.text, line.style);
        bytes += clearLine;
        separator = "\r\n";
    }
    bytes += clearBelow;
    Platform::MutexLock lock(mutex_);
    if (hasScreen_)
        output_ << bytes << std::flush;
}

void Console::leaveScreen() {
    Platform::MutexLock lock(mutex_);
    if (!hasScreen_)
        return;
    hasScreen_ = false;
    output_ << exitScreen;
    for (const Kept& kept : kept_)
        (kept.toErrors ? errors_ : output_) << kept.bytes << std::flush;
    kept_.clear();
    output_ << std::flush;
}

}  // namespace Host
