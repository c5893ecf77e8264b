// The shell's read-only views. They read the simulated host's model (and the driver's exported
// counters) directly, so looking never adds lines to the call journal.
#pragma once

#include "tools/eswctl/shell.h"

namespace eswctl::views {

Outcome ports(Shell& sh, const Args& args, const Flags& flags);
Outcome vlans(Shell& sh, const Args& args, const Flags& flags);
Outcome fdb(Shell& sh, const Args& args, const Flags& flags);
Outcome acl(Shell& sh, const Args& args, const Flags& flags);
Outcome lag(Shell& sh, const Args& args, const Flags& flags);
Outcome mirror(Shell& sh, const Args& args, const Flags& flags);
Outcome storm(Shell& sh, const Args& args, const Flags& flags);
Outcome cpu_stats(Shell& sh, const Args& args, const Flags& flags);
Outcome log(Shell& sh, const Args& args, const Flags& flags);
Outcome journal(Shell& sh, const Args& args, const Flags& flags);
Outcome status(Shell& sh, const Args& args, const Flags& flags);

// The speed LED code of a front-panel port in FPGA register 0x334 (0 off, 1 10M, 2 100M, 3 1G).
uint32_t led_code(uint32_t reg, uint32_t port);

}  // namespace eswctl::views
