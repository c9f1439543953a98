#include "host/program/commands/Program.h"

#include <exception>

#include "host/program/connection/HostError.h"
#include "text/Utf.h"

namespace Host {
namespace {

struct Role {
    BusRole operator()(const HostOptions&) const { return BusRole::host; }
    BusRole operator()(const ShowOptions&) const { return BusRole::product; }
    BusRole operator()(const DeleteOptions&) const { return BusRole::product; }
    BusRole operator()(const ViewerOptions&) const { return BusRole::viewer; }
    BusRole operator()(const SettingsOptions&) const { return BusRole::host; }
    BusRole operator()(const StatusOptions&) const { return BusRole::watcher; }
    BusRole operator()(const WatchOptions&) const { return BusRole::watcher; }
    BusRole operator()(const CheckAlertOptions&) const { return BusRole::watcher; }
};

struct BringsItsBus {
    bool operator()(const HostOptions& options) const { return options.startsServer; }
    bool operator()(const CheckAlertOptions&) const { return true; }  // none
    bool operator()(const auto&) const { return false; }
};

struct Run {
    CommandContext& context;

    int operator()(const HostOptions& options) const { return runHost(options, context); }
    int operator()(const ShowOptions& options) const { return runShow(options, context); }
    int operator()(const DeleteOptions& options) const { return runDelete(options, context); }
    int operator()(const ViewerOptions& options) const { return runViewer(options, context); }
    int operator()(const SettingsOptions& options) const { return runSettings(options, context); }
    int operator()(const StatusOptions& options) const { return runStatus(options, context); }
    int operator()(const WatchOptions& options) const { return runWatch(options, context); }
    int operator()(const CheckAlertOptions& options) const { return runCheckAlert(options, context); }
};

}  // namespace

int Program::run(const std::vector<std::u16string>& arguments) {
    try {
        const auto parsed = parseCommandLine(arguments);
        const CommandLine* const commandLine = std::get_if<CommandLine>(&parsed);
        const int result = commandLine ? runCommand(*commandLine) : say(std::get<Saying>(parsed));
        if (!console_.failed())
            return result;
        console_.error(u"the output could not be written");
        return exitFailed;
    } catch (const std::exception& failure) {
        console_.error(Ferrow::toUtf16(failure.what()));
        return exitFailed;
    }
}

int Program::say(const Saying& saying) {
    if (saying.isError) {
        console_.error(saying.text);
        return exitBadInput;
    }
    for (size_t begin = 0, end = 0; end != saying.text.npos; begin = end + 1) {
        end = saying.text.find(u'\n', begin);
        console_.line(saying.text.substr(begin, end - begin));
    }
    return exitDone;
}

int Program::runCommand(const CommandLine& commandLine) {
    console_.adopt({commandLine.quiet, commandLine.json, mayColour && !commandLine.json});
    CommandContext context{console_, user_, stop_, {}, leave_};
    if (!std::visit(BringsItsBus(), commandLine.command)) {
        try {
            context.bus = chooseBus(commandLine.bus, std::visit(Role(), commandLine.command));
        } catch (const HostError& error) {
            console_.error(Ferrow::toUtf16(error.what()));
            return exitBadInput;
        }
    }
    return std::visit(Run{context}, commandLine.command);
}

}  // namespace Host
