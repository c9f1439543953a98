// What every command is given.
#pragma once

#include <functional>

#include "host/program/commands/CommandLine.h"
#include "host/program/connection/BusChoice.h"
#include "host/program/connection/StopRequest.h"
#include "host/program/output/Console.h"
#include "host/program/output/ExitCode.h"
#include "host/program/viewer/AlertDisplay.h"

namespace Host {

struct CommandContext {
    Console& console;
    AlertDisplay* user;  // null: nobody is at a terminal
    StopRequest& stop;
    BusChoice bus;
    std::function<void(int)> leave;  // ends the process at once, whatever still runs
};

// Each returns an ExitCode, and throws HostError when something it needs cannot be had.
int runHost(const HostOptions& options, CommandContext& context);
int runShow(const ShowOptions& options, CommandContext& context);
int runDelete(const DeleteOptions& options, CommandContext& context);
int runViewer(const ViewerOptions& options, CommandContext& context);
int runSettings(const SettingsOptions& options, CommandContext& context);
int runStatus(const StatusOptions& options, CommandContext& context);
int runWatch(const WatchOptions& options, CommandContext& context);
int runCheckAlert(const CheckAlertOptions& options, CommandContext& context);

}  // namespace Host
