#include "host/program/commands/CommandLine.h"

#include "platform/Files.h"
#include "text/Utf.h"

namespace Host {
namespace {

std::u16string pathOf(const std::u16string& argument) {
    return Platform::portablePath(Ferrow::toUtf8(argument));
}

}  // namespace

bool CommandLine::parse(const std::vector<std::u16string>& arguments, std::u16string& error) {
    bool optionsEnded = false, serves = false;
    for (size_t at = 0; at < arguments.size(); ++at) {
        const std::u16string& argument = arguments[at];
        if (optionsEnded || !argument.starts_with(u"-") || argument == u"-") {
            alerts.push_back(pathOf(argument));
            continue;
        }
        const auto value = [&](std::u16string& into) {
            if (at + 1 < arguments.size()) {
                into = arguments[++at];
                return true;
            }
            error = argument + u" needs a value";
            return false;
        };
        std::u16string text;
        if (argument == u"--") {
            optionsEnded = true;
        } else if (argument == u"--help" || argument == u"-h") {
            task = Task::help;
            return true;
        } else if (argument == u"--serve") {
            serves = true;
        } else if (argument == u"--list") {
            settings.push_back({SettingsStep::Kind::list, {}, {}});
        } else if (argument == u"--store") {
            if (!value(text))
                return false;
            store = pathOf(text);
        } else if (argument == u"--bus") {
            if (!value(text))
                return false;
            if (text != u"own" && text != u"handed-over") {
                error = u"--bus takes \"own\" or \"handed-over\", not \"" + text + u"\"";
                return false;
            }
            handsOverBus = text == u"handed-over";
        } else if (argument == u"--get" || argument == u"--remove") {
            if (!value(text))
                return false;
            settings.push_back(
                {argument == u"--get" ? SettingsStep::Kind::get : SettingsStep::Kind::remove, text, {}});
        } else if (argument == u"--set") {
            if (!value(text))
                return false;
            const size_t equals = text.find(u'=');
            if (equals == text.npos || equals == 0) {
                error = u"--set takes NAME=VALUE, not \"" + text + u"\"";
                return false;
            }
            settings.push_back({SettingsStep::Kind::set, text.substr(0, equals), text.substr(equals + 1)});
        } else {
            error = u"there is no option \"" + argument + u"\"; --help lists them";
            return false;
        }
    }
    if (!settings.empty())
        task = Task::settings;
    else if (serves)
        task = Task::serve;
    if (task == Task::settings && (serves || !alerts.empty())) {
        error = u"--set, --get, --remove and --list go with no alert and not with --serve";
        return false;
    }
    if (task == Task::play && alerts.size() != 1) {
        error = alerts.empty() ? u"there is no alert to show; --help says what can be done"
                               : u"one alert at a time, please; --serve takes several";
        return false;
    }
    return true;
}

std::vector<std::u16string> CommandLine::help() {
    return {
        u"brevant-host [options] ALERT.json        shows one alert and reports what became of it",
        u"brevant-host [options] --serve [ALERT.json ...]",
        u"                                         shows the alerts, then stays until SIGINT or SIGTERM",
        u"brevant-host [--store FILE] --set NAME=VALUE | --get NAME | --remove NAME | --list ...",
        u"                                         reads and changes the settings, in the given order",
        u"",
        u"  --bus own           the module opens the message bus by itself (the default)",
        u"  --bus handed-over   the host opens it and hands it over",
        u"  --store FILE        the settings file, usually Corvane/Brevant/settings.json in the",
        u"                      common data folder",
        u"  --help              this text",
        u"",
        u"An alert file holds one alert description as JSON; \"instanceId\" is always the broker's.",
        u"A product without the setting Brevant/Product/<product> is served by the example plugin.",
        u"",
        u"Exit code: 0 the outcome is known, the host ended as asked, the settings are changed;",
        u"1 an alert failed or has no outcome, or something else went wrong; 2 the command line or",
        u"an alert file makes no sense.",
    };
}

}  // namespace Host
