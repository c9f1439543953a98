// Where a viewer shows its alerts.
#pragma once

#include <memory>
#include <optional>

#include "host/program/viewer/DisplayedAlert.h"

namespace Host {

// One alert on display, from its making on.
class Showing {
public:
    enum class Ending { dismissed, timedOut, takenDown };
    struct End {
        Ending ending;
        std::optional<size_t> action = {};  // of a dismissal: the action that the user chose
        std::vector<size_t> ticked = {};    // the options that were ticked then
    };

    virtual ~Showing() = default;
    // Blocks until the user is done, the alert's time is over or it is taken down. Called once.
    virtual End wait() = 0;
    // Any thread; also before wait().
    virtual void takeDown() = 0;
};

class AlertDisplay {
public:
    virtual ~AlertDisplay() = default;
    // Puts the alert on display; null when it cannot. The alert outlives what is returned. One thread.
    virtual std::unique_ptr<Showing> show(const DisplayedAlert& alert) = 0;
};

}  // namespace Host
