// The switch driver as the appliance's port manager meets it: a shared library opened at run
// time whose entry points are looked up by name. Nothing here is linked against the library.
#pragma once

#include <cstdint>
#include <string>

#include "driver/esw_types.h"

namespace eswctl {

struct Driver {
    using DevMain = int32_t (*)();
    using Open = int32_t (*)(EswFrameworkHandle*, const char*);
    using Close = EswFrameworkHandle* (*)(EswFrameworkHandle*);
    using Ioctl = int32_t (*)(EswFrameworkHandle*, uint32_t, void*);
    using AllLeds = int32_t (*)();
    using PortLeds = int32_t (*)(int32_t);

    std::string path;
    void* library = nullptr;  // never closed: the driver's receive thread runs until the process ends
    // Required entry points.
    DevMain devmain = nullptr;
    Open open = nullptr;
    Close close = nullptr;
    Ioctl ioctl = nullptr;
    // Exported extras: absent ones are reported when a command needs them.
    AllLeds setLinkSpeedLeds = nullptr;
    PortLeds setPortSpeedLed = nullptr;
    EswCpuPortStats* cpuStats = nullptr;  // eswCpuStats[25]
    const uint64_t* ucAclHandle = nullptr;
    const uint64_t* mcAclHandle = nullptr;
};

// dlopen + dlsym. On failure returns false and says why (dlerror's text or the missing name).
bool load_driver(const std::string& path, Driver* out, std::string* why);

}  // namespace eswctl
