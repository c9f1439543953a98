#include "platform/Signals.h"

#include <atomic>
#include <system_error>
#include <windows.h>

#include "platform/Thread.h"

namespace Platform {
namespace {

// What the handler, which the system calls on a thread of its own, may touch.
std::atomic<HANDLE> askedEvent{nullptr};
std::atomic<HANDLE> overEvent{nullptr};
std::atomic<bool> alreadyAsked{false};

BOOL WINAPI onControl(DWORD what) {
    if (alreadyAsked.exchange(true) && what != CTRL_CLOSE_EVENT)
        return FALSE;
    SetEvent(askedEvent);
    // When the handler returns from the closing of its console, the process is ended.
    constexpr DWORD longestShutdown = 10000;  // milliseconds
    if (what == CTRL_CLOSE_EVENT || what == CTRL_LOGOFF_EVENT || what == CTRL_SHUTDOWN_EVENT)
        WaitForSingleObject(overEvent, longestShutdown);
    return TRUE;
}

}  // namespace

struct Signals::State {
    explicit State(std::function<void()> handler)
        : callback(std::move(handler)),
          asked(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
          over(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
        if (!asked || !over)
            throw std::system_error(static_cast<int>(GetLastError()), std::system_category(),
                                    "no event for console control");
        askedEvent = asked;
        overEvent = over;
        alreadyAsked = false;
        watcher = Thread([this] {
            const HANDLE waits[] = {over, asked};
            if (WaitForMultipleObjects(2, waits, FALSE, INFINITE) == WAIT_OBJECT_0 + 1)
                callback();
        });
        SetConsoleCtrlHandler(onControl, TRUE);
    }

    ~State() {
        SetConsoleCtrlHandler(onControl, FALSE);
        SetEvent(over);
        watcher.join();
        // The events stay: a handler call that began before may still look at them.
    }

    const std::function<void()> callback;
    const HANDLE asked;
    const HANDLE over;
    Thread watcher;
};

Signals::Signals(std::function<void()> callback) : state_(std::make_unique<State>(std::move(callback))) {}

Signals::~Signals() = default;

}  // namespace Platform
