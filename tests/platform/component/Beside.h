#pragma once

#include "support/Beside.h"
