// Answers alerts where no user is.
#pragma once

#include <string>

#include "host/program/output/Console.h"
#include "host/program/viewer/AlertDisplay.h"

namespace Host {

struct FixedAnswer {
    enum class Kind { dismiss, timeout, action };
    Kind kind = Kind::dismiss;
    std::u16string action;  // its number, counted from 1, its id or its text
};

// Prints each card, and dismisses it, lets its time pass or chooses the action at once. An alert without that
// action is dismissed.
class AnswerDisplay final : public AlertDisplay {
public:
    // The console outlives the display.
    AnswerDisplay(Console& console, FixedAnswer answer) : console_(console), answer_(std::move(answer)) {}

    std::unique_ptr<Showing> show(const DisplayedAlert& alert) override;

private:
    Console& console_;
    const FixedAnswer answer_;
};

}  // namespace Host
