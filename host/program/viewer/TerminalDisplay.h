// Shows alerts as cards on the terminal.
#pragma once

#include "host/program/output/Console.h"
#include "host/program/viewer/AlertDisplay.h"

namespace Host {

// A user at the terminal works with the card (AlertCard.h) on a screen of its own. Where the terminal takes
// no escapes the card is printed, and digits, Enter and Escape work. When the terminal goes away the alert is
// taken down: nobody has dismissed it.
class TerminalDisplay final : public AlertDisplay {
public:
    explicit TerminalDisplay(Console& console) : console_(console) {}

    std::unique_ptr<Showing> show(const DisplayedAlert& alert) override;

private:
    Console& console_;
};

}  // namespace Host
