// The words the shell shares with the driver's interface: link-type names, command names and how
// each command takes its argument. Data only, checked at compile time.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace eswctl {

// One host speed-type code. `text` is the driver's own name of the code; `token` is what a user
// types. autoMode/speed/duplex are what the code programs into the chip (autoMode -1: no auto-mode
// call), used only to name a port's configuration back in `show ports`.
struct LinkType {
    uint32_t code;
    const char* token;
    const char* text;
    int autoMode;
    uint32_t speed;
    uint32_t duplex;
};

inline constexpr std::array<LinkType, 18> kLinkTypes = {{
    {0, "unknown", "Unknown", 7, 2, 0},
    {1, "10/half", "10 Mbps / Half", 11, 0, 0},
    {2, "100/half", "100 Mbps / Half", 9, 1, 0},
    {3, "10/full", "10 Mbps / Full", 10, 0, 1},
    {4, "100/full", "100 Mbps / Full", 8, 1, 1},
    {5, "auto", "Auto / Auto", 0, 15, 1},
    {6, "10/auto", "10 Mbps / Auto", 3, 2, 1},
    {7, "100/auto", "100 Mbps / Auto", 2, 2, 1},
    {8, "1000/auto", "1000 Mbps / Auto", 1, 2, 1},
    {9, "auto/full", "Auto / Full", 4, 15, 1},
    {10, "auto/half", "Auto / Half", 5, 15, 0},
    {11, "1000/full", "1000 Mbps / Full", 6, 2, 1},
    {12, "1000/full-nonegotiate", "1000 Mbps Nonegotiate / Full", -1, 2, 1},
    {13, "10000/full", "10000 Mbps / Full", -1, 0, 0},
    {14, "12000/full", "12000 Mbps / Full", -1, 0, 0},
    {15, "nospeed", "NoSpeed", 4, 2, 1},
    {16, "40000/full", "40000 Mbps / Full", -1, 0, 0},
    {17, "2500/full", "2500 Mbps / Full", -1, 0, 0},
}};
static_assert([] {
    for (uint32_t i = 0; i < kLinkTypes.size(); ++i)
        if (kLinkTypes[i].code != i) return false;
    return true;
}());

std::optional<uint32_t> link_type_by_token(std::string_view token);
// The driver's text for a speed-type code, "code N" outside the table.
std::string link_type_text(uint32_t code);

// How mrvl_esw_ioctl takes a command's third argument.
enum class ArgForm : uint8_t {
    buffer,    // the address of a request or result record
    value,     // the datum itself, carried in the pointer-sized argument
    callback,  // the address of a receive callback
};

struct CommandName {
    uint32_t number;
    const char* name;
    ArgForm form;
};

// Every named command number (8224 has no name).
extern const std::array<CommandName, 63> kCommandNames;

const CommandName* command_by_number(uint32_t number);
const CommandName* command_by_name(std::string_view name);  // case-insensitive
// "NIC_STATUS" or "8197" for a number without a name.
std::string command_label(uint32_t number);

}  // namespace eswctl
