// What the user asked for.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "host/program/viewer/AnswerDisplay.h"

namespace Host {

// Files are in Windows form, or "-" for standard input.

struct HostOptions {
    std::vector<std::u16string> alerts;
    std::u16string store;  // file of the settings; empty: the usual one
    bool hasViewer = false;
    std::optional<FixedAnswer> answer;
    std::chrono::seconds grace{10};
    bool handsOverBus = false;
    bool standsIn = true;
    bool startsServer = false;
};

struct ShowOptions {
    std::vector<std::u16string> alerts;
    std::u16string store;
    std::optional<FixedAnswer> answer;
    bool waits = true;
    bool handsOverBus = false;
};

struct DeleteOptions {
    std::u16string instance;
};

struct ViewerOptions {
    std::u16string id;
    std::optional<FixedAnswer> answer;
};

struct SettingsOptions {
    enum class Action { get, set, remove, list, watch } action = Action::list;
    std::u16string name;  // or the prefix of names
    std::u16string value;
    bool isVolatile = false;
    std::u16string store;
};

struct StatusOptions {
    bool paths = false;
};

struct WatchOptions {
    std::u16string pattern;
};

struct CheckAlertOptions {
    std::vector<std::u16string> files;
    bool sarif = false;
};

struct CommandLine {
    std::u16string bus;  // empty: as the environment says
    bool quiet = false;
    bool json = false;
    std::variant<HostOptions, ShowOptions, DeleteOptions, ViewerOptions, SettingsOptions, StatusOptions,
                 WatchOptions, CheckAlertOptions>
        command;
};

// What there is to say instead of a command: a help text that was asked for, or what is wrong.
struct Saying {
    bool isError = false;
    std::u16string text;
};

// The arguments are those after the program's name.
std::variant<CommandLine, Saying> parseCommandLine(const std::vector<std::u16string>& arguments);

}  // namespace Host
