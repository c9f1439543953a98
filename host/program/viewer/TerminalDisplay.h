// Shows alerts as cards on the terminal.
#pragma once

#include "host/program/output/Console.h"
#include "host/program/viewer/AlertDisplay.h"

namespace Host {

// On a terminal a digit chooses an action and any other key dismisses. Without one the alert dismisses itself
// after a second.
class TerminalDisplay final : public AlertDisplay {
public:
    explicit TerminalDisplay(Console& console) : console_(console) {}

    std::unique_ptr<Showing> show(const DisplayedAlert& alert) override;

private:
    Console& console_;
};

}  // namespace Host
