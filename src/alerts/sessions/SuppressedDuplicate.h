// The telemetry event of an alert that was refused as a duplicate.
#pragma once

#include "alerts/alert/Alert.h"

namespace Vok {

void reportSuppressedDuplicate(const Alert& alert);

}  // namespace Vok
