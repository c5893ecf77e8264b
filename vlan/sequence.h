// The VLAN membership commands and the access/trunk port modes are each one fixed column of chip
// calls on one VLAN id. They share one runner so that the VLAN-table question, the stop at the
// first failing call and the shape of the error record are written once; a command is a row of
// data naming its existence rule and its calls.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "driver/esw_driver.h"
#include "driver/esw_log.h"
#include "platform/host_abi.h"

namespace esw::vlan {

using Log = esw::Log<esw::Src::ioctl>;

// What the VLAN table must answer before the first call is made.
enum class Exists : uint8_t {
    none,                   // the table is not asked
    absent_fails,           // not in the table: 1, no record
    present_succeeds,       // already in the table: 0, no further call
    not_exactly_one_fails,  // any answer but exactly 1: 1, no record
};

// The values that a failed step's record carries (after the command's name and the step's text).
enum class Report : uint8_t {
    status,                // result
    vlan_status,           // VLAN id, result
    port_status,           // port, result
    line_port_status,      // source line, port, result
    line_port_status_vlan  // source line, port, result, VLAN id
};

// One chip-layer call with its fixed flags; device and port arrive as their low 8 bits.
struct Call {
    const char* what;  // names the step in the error record
    esw::Expect rule;  // how the call reports success
    int64_t (*make)(uint8_t dev, uint8_t port, uint32_t vlan);
};

struct Step {
    const Call* call;  // null ends the sequence
    Report report;
};

inline constexpr std::size_t kMaxSteps = 7;

struct Sequence {
    const char* name;  // the operation, first in every record
    Exists exists;
    std::array<Step, kMaxSteps> steps;
};

// Runs `seq` for `vlan` on `port`: 0 when every call succeeds, 1 at the first that fails (one
// record) or when the existence rule refuses.
uint32_t run(const Sequence& seq, uint32_t dev, uint32_t port, uint32_t vlan);

// Same, with the VLAN id read from an EswVlanRequest; a missing request is refused with a record.
uint32_t run_request(const Sequence& seq, uint32_t dev, uint32_t port, const void* request);

// ---- the calls ----------------------------------------------------------------------------------

inline constexpr Call kCreateVlan{
    "create vlan", esw::Expect::one,
    [](uint8_t d, uint8_t, uint32_t v) -> int64_t { return asic_create_vlan(d, v); }};
// Access mode needs its VLAN in the table but must not ask the chip to create one twice.
inline constexpr Call kCreateVlanIfAbsent{"create vlan", esw::Expect::one,
                                          [](uint8_t d, uint8_t, uint32_t v) -> int64_t {
                                              if (asic_vlan_exists(d, v) != 0) return 1;
                                              return asic_create_vlan(d, v);
                                          }};
inline constexpr Call kDeleteVlan{
    "delete vlan", esw::Expect::one,
    [](uint8_t d, uint8_t, uint32_t v) -> int64_t { return asic_delete_vlan(d, v); }};
inline constexpr Call kAllowOnDataPlane{
    "allow vlan on the data-plane port", esw::Expect::zero,
    [](uint8_t d, uint8_t, uint32_t v) -> int64_t { return mrvl_esw_allow_vlan_on_dataplane_port(d, v); }};
inline constexpr Call kJoin{
    "add port to vlan", esw::Expect::one,
    [](uint8_t d, uint8_t p, uint32_t v) -> int64_t { return peridot_set_port_allowed_vlan(d, p, v, 1); }};
inline constexpr Call kLeave{
    "remove port from vlan", esw::Expect::one,
    [](uint8_t d, uint8_t p, uint32_t v) -> int64_t { return peridot_set_port_allowed_vlan(d, p, v, 0); }};
inline constexpr Call kTagged{
    "send vlan tagged", esw::Expect::one,
    [](uint8_t d, uint8_t p, uint32_t v) -> int64_t { return peridot_set_tagging_on_port(d, p, v, 1); }};
inline constexpr Call kUntagged{
    "send vlan untagged", esw::Expect::one,
    [](uint8_t d, uint8_t p, uint32_t v) -> int64_t { return peridot_set_tagging_on_port(d, p, v, 0); }};
inline constexpr Call kDefaultVlan{
    "set default vlan", esw::Expect::one,
    [](uint8_t d, uint8_t p, uint32_t v) -> int64_t { return peridot_set_default_source_vlan_id(d, p, v); }};
inline constexpr Call kNativeOn{
    "allow native vlan", esw::Expect::one,
    [](uint8_t d, uint8_t p, uint32_t) -> int64_t { return peridot_set_allow_native(d, p, 1); }};
inline constexpr Call kNativeOff{
    "refuse native vlan", esw::Expect::one,
    [](uint8_t d, uint8_t p, uint32_t) -> int64_t { return peridot_set_allow_native(d, p, 0); }};
inline constexpr Call kPriorityTaggedOn{
    "allow priority-tagged frames", esw::Expect::one,
    [](uint8_t d, uint8_t p, uint32_t) -> int64_t { return peridot_allow_priority_tagged(d, p, 1); }};
inline constexpr Call kPriorityTaggedOff{
    "refuse priority-tagged frames", esw::Expect::one,
    [](uint8_t d, uint8_t p, uint32_t) -> int64_t { return peridot_allow_priority_tagged(d, p, 0); }};
inline constexpr Call kDot1qOn{
    "enable 802.1q mode", esw::Expect::one,
    [](uint8_t d, uint8_t p, uint32_t) -> int64_t { return peridot_enable_8021q_mode(d, p); }};

}  // namespace esw::vlan
