// The runner behind the VLAN membership commands and the access/trunk modes.
#include "vlan/sequence.h"

#include <optional>

#include "vlan/request.h"

namespace esw::vlan {

namespace {

// What the existence rule makes of the table's answer: nothing lets the calls go ahead, a value
// ends the command with that result and without a record.
std::optional<uint32_t> existence_verdict(Exists rule, uint8_t dev, uint32_t vlan) {
    if (rule == Exists::none) return std::nullopt;
    const int32_t answer = asic_vlan_exists(dev, vlan);
    switch (rule) {
        case Exists::none:
            break;
        case Exists::absent_fails:
            if (answer == 0) return 1u;
            break;
        case Exists::present_succeeds:
            if (answer != 0) return 0u;
            break;
        case Exists::not_exactly_one_fails:
            if (answer != 1) return 1u;
            break;
    }
    return std::nullopt;
}

void report_failure(const Sequence& seq, const Step& step, uint32_t port, uint32_t vlan, int64_t status) {
    const auto s = static_cast<int>(status);
    const char* what = step.call->what;
    switch (step.report) {
        case Report::status:
            Log::error("%s: %s failed, status %d", seq.name, what, s);
            return;
        case Report::vlan_status:
            Log::error("%s: %s failed for vlan %u, status %d", seq.name, what, vlan, s);
            return;
        case Report::port_status:
            Log::error("%s: %s failed on port %u, status %d", seq.name, what, port, s);
            return;
        case Report::line_port_status: {
            const esw::Where where{"%s:%d: %s failed on port %u, status %d"};
            Log::error(where, seq.name, static_cast<int>(where.loc.line()), what, port, s);
            return;
        }
        case Report::line_port_status_vlan: {
            const esw::Where where{"%s:%d: %s failed on port %u, status %d, vlan %u"};
            Log::error(where, seq.name, static_cast<int>(where.loc.line()), what, port, s, vlan);
            return;
        }
    }
}

}  // namespace

uint32_t run(const Sequence& seq, uint32_t dev, uint32_t port, uint32_t vlan) {
    const auto dev8 = static_cast<uint8_t>(dev);
    const auto port8 = static_cast<uint8_t>(port);
    if (const std::optional<uint32_t> verdict = existence_verdict(seq.exists, dev8, vlan)) return *verdict;
    for (const Step& step : seq.steps) {
        if (step.call == nullptr) break;
        const int64_t status = step.call->make(dev8, port8, vlan);
        if (!esw::succeeded(status, step.call->rule)) {
            report_failure(seq, step, port, vlan, status);
            return 1;
        }
    }
    return 0;
}

uint32_t run_request(const Sequence& seq, uint32_t dev, uint32_t port, const void* request) {
    if (request == nullptr) {
        Log::error("%s: no request", seq.name);
        return 1;
    }
    return run(seq, dev, port, request_field<uint32_t>(request, offsetof(EswVlanRequest, vlanId)));
}

}  // namespace esw::vlan
