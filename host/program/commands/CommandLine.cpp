// The only file that knows the library which reads the arguments: it takes long to compile.
#include "host/program/commands/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <sstream>

#include "host/program/viewer/ConsoleViewer.h"
#include "platform/Files.h"
#include "text/Utf.h"

namespace Host {
namespace {

constexpr const char* outcomes =
    "  0 an action was chosen, 10 dismissed, 11 timed out, 12 suppressed, 13 failed,\n"
    "  14 withdrawn, 15 lost with its session or host, 16 no outcome; of several the highest";

std::u16string text(const std::string& argument) {
    return Ferrow::toUtf16(argument);
}

std::u16string path(const std::string& argument) {
    return argument == "-" ? u"-" : Platform::portablePath(argument);
}

std::vector<std::u16string> paths(const std::vector<std::string>& arguments) {
    std::vector<std::u16string> result;
    result.reserve(arguments.size());
    for (const std::string& argument : arguments)
        result.push_back(path(argument));
    return result;
}

// As the arguments give it.
struct Given {
    std::string bus, store, answer, id, instance, name, value, pattern;
    std::vector<std::string> files;
    bool quiet = false, json = false, viewer = false, noWait = false, handOver = false, noStandIn = false,
         server = false, isVolatile = false, paths = false, sarif = false;
    unsigned grace = 10;

    std::optional<FixedAnswer> fixedAnswer() const {
        if (answer.empty())
            return std::nullopt;
        if (answer == "dismiss")
            return FixedAnswer{FixedAnswer::Kind::dismiss, {}};
        if (answer == "timeout")
            return FixedAnswer{FixedAnswer::Kind::timeout, {}};
        return FixedAnswer{FixedAnswer::Kind::action, text(answer)};
    }
};

class Parser {
public:
    Parser() {
        app_.set_version_flag("--version", "brevant " BREVANT_VERSION);
        // "/" begins a path.
        app_.allow_windows_style_options(false);
        app_.require_subcommand(1);
        app_.get_formatter()->column_width(26);
        app_.footer(
            "\"brevant COMMAND --help\" tells more, with an example.\n\n"
            "Exit codes: 0 done, 1 not done, 2 the command line or a file makes no sense, 3 no host\n"
            "answers, 4 a host or viewer of that name runs already, 5 the host left without waiting.\n"
            "What became of an alert (show):\n" +
            std::string(outcomes) + ".");
        addHost();
        addShow();
        addDelete();
        addViewer();
        addSettings();
        addStatus();
        addWatch();
        addCheck();
    }

    std::variant<CommandLine, Saying> parse(const std::vector<std::u16string>& arguments) {
        std::vector<std::string> reversed;
        reversed.reserve(arguments.size());
        for (const std::u16string& argument : arguments)
            reversed.push_back(Ferrow::toUtf8(argument));
        std::ranges::reverse(reversed);
        try {
            app_.parse(std::move(reversed));
        } catch (const CLI::Success& success) {
            std::ostringstream out;
            app_.exit(success, out, out);
            std::string said = out.str();
            said.erase(said.find_last_not_of('\n') + 1);
            return Saying{false, text(said)};
        } catch (const CLI::ParseError& error) {
            return Saying{true, text(std::string(error.what()) + "; --help says what can be done")};
        }
        if (given_.store == "-")
            return Saying{true, u"--store takes a file, not standard input"};
        if (given_.server && !given_.bus.empty())
            return Saying{true, u"--server brings its own bus: it goes without --bus"};
        if (std::ranges::count(given_.files, "-") > 1)
            return Saying{true, u"standard input can be read but once"};
        CommandLine result;
        result.bus = text(given_.bus);
        result.quiet = given_.quiet;
        result.json = given_.json;
        result.command = make_();
        return result;
    }

private:
    using Command = decltype(CommandLine::command);

    CLI::App* addWithoutBus(CLI::App& parent, const std::string& name, const std::string& what,
                            const std::string& more, std::function<Command()> make) {
        CLI::App* command = parent.add_subcommand(name, what);
        command->footer(more);
        command->add_flag("--quiet", given_.quiet, "no output but the asked one, and errors");
        command->callback([this, make = std::move(make)] { make_ = make; });
        return command;
    }
    CLI::App* add(CLI::App& parent, const std::string& name, const std::string& what, const std::string& more,
                  std::function<Command()> make) {
        CLI::App* command = addWithoutBus(parent, name, what, more, std::move(make));
        command
            ->add_option("--bus", given_.bus,
                         "\"embedded\", which lives in this process alone, or nats://127.0.0.1:PORT;\n"
                         "usually what BREVANT_BUS says, else embedded")
            ->type_name("BUS");
        return command;
    }
    void addJson(CLI::App* command) {
        command->add_flag("--json", given_.json, "one JSON object a line, for programs");
    }
    void addStore(CLI::App* command) {
        command
            ->add_option("--store", given_.store,
                         "the settings file, usually Corvane/Brevant/settings.json in the\n"
                         "common data folder")
            ->type_name("FILE");
    }
    void addAnswer(CLI::App* command) {
        command
            ->add_option("--answer", given_.answer,
                         "answers alerts where nobody is at a terminal: \"dismiss\", \"timeout\"\n"
                         "or an action by its number, id or text")
            ->type_name("dismiss|timeout|ACTION");
    }
    void addHandOver(CLI::App* command) {
        command->add_flag("--hand-over-bus", given_.handOver,
                          "the module is handed the bus instead of opening it by itself");
    }

    void addHost() {
        CLI::App* command =
            add(app_, "host", "The broker that stays up: module, settings manager, session notifications",
                "It stays until SIGINT or SIGTERM: then alerts on screen are taken down and the module is\n"
                "stopped. A second signal ends it at once.\n\n"
                "Example: brevant host --server\n\n"
                "Exit codes: 0 ended as asked, 2 an alert file makes no sense, 4 a host runs already on\n"
                "this bus, 5 left after the grace time with what still held it, 1 anything else.",
                [this]() -> Command {
                    return HostOptions{paths(given_.files),
                                       path(given_.store),
                                       given_.viewer,
                                       given_.fixedAnswer(),
                                       std::chrono::seconds(given_.grace),
                                       given_.handOver,
                                       !given_.noStandIn,
                                       given_.server};
                });
        command->add_option("FILE", given_.files, "alerts to show; \"-\" for standard input")->type_name("");
        command->add_flag("--server", given_.server,
                          "starts a server of its own on this machine, and ends it: products, viewers\n"
                          "and the other commands find it by themselves");
        command->add_flag("--viewer", given_.viewer, "shows alerts on this terminal, too");
        addAnswer(command);
        command
            ->add_option("--grace", given_.grace, "how long alerts and plugins may take to end, usually 10")
            ->type_name("SECONDS");
        addStore(command);
        addHandOver(command);
        command->add_flag("--no-example-plugin", given_.noStandIn,
                          "the example plugin does not serve products that have none");
    }

    void addShow() {
        CLI::App* command = add(
            app_, "show", "Publishes alerts and tells what becomes of them",
            "Without a host, on the embedded bus, it plays host, viewer and product in itself.\n\n"
            "Example: brevant show --json restart.json update.json\n\n"
            "Exit codes:\n" +
                std::string(outcomes) + ";\n  2 a file makes no sense, 3 no host answers, 1 anything else",
            [this]() -> Command {
                return ShowOptions{paths(given_.files), path(given_.store), given_.fixedAnswer(),
                                   !given_.noWait, given_.handOver};
            });
        command->add_option("FILE", given_.files, "alerts, one JSON object each; \"-\" for standard input")
            ->type_name("")
            ->required();
        command->add_flag("--no-wait", given_.noWait, "ends as soon as the broker has taken the alerts");
        addJson(command);
        addAnswer(command);
        addStore(command);
        addHandOver(command);
    }

    void addDelete() {
        CLI::App* command =
            add(app_, "delete", "Withdraws an alert",
                "N is the instance of an alert on screen, or the id of one that waits.\n\n"
                "Example: brevant delete 17\n\n"
                "Exit codes: 0 withdrawn, 1 there is no such alert, 2 N is no number, 3 no host answers.",
                [this]() -> Command { return DeleteOptions{text(given_.instance)}; });
        command->add_option("N", given_.instance, "the alert")->type_name("")->required();
        addJson(command);
    }

    void addViewer() {
        CLI::App* command =
            add(app_, "viewer", "Shows alerts on this terminal",
                "It stays until SIGINT or SIGTERM, also while the host is away. Without a terminal it needs\n"
                "--answer: what nobody has seen is not reported as dismissed by a user.\n\n"
                "Example: brevant viewer --id console\n\n"
                "Exit codes: 0 ended as asked, 2 no terminal and no --answer, 3 no host answers, 4 a viewer\n"
                "of that id runs already, 1 anything else.",
                [this]() -> Command {
                    return ViewerOptions{text(given_.id), given_.fixedAnswer()};
                });
        given_.id = Ferrow::toUtf8(ConsoleViewer::usualId);
        command->add_option("--id", given_.id, "how alerts name it, usually \"console\"")->type_name("ID");
        addJson(command);
        addAnswer(command);
    }

    void addSettings() {
        CLI::App* settings = app_.add_subcommand("settings", "Reads and changes the settings");
        settings->require_subcommand(1);
        settings->footer(
            "They are the running host's; when none runs, those in the file, and that is said.\n\n"
            "Example: brevant settings set Brevant/Product/Example "
            "'{\"pluginFile\":\"p.so\",\"pluginPath\":\"/opt/p\"}'");
        const auto addOne = [&](const std::string& name, const std::string& what, const std::string& example,
                                SettingsOptions::Action action) {
            CLI::App* command = add(
                *settings, name, what,
                "Example: brevant settings " + example +
                    "\n\nExit codes: 0 done, 1 there is no such setting or it cannot be stored, 3 no host\n"
                    "answers where one is needed.",
                [this, action]() -> Command {
                    return SettingsOptions{action, text(given_.name), text(given_.value), given_.isVolatile,
                                           path(given_.store)};
                });
            addStore(command);
            return command;
        };
        const auto addName = [this](CLI::App* command) {
            command->add_option("NAME", given_.name, "of the setting")->type_name("")->required();
        };
        const auto addPrefix = [this](CLI::App* command) {
            command->add_option("PREFIX", given_.name, "of the names; all without one")->type_name("");
        };
        using Action = SettingsOptions::Action;
        CLI::App* get = addOne("get", "Prints a value", "get Brevant/Viewer/console", Action::get);
        addName(get);
        addJson(get);
        CLI::App* set =
            addOne("set", "Stores a value", "set --volatile Brevant/Viewer/mine here", Action::set);
        addName(set);
        set->add_option("VALUE", given_.value, "\"-\" for standard input")->type_name("")->required();
        set->add_flag("--volatile", given_.isVolatile, "forgotten with the host");
        addName(addOne("remove", "Removes a setting", "remove Brevant/Viewer/mine", Action::remove));
        CLI::App* list = addOne("list", "Prints names and values", "list Brevant/", Action::list);
        addPrefix(list);
        addJson(list);
        CLI::App* watch = addOne("watch", "Prints changes as they happen", "watch --json", Action::watch);
        addPrefix(watch);
        addJson(watch);
    }

    void addStatus() {
        CLI::App* command =
            add(app_, "status", "Tells whether bus and host answer, and what they are at",
                "Example: brevant status --json\n\nExit codes: 0 a host answers, 3 none does.",
                [this]() -> Command { return StatusOptions{given_.paths}; });
        command->add_flag("--paths", given_.paths, "prints the files and folders in use instead");
        addJson(command);
    }

    void addWatch() {
        CLI::App* command =
            add(app_, "watch", "Prints the messages on the bus as they pass",
                "Example: brevant watch 'Brevant\\.Alert\\..+'\n\n"
                "Exit codes: 0 ended as asked, 2 the pattern makes no sense, 3 nobody else is on the bus.",
                [this]() -> Command { return WatchOptions{text(given_.pattern)}; });
        given_.pattern = ".*";
        command
            ->add_option("PATTERN", given_.pattern,
                         "an ECMAScript regular expression for whole names; all without one")
            ->type_name("");
        addJson(command);
    }

    void addCheck() {
        CLI::App* check =
            app_.add_subcommand("check", "Looks for mistakes in what was written for the broker");
        check->require_subcommand(1);
        check->footer("Example: brevant check alert restart.json");
        CLI::App* alert = addWithoutBus(
            *check, "alert", "Tells all that is wrong with descriptions of alerts",
            "Errors are what the broker refuses or does not see the outcome of, warnings what does not\n"
            "count as written; notes are by the way. docs/alerts.md lists the rules.\n\n"
            "Example: brevant check alert --sarif restart.json update.json\n\n"
            "Exit codes: 0 neither error nor warning, 1 some, 2 a file cannot be read.",
            [this]() -> Command {
                return CheckAlertOptions{paths(given_.files), given_.sarif};
            });
        alert->add_option("FILE", given_.files, "one JSON object each; \"-\" for standard input")
            ->type_name("")
            ->required();
        addJson(alert);
        alert->add_flag("--sarif", given_.sarif, "one SARIF 2.1.0 object for all files, for programs")
            ->excludes("--json");
    }

    Given given_;
    std::function<Command()> make_;
    CLI::App app_{"brevant, the alert broker's program", "brevant"};
};

}  // namespace

std::variant<CommandLine, Saying> parseCommandLine(const std::vector<std::u16string>& arguments) {
    return Parser().parse(arguments);
}

}  // namespace Host
