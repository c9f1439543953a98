#include "platform/Terminal.h"

#include <windows.h>
// The shell's header needs the base types above.
#include <algorithm>
#include <iostream>
#include <shellapi.h>
#include <streambuf>

#include "platform/windows/Wide.h"
#include "text/Utf.h"

namespace Platform {
namespace {

class ConsoleKeyReader final : public KeyReader {
public:
    ConsoleKeyReader(HANDLE input, DWORD before, HANDLE cancelled)
        : input_(input), before_(before), cancelled_(cancelled) {}
    ~ConsoleKeyReader() override {
        FlushConsoleInputBuffer(input_);
        SetConsoleMode(input_, before_);
        CloseHandle(cancelled_);
    }

    Result read(std::chrono::milliseconds timeout, char32_t& key) override {
        constexpr int64_t longest = 24 * 60 * 60 * 1000;
        const uint64_t began = GetTickCount64();
        for (;;) {
            DWORD wait = INFINITE;
            if (timeout.count() >= 0) {
                const auto passed = static_cast<int64_t>(GetTickCount64() - began);
                if (passed > timeout.count())
                    return Result::timedOut;
                wait = static_cast<DWORD>(std::min(timeout.count() - passed, longest));
            }
            const HANDLE waits[] = {cancelled_, input_};
            switch (WaitForMultipleObjects(2, waits, FALSE, wait)) {
                case WAIT_OBJECT_0:
                    return Result::cancelled;
                case WAIT_OBJECT_0 + 1:
                    break;
                case WAIT_TIMEOUT:
                    if (wait < longest)
                        return Result::timedOut;
                    continue;
                default:
                    return Result::ended;
            }
            INPUT_RECORD record{};
            DWORD count = 0;
            if (!ReadConsoleInputW(input_, &record, 1, &count) || count == 0)
                return Result::ended;
            if (record.EventType == WINDOW_BUFFER_SIZE_EVENT)
                return Result::changed;
            if (record.EventType != KEY_EVENT || !record.Event.KeyEvent.bKeyDown || isModifier(record))
                continue;
            key = keyOf(record.Event.KeyEvent);
            return Result::key;
        }
    }

    void suspend() override {}  // nobody asks for it here

    void cancel() override { SetEvent(cancelled_); }

private:
    static char32_t keyOf(const KEY_EVENT_RECORD& record) {
        switch (record.wVirtualKeyCode) {
            case VK_UP:
                return Keys::up;
            case VK_DOWN:
                return Keys::down;
            case VK_PRIOR:
                return Keys::pageUp;
            case VK_NEXT:
                return Keys::pageDown;
            case VK_HOME:
                return Keys::home;
            case VK_END:
                return Keys::end;
            default:
                break;
        }
        const auto unit = static_cast<char16_t>(record.uChar.UnicodeChar);
        return unit == u'\r' ? U'\n' : unit;
    }
    static bool isModifier(const INPUT_RECORD& record) {
        const WORD code = record.Event.KeyEvent.wVirtualKeyCode;
        return code == VK_SHIFT || code == VK_CONTROL || code == VK_MENU || code == VK_CAPITAL ||
               code == VK_NUMLOCK || code == VK_SCROLL || code == VK_LWIN || code == VK_RWIN;
    }

    const HANDLE input_;
    const DWORD before_;
    const HANDLE cancelled_;
};

// Characters for a console. What it is given as bytes it reads in its own code page, and the runtime passes
// single bytes on, which cuts a character of several.
class ConsoleBuffer final : public std::streambuf {
public:
    explicit ConsoleBuffer(HANDLE console) : console_(console) {}

private:
    int_type overflow(int_type byte) override {
        if (!traits_type::eq_int_type(byte, traits_type::eof()))
            text_.push_back(traits_type::to_char_type(byte));
        return traits_type::not_eof(byte);
    }
    std::streamsize xsputn(const char* bytes, std::streamsize count) override {
        text_.append(bytes, static_cast<size_t>(count));
        return count;
    }
    int sync() override {
        constexpr size_t mostAtOnce = 8192;  // a console takes no more than 64 KiB in one call
        const std::u16string text = Ferrow::toUtf16(text_);
        text_.clear();
        for (size_t at = 0; at < text.size();) {
            size_t count = std::min(mostAtOnce, text.size() - at);
            if (count == mostAtOnce && (text[at + count - 1] & 0xFC00) == 0xD800)
                --count;
            DWORD written = 0;
            if (!WriteConsoleW(console_, wide(text.data() + at), static_cast<DWORD>(count), &written,
                               nullptr))
                return -1;
            at += count;
        }
        return 0;
    }

    const HANDLE console_;
    std::string text_;
};

void showInConsole(std::ostream& stream, DWORD which) {
    DWORD mode = 0;
    const HANDLE handle = GetStdHandle(which);
    if (!GetConsoleMode(handle, &mode))
        return;
    // An older console refuses it; terminalTakesEscapes() looks at what came of it.
    SetConsoleMode(handle, mode | ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    stream.rdbuf(new ConsoleBuffer(handle));
}

}  // namespace

std::vector<std::u16string> programArguments(int, char**) {
    std::vector<std::u16string> arguments;
    int count = 0;
    if (LPWSTR* list = CommandLineToArgvW(GetCommandLineW(), &count)) {
        for (int at = 1; at < count; ++at)
            arguments.emplace_back(reinterpret_cast<const char16_t*>(list[at]));
        LocalFree(list);
    }
    return arguments;
}

void prepareConsoleOutput() {
    // Standard output and error are written to until the process ends, so their buffers stay.
    showInConsole(std::cout, STD_OUTPUT_HANDLE);
    showInConsole(std::cerr, STD_ERROR_HANDLE);
}

bool terminalIsInteractive() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) &&
           GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode);
}

bool outputIsTerminal() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode) != 0;
}
bool errorsAreTerminal() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
}

bool terminalTakesEscapes() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode) &&
           (mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

TerminalSize terminalSize() {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info))
        return {};
    const int columns = info.srWindow.Right - info.srWindow.Left + 1;
    const int rows = info.srWindow.Bottom - info.srWindow.Top + 1;
    if (columns <= 0 || rows <= 0)
        return {};
    return {static_cast<unsigned>(columns), static_cast<unsigned>(rows)};
}

std::unique_ptr<KeyReader> KeyReader::create() {
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    DWORD before = 0;
    if (!GetConsoleMode(input, &before))
        return nullptr;
    const HANDLE cancelled = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (!cancelled)
        return nullptr;
    // Processed input stays on: Ctrl+C asks the process to end, as ever.
    SetConsoleMode(
        input, (before & ~static_cast<DWORD>(ENABLE_LINE_INPUT | ENABLE_ECHO_INPUT)) | ENABLE_WINDOW_INPUT);
    FlushConsoleInputBuffer(input);
    return std::make_unique<ConsoleKeyReader>(input, before, cancelled);
}

}  // namespace Platform
