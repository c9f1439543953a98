// An alert drawn for a terminal.
#pragma once

#include <string>
#include <vector>

#include "host/program/viewer/DisplayedAlert.h"

namespace Host {

// Actions that a digit key can choose.
constexpr size_t cardActions = 9;

// The card's lines: a frame with the title, the texts, the options and the actions, each with its key.
// Harmless (TerminalText.h), none wider than the terminal, which counts as 24 to 100 columns wide, and of
// bounded height whatever the alert holds.
std::vector<std::u16string> alertCard(const DisplayedAlert& alert, size_t terminalColumns);

}  // namespace Host
