// How the program ends. --help and docs/program.md list the same.
#pragma once

namespace Host {

enum ExitCode : int {
    exitDone = 0,      // done as asked; of an alert: an action was chosen
    exitFailed = 1,    // something could not be done
    exitBadInput = 2,  // the command line, a file or a pattern makes no sense
    exitNobody = 3,    // no host answers on the bus
    exitRefused = 4,   // a host runs already, or a viewer of that name
    exitHeld = 5,      // the host left without waiting for alerts or plugins any longer
    // What became of an alert; of several alerts the highest counts.
    exitDismissed = 10,
    exitTimedOut = 11,
    exitSuppressed = 12,
    exitAlertFailed = 13,
    exitWithdrawn = 14,
    exitLost = 15,     // with its user's session, or with the host
    exitUnknown = 16,  // refused by the broker, or without an outcome
};

}  // namespace Host
