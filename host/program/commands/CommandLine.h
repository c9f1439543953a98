// What the user asked for.
#pragma once

#include <string>
#include <vector>

namespace Host {

enum ExitCode : int {
    exitDone = 0,      // the alert's outcome is known, the host has ended as asked, the settings are changed
    exitFailed = 1,    // an alert failed or its outcome is not known, or the host could not do its work
    exitBadInput = 2,  // the command line or an alert file makes no sense
};

struct CommandLine {
    enum class Task { play, serve, settings, help };
    struct SettingsStep {
        enum class Kind { list, get, set, remove } kind;
        std::u16string name;
        std::u16string value;
    };

    Task task = Task::play;
    std::vector<std::u16string> alerts;  // files, in Windows form
    std::vector<SettingsStep> settings;
    std::u16string store;  // file of the settings, in Windows form; empty: the usual one
    bool handsOverBus = false;

    // False, with what is wrong in error, when the arguments make no sense.
    bool parse(const std::vector<std::u16string>& arguments, std::u16string& error);
    static std::vector<std::u16string> help();
};

}  // namespace Host
