#include "host/program/commands/Program.h"

#include <algorithm>
#include <exception>

#include "host/program/output/SystemPath.h"
#include "host/program/service/FileTail.h"
#include "host/program/service/Host.h"
#include "platform/Files.h"
#include "platform/Folders.h"
#include "platform/Process.h"
#include "platform/Signals.h"
#include "text/Utf.h"

namespace Host {
namespace {

constexpr size_t mostReportLines = 200;

// Set by a request to end; whoever waits for it is woken.
class EndFlag {
public:
    void raise() {
        Platform::MutexLock lock(mutex_);
        raised_ = true;
        changed_.notifyAll();
        if (host_)
            host_->cancel();
    }
    // The host whose play ends with it; null before that host goes.
    void attach(Host* host) {
        Platform::MutexLock lock(mutex_);
        host_ = host;
        if (host_ && raised_)
            host_->cancel();
    }
    void wait() {
        Platform::MutexLock lock(mutex_);
        while (!raised_)
            changed_.wait(lock);
    }
    bool raised() {
        Platform::MutexLock lock(mutex_);
        return raised_;
    }

private:
    // Guards the members below; the host is cancelled under it, which takes a leaf.
    Platform::Mutex mutex_;
    Platform::ConditionVariable changed_;
    bool raised_ GUARDED_BY(mutex_) = false;
    Host* host_ GUARDED_BY(mutex_) = nullptr;
};

std::u16string logFolder() {
    std::u16string name = Platform::executablePath();
    name.erase(0, name.rfind(u'\\') + 1);
    name.erase(std::min(name.rfind(u'.'), name.size()));
    return Platform::commonDataFolder() + u"\\Corvane\\CVLOGS\\" + logGroup + u"\\" + name;
}

bool canWriteIn(const std::u16string& folder) {
    const std::u16string probe =
        folder + u"\\probe-" + Ferrow::decimal(Platform::currentProcessId()) + u".tmp";
    if (!Platform::createFolders(folder) || !Platform::appendToFile(probe, {}))
        return false;
    Platform::removeFile(probe);
    return true;
}

bool concerns(const std::u16string& event, const std::vector<AlertFile>& alerts) {
    Tavix::JSONFormatter dimensions;
    std::u16string id;
    if (!dimensions.parse(event) || !dimensions.getString(u"Hit.GUID", id))
        return false;
    return std::any_of(alerts.begin(), alerts.end(),
                       [&](const AlertFile& alert) { return alert.id() == id; });
}

void report(Console& console, const std::u16string& title, const std::vector<std::u16string>& lines) {
    console.line(title + (lines.empty() ? u" none" : u""));
    for (const std::u16string& line : lines)
        console.line(u"  " + line);
}

}  // namespace

int Program::run(const std::vector<std::u16string>& arguments) {
    CommandLine commandLine;
    std::u16string error;
    if (!commandLine.parse(arguments, error)) {
        console_.error(error);
        return exitBadInput;
    }
    try {
        const int result = runTask(commandLine);
        if (!console_.failed())
            return result;
        console_.error(u"the output could not be written");
        return exitFailed;
    } catch (const std::exception& failure) {
        console_.error(Ferrow::toUtf16(failure.what()));
        return exitFailed;
    }
}

int Program::runTask(const CommandLine& commandLine) {
    if (commandLine.task == CommandLine::Task::help) {
        console_.lines(CommandLine::help());
        return exitDone;
    }
    return commandLine.task == CommandLine::Task::settings ? changeSettings(commandLine)
                                                           : runHost(commandLine);
}

int Program::changeSettings(const CommandLine& commandLine) {
    SettingsStore store(commandLine.store.empty() ? usualStore() : commandLine.store);
    if (const std::u16string trouble = store.open(); !trouble.empty())
        console_.error(trouble);
    using Kind = CommandLine::SettingsStep::Kind;
    for (const CommandLine::SettingsStep& step : commandLine.settings) {
        switch (step.kind) {
            case Kind::list:
                for (const Property& property : store.withPrefix(u""))
                    console_.line(property.name + u"=" + property.value);
                break;
            case Kind::get: {
                const std::optional<std::u16string> value = store.get(step.name);
                if (!value) {
                    console_.error(u"there is no setting \"" + step.name + u"\"");
                    return exitFailed;
                }
                console_.line(*value);
                break;
            }
            case Kind::set:
                if (!store.set({{step.name, step.value}}).front()) {
                    console_.error(u"the setting \"" + step.name + u"\" could not be stored");
                    return exitFailed;
                }
                break;
            case Kind::remove:
                if (!store.remove({step.name}).front()) {
                    console_.error(u"there is no setting \"" + step.name +
                                   u"\", or the file could not be written");
                    return exitFailed;
                }
                break;
        }
    }
    return exitDone;
}

int Program::runHost(const CommandLine& commandLine) {
    std::vector<AlertFile> alerts(commandLine.alerts.size());
    for (size_t at = 0; at < alerts.size(); ++at) {
        std::u16string error;
        if (!alerts[at].read(commandLine.alerts[at], error)) {
            console_.error(error);
            return exitBadInput;
        }
    }

    const FileTail logs(logFolder(), u".log");
    const FileTail events(Platform::commonDataFolder(), u"events.jsonl");
    SettingsStore store(commandLine.store.empty() ? usualStore() : commandLine.store);
    if (const std::u16string trouble = store.open(); !trouble.empty())
        console_.error(trouble);

    bool succeeded = true;
    {
        EndFlag end;
        const Platform::Signals signals([&end] { end.raise(); });
        Host host(store, console_, display_, commandLine.handsOverBus);
        end.attach(&host);
        console_.line(host.description());
        for (const AlertFile& alert : alerts)
            succeeded = !end.raised() && host.play(alert) && succeeded;
        if (commandLine.task == CommandLine::Task::serve) {
            if (!end.raised())
                console_.line(u"serving; SIGINT or SIGTERM ends it");
            end.wait();
            succeeded = true;
        }
        end.attach(nullptr);
        host.shutDown();
    }
    const std::vector<std::u16string> logged = logs.newLines(mostReportLines);
    report(console_, u"Log:", logged);
    if (logged.empty() && !canWriteIn(logFolder()))
        console_.error(u"no log file is written: nothing can be created in \"" + shownPath(logFolder()) +
                       u"\"");
    if (!alerts.empty()) {
        std::vector<std::u16string> caused = events.newLines(mostReportLines);
        std::erase_if(caused, [&](const std::u16string& event) { return !concerns(event, alerts); });
        report(console_, u"Telemetry:", caused);
    }
    return succeeded ? exitDone : exitFailed;
}

}  // namespace Host
