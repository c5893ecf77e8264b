// Transitional: a subsystem whose commands are not written yet answers every call with a logged
// failure. Each subsystem folder removes its pending.cpp when its real handlers land.
#pragma once

#include "driver/esw_driver.h"
#include "driver/esw_log.h"
#include "driver/internal.h"

#define ESW_PENDING(name)                                                               \
    do {                                                                                \
        esw::Log<esw::Src::drv>::error("%s: not available in this build yet", #name);   \
        return 1;                                                                       \
    } while (0)
