// An alert drawn for a terminal.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/program/output/Console.h"
#include "host/program/viewer/AlertDisplay.h"
#include "host/program/viewer/DisplayedAlert.h"
#include "platform/Terminal.h"

namespace Host {

// The card's lines: a frame with the title, the texts, the options and the actions. Harmless
// (TerminalText.h), none wider than the terminal, which counts as 24 to 100 columns wide, and of bounded
// height whatever the alert holds.
std::vector<std::u16string> alertCard(const DisplayedAlert& alert, size_t terminalColumns);

// A card that the user works with: what does not fit scrolls below the title, which stays.
//
//   1 to 9         choose the action of that number
//   Enter          chooses the action that the mark is on, or else the default one; without actions it
//                  dismisses
//   up, down, Tab  move the mark over options and actions; without any they scroll
//   Page up, down, Home, End   scroll
//   Space          ticks the option that the mark is on, or the only one there is
//   Escape         dismisses
//
// Every other key does nothing.
class AlertCard {
public:
    // The alert outlives the card.
    explicit AlertCard(const DisplayedAlert& alert);

    // The lines that fill such a terminal. left: until the alert's time is over.
    std::vector<StyledLine> draw(Platform::TerminalSize terminal, std::chrono::seconds left);
    // What the key ends the alert with, if it does.
    std::optional<Showing::End> press(char32_t key);

private:
    bool isOption(size_t item) const { return item < ticked_.size(); }
    Showing::End endWith(std::optional<size_t> action) const;
    void move(bool down);
    void tick();
    void scroll(long lines);
    std::u16string help(std::chrono::seconds left) const;

    static constexpr size_t none = SIZE_MAX;

    const DisplayedAlert& alert_;
    std::optional<size_t> default_;
    std::vector<bool> ticked_;  // the options
    size_t marked_ = none;      // an option, or an action after all options
    bool bringsMark_ = false;   // into view, with the next drawing
    size_t top_ = 0;            // the first line of the body that is seen
    size_t page_ = 1;           // lines of it that are
};

}  // namespace Host
