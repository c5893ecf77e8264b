#include "tools/eswctl/views.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include "sim/sim.h"
#include "tools/eswctl/vocabulary.h"

namespace eswctl::views {
namespace {

using nlohmann::json;
constexpr Outcome kOk{};
constexpr uint32_t kLedRegister = 0x334;
constexpr std::array<const char*, 4> kLedNames = {"off", "10M", "100M", "1G"};
constexpr std::array<const char*, 3> kCableSpeeds = {"10", "100", "1000"};
constexpr uint8_t kUnicastList = 255, kMulticastList = 254;  // asic_get_acl_handle list ids

// A text table: a header row and left-aligned columns two blanks apart.
class Table {
public:
    explicit Table(std::vector<std::string> header) { rows_.push_back(std::move(header)); }
    void add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
    std::string text() const {
        std::vector<size_t> width;
        for (const auto& row : rows_)
            for (size_t c = 0; c < row.size(); ++c) {
                if (width.size() <= c) width.push_back(0);
                width[c] = std::max(width[c], row[c].size());
            }
        std::string out;
        for (const auto& row : rows_) {
            std::string line;
            for (size_t c = 0; c < row.size(); ++c) {
                line += row[c];
                if (c + 1 < row.size()) line += std::string(width[c] - row[c].size() + 2, ' ');
            }
            out += line + "\n";
        }
        return out;
    }

private:
    std::vector<std::vector<std::string>> rows_;
};

std::string port_label(uint32_t p) {
    if (p == kDataPlanePort) return "9/dp";
    if (p == kCpuPort) return "10/cpu";
    return std::to_string(p);
}

std::string admin_state(const sim::PortState& s) {
    const bool up = s.allowUnicast && s.allowMulticast && s.allowBroadcast && s.rxEnable && s.txEnable &&
                    !s.powerDown && s.portState == 3;
    const bool down = !s.allowUnicast && !s.allowMulticast && !s.allowBroadcast && !s.rxEnable &&
                      !s.txEnable && s.powerDown && s.portState == 1;
    return up ? "up" : down ? "down" : "partial";
}

std::string cable_rate(const sim::PortState& s) {
    if (!s.linkUp) return "-";
    const std::string speed = s.linkSpeed < kCableSpeeds.size() ? kCableSpeeds[s.linkSpeed] : "?";
    return speed + (s.linkDuplex == 1 ? "/full" : "/half");
}

// The link type whose chip settings the port holds, by the driver's own table of settings.
std::string configured_link(const sim::PortState& s) {
    if (s.cmode2p5G) return "2500/full";
    for (const LinkType& t : kLinkTypes)
        if (t.autoMode >= 0 && static_cast<uint32_t>(t.autoMode) == s.autoMode && t.speed == s.speed &&
            t.duplex == s.duplex)
            return t.token;
    char text[48];
    std::snprintf(text, sizeof text, "auto-mode %u speed %u duplex %u", s.autoMode, s.speed, s.duplex);
    return text;
}

std::vector<uint32_t> ports_of(const std::set<uint8_t>& set) { return {set.begin(), set.end()}; }

std::string list_text(const std::vector<uint32_t>& ports) {
    if (ports.empty()) return "-";
    std::string text;
    for (uint32_t p : ports) text += (text.empty() ? "" : ",") + std::to_string(p);
    return text;
}

void print(Shell& sh, const Flags& f, const json& doc, const std::string& text) {
    if (f.json)
        sh.say_json(doc);
    else
        sh.say(text);
}

}  // namespace

uint32_t led_code(uint32_t reg, uint32_t port) {
    if (port < 1 || port > 8) return 0;
    const uint32_t shift = port <= 4 ? 2 * (port - 1) : 2 * (port + 3);
    return (reg >> shift) & 3;
}

Outcome ports(Shell& sh, const Args&, const Flags& f) {
    const auto& fpga = sim::fpga();
    const uint32_t leds = fpga.count(kLedRegister) ? fpga.at(kLedRegister) : 0;  // absent reads 0
    Table table({"PORT", "ADMIN", "LINK", "SPEED", "CONFIG", "MRU", "PVID", "802.1Q", "LEARN", "LED"});
    json rows = json::array();
    for (uint32_t p = kFirstPort; p <= kLastPort; ++p) {
        const sim::PortState& s = sim::port(static_cast<uint8_t>(p));
        const bool hasLed = p <= 8;
        const std::string led = hasLed ? kLedNames[led_code(leds, p)] : "-";
        table.add({port_label(p), admin_state(s), s.linkUp ? "up" : "down", cable_rate(s), configured_link(s),
                   std::to_string(s.mtu), std::to_string(s.defaultVlan), s.dot1q ? "on" : "off",
                   s.learning ? "on" : "off", led});
        rows.push_back({{"port", p},
                        {"admin", admin_state(s)},
                        {"link", s.linkUp ? "up" : "down"},
                        {"speed", cable_rate(s)},
                        {"config", configured_link(s)},
                        {"mru", s.mtu},
                        {"pvid", s.defaultVlan},
                        {"dot1q", s.dot1q},
                        {"learning", s.learning},
                        {"led", hasLed ? json(led) : json(nullptr)}});
    }
    char footer[64];
    std::snprintf(footer, sizeof footer, "LED register 0x334 = 0x%08x", leds);
    print(sh, f, {{"ports", rows}, {"ledRegister", leds}}, table.text() + footer);
    return kOk;
}

Outcome vlans(Shell& sh, const Args&, const Flags& f) {
    std::vector<std::string> header = {"VLAN"};
    for (uint32_t p = kFirstPort; p <= kLastPort; ++p) header.push_back(std::to_string(p));
    Table table(header);
    json rows = json::array();
    for (const auto& [id, entry] : sim::chip().device.vlans) {
        std::vector<std::string> row = {std::to_string(id)};
        std::vector<uint32_t> untagged, tagged;
        for (uint8_t p : entry.members) (entry.tagged.count(p) ? tagged : untagged).push_back(p);
        for (uint32_t p = kFirstPort; p <= kLastPort; ++p) {
            const bool member = entry.members.count(static_cast<uint8_t>(p)) != 0;
            row.push_back(!member ? "." : entry.tagged.count(static_cast<uint8_t>(p)) ? "T" : "U");
        }
        table.add(row);
        rows.push_back({{"vlan", id}, {"untagged", untagged}, {"tagged", tagged}});
    }
    print(sh, f, {{"vlans", rows}}, table.text() + "U untagged member, T tagged member, . not a member");
    return kOk;
}

Outcome fdb(Shell& sh, const Args&, const Flags& f) {
    Table table({"VLAN", "MAC", "TYPE", "PORTS", "GROUP"});
    json rows = json::array();
    for (const auto& [vlan, entries] : sim::chip().device.staticMacs) {
        for (const auto& [mac, entry] : entries) {
            std::vector<uint32_t> ports;
            for (const EswMacPortEntry& e : entry.ports) ports.push_back(e.port);
            table.add({std::to_string(vlan), mac, "static", list_text(ports),
                       entry.groupWord ? std::to_string(*entry.groupWord) : "-"});
            rows.push_back({{"vlan", vlan},
                            {"mac", mac},
                            {"type", "static"},
                            {"ports", ports},
                            {"group", entry.groupWord ? json(*entry.groupWord) : json(nullptr)}});
        }
    }
    for (uint32_t p = 0; p < sim::kPortCount; ++p) {
        for (const auto& learned : sim::port(static_cast<uint8_t>(p)).dynamicMacs) {
            const std::string mac = lacp::mac_text(learned.mac);
            table.add({std::to_string(learned.vlan), mac, "dynamic", std::to_string(p), "-"});
            rows.push_back({{"vlan", learned.vlan},
                            {"mac", mac},
                            {"type", "dynamic"},
                            {"ports", {p}},
                            {"group", nullptr}});
        }
    }
    const uint16_t age = sim::chip().device.ageTime;
    print(sh, f, {{"entries", rows}, {"ageTime", age}},
          table.text() + "age time " + std::to_string(age) + " s");
    return kOk;
}

Outcome acl(Shell& sh, const Args&, const Flags& f) {
    auto& lists = sim::chip().device.aclMembers;
    const std::set<uint8_t> uc = lists.count(kUnicastList) ? lists[kUnicastList] : std::set<uint8_t>{};
    const std::set<uint8_t> mc = lists.count(kMulticastList) ? lists[kMulticastList] : std::set<uint8_t>{};
    Table table({"PORT", "UNICAST", "MULTICAST"});
    json rows = json::array();
    for (uint32_t p = kFirstPort; p <= kLastPort; ++p) {
        const char* u = uc.count(static_cast<uint8_t>(p)) ? "individual" : "promiscuous";
        const char* m = mc.count(static_cast<uint8_t>(p)) ? "individual" : "promiscuous";
        table.add({port_label(p), u, m});
        rows.push_back({{"port", p}, {"unicast", u}, {"multicast", m}});
    }
    const Driver& d = sh.driver();
    char handles[128];
    std::snprintf(handles, sizeof handles, "list handles: unicast 0x%llx, multicast 0x%llx",
                  static_cast<unsigned long long>(d.ucAclHandle ? *d.ucAclHandle : 0),
                  static_cast<unsigned long long>(d.mcAclHandle ? *d.mcAclHandle : 0));
    print(sh, f,
          {{"ports", rows},
           {"unicastMembers", ports_of(uc)},
           {"multicastMembers", ports_of(mc)},
           {"unicastHandle", d.ucAclHandle ? *d.ucAclHandle : 0},
           {"multicastHandle", d.mcAclHandle ? *d.mcAclHandle : 0}},
          table.text() + "individual: member of the list; " + handles);
    return kOk;
}

Outcome lag(Shell& sh, const Args&, const Flags& f) {
    std::map<uint16_t, std::vector<uint32_t>> channels;
    for (uint32_t p = 0; p < sim::kPortCount; ++p)
        if (auto c = sim::port(static_cast<uint8_t>(p)).channel) channels[*c].push_back(p);
    Table table({"CHANNEL", "MEMBERS"});
    json rows = json::array();
    for (const auto& [channel, members] : channels) {
        table.add({std::to_string(channel), list_text(members)});
        rows.push_back({{"channel", channel}, {"members", members}});
    }
    print(sh, f, {{"channels", rows}}, channels.empty() ? "no port channels" : table.text());
    return kOk;
}

Outcome mirror(Shell& sh, const Args&, const Flags& f) {
    std::vector<uint32_t> destinations;
    json sources = json::array();
    Table table({"PORT", "ROLE"});
    for (uint32_t p = 0; p < sim::kPortCount; ++p) {
        const sim::PortState& s = sim::port(static_cast<uint8_t>(p));
        if (s.mirrorDest) {
            destinations.push_back(p);
            table.add({port_label(p), "destination"});
        }
        if (s.mirrorSourceMode) {
            sources.push_back({{"port", p}, {"mode", *s.mirrorSourceMode}});
            table.add({port_label(p), "source, mode " + std::to_string(*s.mirrorSourceMode)});
        }
    }
    const bool none = destinations.empty() && sources.empty();
    print(sh, f, {{"destinations", destinations}, {"sources", sources}},
          none ? "no mirroring" : table.text());
    return kOk;
}

Outcome storm(Shell& sh, const Args&, const Flags& f) {
    Table table({"PORT", "UNICAST", "MULTICAST", "BROADCAST"});
    json rows = json::array();
    constexpr std::array<const char*, 3> kKinds = {"unicast", "multicast", "broadcast"};
    for (uint32_t p = kFirstPort; p <= kLastPort; ++p) {
        const sim::PortState& s = sim::port(static_cast<uint8_t>(p));
        std::vector<std::string> row = {port_label(p)};
        json entry = {{"port", p}};
        for (size_t k = 0; k < kKinds.size(); ++k) {
            const sim::StormSetting& st = s.storm[k];
            row.push_back(st.enable ? "rate " + std::to_string(st.rate) : "off");
            entry[kKinds[k]] = {{"enabled", st.enable}, {"rate", st.rate}, {"mode", st.mode}};
        }
        table.add(row);
        rows.push_back(entry);
    }
    print(sh, f, {{"ports", rows}}, table.text());
    return kOk;
}

Outcome cpu_stats(Shell& sh, const Args&, const Flags& f) {
    const EswCpuPortStats* stats = sh.cpu_stats();
    if (!stats) return Outcome::fail("the CPU counters are not available from this driver");
    Table table({"ENTRY", "TX-PKTS", "TX-DROPS", "TX-BYTES", "RX-PKTS", "RX-DROPS", "RX-BYTES"});
    json rows = json::array();
    // Entry n = (slot - 1) * 16 + port: 1-8 are the front-panel ports, 0 collects the rest.
    for (uint32_t n = 0; n < 25; ++n) {
        const EswCpuPortStats& e = stats[n];
        const bool any = e.txPackets || e.txDrops || e.txBytes || e.rxPackets || e.rxDrops || e.rxBytes;
        if (n > 8 && !any) continue;
        const std::string name = n == 0   ? "0/other"
                                 : n <= 8 ? "port " + std::to_string(n)
                                          : std::to_string(n);
        table.add({name, std::to_string(e.txPackets), std::to_string(e.txDrops), std::to_string(e.txBytes),
                   std::to_string(e.rxPackets), std::to_string(e.rxDrops), std::to_string(e.rxBytes)});
        rows.push_back({{"entry", n},
                        {"txPackets", e.txPackets},
                        {"txDrops", e.txDrops},
                        {"txBytes", e.txBytes},
                        {"rxPackets", e.rxPackets},
                        {"rxDrops", e.rxDrops},
                        {"rxBytes", e.rxBytes}});
    }
    print(sh, f, {{"entries", rows}, {"source", sh.cpu_stats_source()}}, table.text());
    return kOk;
}

Outcome log(Shell& sh, const Args&, const Flags& f) {
    json rows = json::array();
    std::string text;
    for (const sim::LogRecord& r : sim::logs()) {
        rows.push_back(
            {{"level", r.level}, {"module", r.module}, {"location", r.location}, {"message", r.message}});
        text += "<" + std::to_string(r.level) + "> " + r.module + " " + r.location + " " + r.message + "\n";
    }
    print(sh, f, rows, text.empty() ? "log is empty" : text);
    return kOk;
}

Outcome journal(Shell& sh, const Args& a, const Flags& f) {
    const std::vector<sim::Call> calls = sim::calls();
    const uint64_t count = a.number_or("COUNT", 20);
    const size_t first = count >= calls.size() ? 0 : calls.size() - count;
    json rows = json::array();
    std::string text;
    for (size_t i = first; i < calls.size(); ++i) {
        const sim::Call& c = calls[i];
        rows.push_back({{"call", c.text()}, {"result", c.result}, {"faulted", c.faulted}});
        text += c.text() + " = " + std::to_string(c.result) + (c.faulted ? " (injected fault)" : "") + "\n";
    }
    print(sh, f, rows, text.empty() ? "journal is empty" : text);
    return kOk;
}

Outcome status(Shell& sh, const Args&, const Flags& f) {
    json handles = json::array();
    for (uint32_t p = kFirstPort; p <= kLastPort; ++p)
        if (sh.port_handle(p)) handles.push_back("mrvl_switch/0/" + std::to_string(p));
    if (sh.cpu_handle()) handles.push_back("mrvl_switch/cpu/10");
    const json doc = {{"driver", sh.driver().path},
                      {"isolated", sh.isolated()},
                      {"isolationWhy", sh.isolated() ? "" : sh.isolation_why()},
                      {"capture", sh.capture() != nullptr},
                      {"captureWhy", sh.capture() ? "" : sh.capture_why()},
                      {"handles", handles},
                      {"callbackRegistered", sh.callback_registered()},
                      {"cpuStats", sh.cpu_stats_source()},
                      {"trace", sh.tracing()}};
    std::string text = "driver: " + sh.driver().path + "\n";
    text += "network: " +
            std::string(sh.isolated() ? "private namespace" : "NOT isolated (" + sh.isolation_why() + ")") +
            "\n";
    text += "capture: " +
            std::string(sh.capture() ? "lacp-swp1..8 with far ends" : "none (" + sh.capture_why() + ")") +
            "\n";
    text += "handles: " + std::to_string(handles.size()) + " open\n";
    text += std::string("receive callback: ") + (sh.callback_registered() ? "registered" : "NOT registered") +
            "\n";
    text += "cpu counters: " + (sh.cpu_stats() ? sh.cpu_stats_source() : std::string("unavailable")) + "\n";
    text += std::string("trace: ") + (sh.tracing() ? "on" : "off");
    print(sh, f, doc, text);
    return kOk;
}

}  // namespace eswctl::views
