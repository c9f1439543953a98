// A bus of its own within the test program, with a stranger on it, and a machine folder of the test's own.
#pragma once

#include <deque>
#include <functional>
#include <gtest/gtest.h>

#include "host/bus/BusFunctions.h"
#include "host/program/commands/Program.h"
#include "host/program/connection/BusConnection.h"
#include "host/program/settings/SettingsStore.h"
#include "host/program/viewer/AlertDisplay.h"
#include "support/BusPeer.h"
#include "support/PlatformFolder.h"

namespace Host {

// A display whose user does what the test says.
class FakeDisplay final : public AlertDisplay, Support::Monitor {
public:
    std::unique_ptr<Showing> show(const DisplayedAlert& alert) override {
        if (beforeShowing)
            beforeShowing();
        locked([&] { shown_.push_back(alert); });
        return std::make_unique<Fake>(*this);
    }
    void end(Showing::End end) {
        locked([&] { ends_.push_back(end); });
    }
    std::vector<DisplayedAlert> waitForShown(size_t count) const {
        comes([&] { return shown_.size() >= count; });
        return locked([&] { return shown_; });
    }

    std::function<void()> beforeShowing;

private:
    struct Fake final : Showing {
        explicit Fake(FakeDisplay& display) : owner(display) {}
        End wait() override {
            End end{Ending::takenDown, {}};
            owner.await([&] {
                if (takenDown || owner.ends_.empty())
                    return takenDown;
                end = owner.ends_.front();
                owner.ends_.pop_front();
                return true;
            });
            return end;
        }
        void takeDown() override {
            owner.locked([&] { takenDown = true; });
        }
        FakeDisplay& owner;
        bool takenDown = false;
    };

    std::vector<DisplayedAlert> shown_;
    std::deque<Showing::End> ends_;
};

// What a program writes, for who reads it meanwhile.
class SharedText final : public std::streambuf, Support::Monitor {
public:
    std::string text() const {
        return locked([&] { return text_; });
    }
    bool comes(std::string_view part) const {
        return Monitor::comes([&] { return text_.find(part) != std::string::npos; });
    }

private:
    int_type overflow(int_type byte) override {
        locked([&] { text_ += traits_type::to_char_type(byte); });
        return byte;
    }
    std::streamsize xsputn(const char* bytes, std::streamsize count) override {
        locked([&] { text_.append(bytes, static_cast<size_t>(count)); });
        return count;
    }
    std::string text_;
};

// One command of the program, on a thread of its own, as if in a terminal of its own.
class Command {
public:
    Command(std::vector<std::u16string> arguments, AlertDisplay* user)
        : program_(console_, user, [](int) { FAIL() << "left"; }),
          thread_([this, arguments = std::move(arguments)] { code_ = program_.run(arguments); }) {}
    ~Command() {
        if (thread_.joinable())
            stop();
    }

    bool says(std::string_view text) const { return output.comes(text); }
    bool complains(std::string_view text) const { return errors.comes(text); }
    // The exit code.
    int end() {
        thread_.join();
        return code_;
    }
    int stop() {
        program_.stop();
        return end();
    }

    SharedText output, errors;

private:
    std::ostream out_{&output}, err_{&errors};
    Console console_{out_, err_};
    Program program_;
    int code_ = -1;
    std::thread thread_;
};

class HostTest : public testing::Test {
protected:
    static const BrevantBusFunctions& bus() { return MessageBus::busFunctions(); }
    // What matches on that bus.
    struct Recorder : Support::MessageLog {
        explicit Recorder(const std::u16string& pattern) : MessageLog({pattern}, &bus()) {}
    };
    std::u16string inFolder(const std::u16string& name) const { return folder.portable() + u"\\" + name; }

    Support::PlatformFolder folder;
};

}  // namespace Host
