#include "platform/Registry.h"
#include "platform/windows/Handle.h"
#include "platform/windows/Wide.h"

namespace Platform {
namespace {

constexpr DWORD threadAgnostic = 0x10000000;  // REG_NOTIFY_THREAD_AGNOSTIC: outlives the arming thread

class KeyWatch final : public RegistryWatch {
public:
    explicit KeyWatch(std::u16string_view path)
        : path_(path),
          changed_(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
          cancelled_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
        while (path_.ends_with(u'\\'))
            path_.pop_back();
        if (usable())
            arm();
    }

    bool usable() const noexcept { return changed_ && cancelled_; }

    bool wait() override {
        for (;;) {
            // A key that cannot be watched is looked for again from time to time.
            constexpr DWORD retry = 1000;
            const HANDLE events[] = {cancelled_.get(), changed_.get()};
            const DWORD ended = WaitForMultipleObjects(2, events, FALSE, key_ ? INFINITE : retry);
            if (ended != WAIT_OBJECT_0 + 1 && ended != WAIT_TIMEOUT)
                return false;
            const bool had = direct_;
            // Armed again before the change is told, so that the next one is not lost while it is read.
            arm();
            if (had || direct_)
                return true;
        }
    }

    void cancel() override { SetEvent(cancelled_.get()); }

private:
    // Watches the key, or while it does not exist the nearest one above it for the key that leads on to it.
    void arm() {
        // Bounded, for a key that opens but cannot be watched would be found again for ever.
        constexpr int attempts = 16;
        for (int attempt = 0; attempt < attempts; ++attempt) {
            if (!direct_ || !notify())
                reopen();
            if (direct_ || !key_)
                return;
            // A key that came into being before its parent was watched gives no notification.
            HKEY next = nullptr;
            if (RegOpenKeyExW(key_.get(), wide(entry_), 0, KEY_NOTIFY, &next) != ERROR_SUCCESS)
                return;
            RegCloseKey(next);
        }
    }

    void reopen() {
        std::u16string path = path_;
        entry_.clear();
        for (;;) {
            key_.reset();  // which signals the event
            HKEY key = nullptr;
            if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, wide(path), 0, KEY_NOTIFY, &key) == ERROR_SUCCESS) {
                key_.reset(key);
                direct_ = path.size() == path_.size();
                if (notify())
                    return;
                key_.reset();
            }
            direct_ = false;
            if (path.empty()) {
                ResetEvent(changed_.get());
                return;
            }
            const size_t separator = path.rfind(u'\\');
            const size_t begin = separator == std::u16string::npos ? 0 : separator + 1;
            entry_ = path.substr(begin);
            path.resize(begin == 0 ? 0 : separator);
        }
    }

    bool notify() {
        ResetEvent(changed_.get());
        const DWORD filter =
            REG_NOTIFY_CHANGE_NAME | (direct_ ? REG_NOTIFY_CHANGE_LAST_SET : 0) | threadAgnostic;
        return RegNotifyChangeKeyValue(key_.get(), FALSE, filter, changed_.get(), TRUE) == ERROR_SUCCESS;
    }

    std::u16string path_;
    const Handle changed_;
    const Handle cancelled_;
    // Of the waiting thread, and of the constructor before it.
    OpenKey key_;
    bool direct_ = false;   // key_ is the key itself
    std::u16string entry_;  // else: the name below key_ that leads to it
};

}  // namespace

std::unique_ptr<RegistryWatch> RegistryWatch::create(std::u16string_view path) {
    auto watch = std::make_unique<KeyWatch>(path);
    if (!watch->usable())
        return nullptr;
    return watch;
}

}  // namespace Platform
