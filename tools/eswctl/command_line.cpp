#include "tools/eswctl/command_line.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <set>

#include "tools/eswctl/lacp.h"
#include "tools/eswctl/vocabulary.h"

namespace eswctl {

// ---- placeholder types -------------------------------------------------------------------------
enum class Kind : uint8_t {
    number,
    signed_number,
    port_list,
    vid_list,
    choice,
    speed,
    rate,
    cable,
    state,
    mac,
    count,
    word,
    hex_rest,
    text_rest
};

struct PlaceholderType {
    const char* name;
    Kind kind;
    int64_t lo, hi;
    const char* choices;  // "a|b|c" for Kind::choice
    const char* what;     // how an error names a value of this type
    const char* help;
};

namespace {

constexpr int64_t kU32Max = UINT32_MAX;
constexpr int64_t kI32Min = INT32_MIN, kI32Max = INT32_MAX;

constexpr std::array<PlaceholderType, 28> kTypes = {{
    {"PORT", Kind::number, 1, 10, nullptr, "port", "a port 1-10 (9 is the data-plane port, 10 the CPU port)"},
    {"PORTS", Kind::port_list, 1, 10, nullptr, "port list", "ports 1-10 as a list, e.g. 1-4,6"},
    {"VID", Kind::number, 0, 4095, nullptr, "VLAN id", "a VLAN id 0-4095"},
    {"VIDS", Kind::vid_list, 0, 4095, nullptr, "VLAN list", "VLAN ids as a list, e.g. 10,20-22"},
    {"TAGVID", Kind::signed_number, kI32Min, kI32Max, nullptr, "VLAN value",
     "a VLAN value; negative prepares an internal port"},
    {"BYTES", Kind::signed_number, kI32Min, kI32Max, nullptr, "frame size",
     "a frame size in bytes (classes 1522, 2048, 10240)"},
    {"SPEED", Kind::speed, 0, kU32Max, nullptr, "speed",
     "a link type: auto, 10/half, 100/full, 1000/full, ... or its code"},
    {"N", Kind::number, 0, kU32Max, nullptr, "number", "an unsigned 32-bit number"},
    {"INT", Kind::signed_number, kI32Min, kU32Max, nullptr, "number", "a number, negative allowed"},
    {"CHANNEL", Kind::number, 0, 65535, nullptr, "channel", "a port-channel number 0-65535"},
    {"RATE", Kind::rate, 0, 255, nullptr, "rate", "a storm-control rate 0-255, or off (rate 100)"},
    {"SECONDS", Kind::number, 0, 65535, nullptr, "age time",
     "an age time in seconds (the driver accepts 1-956)"},
    {"LIMIT", Kind::number, 0, 65535, nullptr, "limit", "a number of addresses (the driver accepts 0-4095)"},
    {"MODE", Kind::number, 0, 2, nullptr, "source mode", "a mirror source mode 0-2"},
    {"EEE", Kind::number, 0, 255, nullptr, "EEE value", "an EEE value (the driver knows 1, 2 and 4)"},
    {"WORD", Kind::number, 0, 67, nullptr, "counter word", "a chip counter word 0-67"},
    {"FLAG", Kind::number, 0, 255, nullptr, "flag", "a byte 0-255"},
    {"KIND", Kind::choice, 0, 0, "unicast|multicast|broadcast", "traffic kind",
     "unicast, multicast or broadcast"},
    {"FILTER", Kind::choice, 0, 0, "individual|promiscuous", "filter mode", "individual or promiscuous"},
    {"ONOFF", Kind::choice, 0, 0, "on|off", "switch", "on or off"},
    {"CABLE", Kind::cable, 0, 0, nullptr, "cable rate", "10, 100 or 1000, optionally /full or /half"},
    {"STATE", Kind::state, 0, 255, nullptr, "LACP state",
     "LACP state flags, e.g. activity,aggregation or 0x3d"},
    {"MAC", Kind::mac, 0, 0, nullptr, "MAC address", "a MAC address, e.g. 00:1b:21:3a:4f:01"},
    {"COUNT", Kind::count, 0, 1000000, nullptr, "count", "a number of lines, or all"},
    {"MS", Kind::number, 0, 600000, nullptr, "duration", "milliseconds"},
    {"NAME", Kind::word, 0, 0, nullptr, "name", "a word, e.g. a host call name or a command number or name"},
    {"HEX", Kind::hex_rest, 0, 0, nullptr, "bytes", "bytes in hex, e.g. 01 80 c2 00 00 02 or 0180c2000002"},
    {"TEXT", Kind::text_rest, 0, 0, nullptr, "text", "the rest of the line"},
}};

const PlaceholderType* type_named(std::string_view name) {
    for (const PlaceholderType& t : kTypes)
        if (name == t.name) return &t;
    return nullptr;
}

std::string range_text(const PlaceholderType& t) {
    switch (t.kind) {
        case Kind::number:
        case Kind::signed_number:
        case Kind::port_list:
        case Kind::vid_list:
            return std::to_string(t.lo) + "-" + std::to_string(t.hi);
        case Kind::choice:
            return std::string("one of ") + t.choices;
        default:
            return t.help;
    }
}

std::vector<std::string> choice_words(const PlaceholderType& t) {
    std::vector<std::string> words;
    if (t.kind == Kind::speed) {
        for (const LinkType& l : kLinkTypes) words.emplace_back(l.token);
        return words;
    }
    if (t.kind == Kind::rate) return {"off"};
    if (t.kind == Kind::count) return {"all"};
    if (t.kind != Kind::choice) return words;
    std::string_view rest = t.choices;
    while (!rest.empty()) {
        const size_t bar = rest.find('|');
        words.emplace_back(rest.substr(0, bar));
        rest = bar == std::string_view::npos ? std::string_view{} : rest.substr(bar + 1);
    }
    return words;
}

// Parses one word (or, for the rest kinds, all remaining words) into a Value.
std::optional<Value> parse_value(const PlaceholderType& t, const Words& words, size_t at,
                                 std::string* error) {
    const std::string& word = words[at];
    Value v;
    v.text = word;
    auto bad = [&](std::string detail = {}) -> std::optional<Value> {
        *error = "bad " + std::string(t.what) + " '" + word + "'" +
                 (detail.empty() ? ": expected " + range_text(t) : ": " + detail);
        return std::nullopt;
    };
    switch (t.kind) {
        case Kind::number: {
            auto n = parse_unsigned(word, static_cast<uint64_t>(t.hi));
            if (!n || static_cast<int64_t>(*n) < t.lo) return bad();
            v.number = *n;
            return v;
        }
        case Kind::signed_number: {
            auto n = parse_signed(word, t.lo, t.hi);
            if (!n) return bad();
            v.signedNumber = *n;
            return v;
        }
        case Kind::port_list:
        case Kind::vid_list: {
            auto l = parse_list(word, static_cast<uint32_t>(t.lo), static_cast<uint32_t>(t.hi));
            if (!l) return bad();
            v.list = *l;
            return v;
        }
        case Kind::choice: {
            const auto choices = choice_words(t);
            auto it = std::find(choices.begin(), choices.end(), word);
            if (it == choices.end()) return bad();
            v.number = static_cast<uint64_t>(it - choices.begin());
            return v;
        }
        case Kind::speed: {
            if (auto code = link_type_by_token(word)) {
                v.number = *code;
                return v;
            }
            auto n = parse_unsigned(word, kU32Max);
            if (!n) {
                std::string names;
                for (const LinkType& l : kLinkTypes)
                    names += std::string(names.empty() ? "" : ", ") + l.token;
                return bad("expected one of " + names + ", or a code");
            }
            v.number = *n;
            return v;
        }
        case Kind::rate: {
            if (word == "off") {
                v.number = 100;
                return v;
            }
            auto n = parse_unsigned(word, static_cast<uint64_t>(t.hi));
            if (!n) return bad("expected 0-255 or off");
            v.number = *n;
            return v;
        }
        case Kind::cable: {
            auto rate = parse_cable_rate(word);
            if (!rate) return bad("expected 10, 100 or 1000, optionally /full or /half");
            v.list = {rate->speed, rate->duplex};
            return v;
        }
        case Kind::state: {
            auto s = lacp::parse_state(word);
            if (!s)
                return bad(
                    "expected flags "
                    "activity,short-timeout,aggregation,synchronization,collecting,distributing,"
                    "defaulted,expired or a number");
            v.number = *s;
            return v;
        }
        case Kind::mac: {
            auto m = parse_mac(word);
            if (!m) return bad("expected six bytes, e.g. 00:1b:21:3a:4f:01");
            v.mac = *m;
            return v;
        }
        case Kind::count: {
            if (word == "all") {
                v.number = UINT64_MAX;
                return v;
            }
            auto n = parse_unsigned(word, static_cast<uint64_t>(t.hi));
            if (!n) return bad("expected a number or all");
            v.number = *n;
            return v;
        }
        case Kind::word:
            return v;
        case Kind::hex_rest: {
            const Words rest(words.begin() + static_cast<long>(at), words.end());
            auto bytes = parse_hex_bytes(rest);
            if (!bytes) {
                *error = "bad bytes '" + word + "...': expected hex digits in pairs, e.g. 01 80 c2 or 0180c2";
                return std::nullopt;
            }
            v.bytes = *bytes;
            return v;
        }
        case Kind::text_rest: {
            for (size_t i = at + 1; i < words.size(); ++i) v.text += " " + words[i];
            return v;
        }
    }
    return std::nullopt;
}

bool is_rest(Kind k) { return k == Kind::hex_rest || k == Kind::text_rest; }

}  // namespace

// ---- lines -------------------------------------------------------------------------------------
SplitLine split_line(std::string_view line) {
    SplitLine out;
    Words current;
    std::string word;
    bool inWord = false;
    auto end_word = [&] {
        if (inWord) current.push_back(word);
        word.clear();
        inWord = false;
    };
    auto end_statement = [&] {
        end_word();
        if (!current.empty()) out.statements.push_back(std::move(current));
        current.clear();
    };
    for (size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (c == '"' || c == '\'') {
            const size_t close = line.find(c, i + 1);
            if (close == std::string_view::npos) {
                out.statements.clear();
                out.error = std::string("unterminated ") + (c == '"' ? "double" : "single") + " quote";
                return out;
            }
            word.append(line.substr(i + 1, close - i - 1));
            inWord = true;
            i = close;
        } else if (c == '#') {
            break;
        } else if (c == ';') {
            end_statement();
        } else if (std::isspace(static_cast<unsigned char>(c))) {
            end_word();
        } else {
            word.push_back(c);
            inWord = true;
        }
    }
    end_statement();
    return out;
}

// ---- values ------------------------------------------------------------------------------------
std::optional<uint64_t> parse_unsigned(std::string_view text, uint64_t max) {
    if (text.empty() || text.size() > 20) return std::nullopt;
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text.remove_prefix(2);
    }
    uint64_t value = 0;
    for (const char c : text) {
        int digit;
        if (c >= '0' && c <= '9')
            digit = c - '0';
        else if (base == 16 && std::isxdigit(static_cast<unsigned char>(c)))
            digit = std::tolower(static_cast<unsigned char>(c)) - 'a' + 10;
        else
            return std::nullopt;
        if (value > (UINT64_MAX - static_cast<uint64_t>(digit)) / static_cast<uint64_t>(base))
            return std::nullopt;
        value = value * static_cast<uint64_t>(base) + static_cast<uint64_t>(digit);
    }
    if (value > max) return std::nullopt;
    return value;
}

std::optional<int64_t> parse_signed(std::string_view text, int64_t min, int64_t max) {
    const bool negative = !text.empty() && text[0] == '-';
    if (negative) text.remove_prefix(1);
    auto magnitude = parse_unsigned(text, static_cast<uint64_t>(INT64_MAX));
    if (!magnitude) return std::nullopt;
    const int64_t value = negative ? -static_cast<int64_t>(*magnitude) : static_cast<int64_t>(*magnitude);
    if (value < min || value > max) return std::nullopt;
    return value;
}

std::optional<std::vector<uint32_t>> parse_list(std::string_view text, uint32_t lo, uint32_t hi) {
    std::vector<uint32_t> out;
    if (text.empty()) return std::nullopt;
    while (true) {
        const size_t comma = text.find(',');
        const std::string_view part = text.substr(0, comma);
        const size_t dash = part.find('-');
        auto first = parse_unsigned(part.substr(0, dash), hi);
        auto last = dash == std::string_view::npos ? first : parse_unsigned(part.substr(dash + 1), hi);
        if (!first || !last || *first < lo || *last < *first) return std::nullopt;
        for (uint64_t v = *first; v <= *last; ++v)
            if (std::find(out.begin(), out.end(), v) == out.end()) out.push_back(static_cast<uint32_t>(v));
        if (comma == std::string_view::npos) break;
        text.remove_prefix(comma + 1);
    }
    return out;
}

std::optional<std::array<uint8_t, 6>> parse_mac(std::string_view text) {
    std::string digits;
    const bool dotted = text.size() == 14 && text[4] == '.' && text[9] == '.';
    const bool separated = text.size() == 17;
    if (!dotted && !separated) return std::nullopt;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool separatorPlace = dotted ? (i == 4 || i == 9) : (i % 3 == 2);
        if (separatorPlace) {
            if (dotted ? text[i] != '.' : (text[i] != ':' && text[i] != '-')) return std::nullopt;
            if (!dotted && text[i] != text[2]) return std::nullopt;  // one separator throughout
            continue;
        }
        if (!std::isxdigit(static_cast<unsigned char>(text[i]))) return std::nullopt;
        digits.push_back(text[i]);
    }
    std::array<uint8_t, 6> mac{};
    for (size_t i = 0; i < 6; ++i)
        mac[i] = static_cast<uint8_t>(std::strtoul(digits.substr(2 * i, 2).c_str(), nullptr, 16));
    return mac;
}

std::optional<std::vector<uint8_t>> parse_hex_bytes(const Words& words) {
    std::string digits;
    for (const std::string& w : words) {
        std::string_view text = w;
        if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) text.remove_prefix(2);
        std::string wordDigits;
        for (const char c : text) {
            if (c == ':' || c == '-' || c == '.') continue;
            if (!std::isxdigit(static_cast<unsigned char>(c))) return std::nullopt;
            wordDigits.push_back(c);
        }
        if (wordDigits.size() % 2 != 0) return std::nullopt;  // half a byte is a typing mistake
        digits += wordDigits;
    }
    if (digits.empty()) return std::nullopt;
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < digits.size(); i += 2)
        bytes.push_back(static_cast<uint8_t>(std::strtoul(digits.substr(i, 2).c_str(), nullptr, 16)));
    return bytes;
}

std::optional<CableRate> parse_cable_rate(std::string_view text) {
    struct Rate {
        std::string_view text;
        uint32_t speed;
    };
    constexpr std::array<Rate, 3> kRates = {{{"10", 0}, {"100", 1}, {"1000", 2}}};
    const size_t slash = text.find('/');
    const std::string_view speedText = text.substr(0, slash);
    uint32_t duplex = 1;
    if (slash != std::string_view::npos) {
        const std::string_view duplexText = text.substr(slash + 1);
        if (duplexText == "half")
            duplex = 0;
        else if (duplexText != "full")
            return std::nullopt;
    }
    for (const Rate& r : kRates)
        if (r.text == speedText) return CableRate{r.speed, duplex};
    return std::nullopt;
}

// ---- grammar -----------------------------------------------------------------------------------
namespace {

using Item = Grammar::Item;
using Row = Grammar::Row;

// How far a list of words got through one syntax.
struct Walk {
    enum State { ok, word, value, missing, extra } state = ok;
    size_t consumed = 0;
    std::string message;
    std::vector<const Item*> next;  // what could come after the last word
    Args args;
};

// Priority among failures that got equally far: a bad value says most, a surplus word least.
int weight(Walk::State s) {
    switch (s) {
        case Walk::value:
            return 3;
        case Walk::missing:
            return 2;
        case Walk::word:
            return 1;
        default:
            return 0;
    }
}

Walk walk(const Row& row, const Words& words) {
    Walk w;
    const std::vector<Item>& items = row.items;
    size_t t = 0;
    std::string optionalError;  // why a word was not taken as an optional value
    auto take_value = [&](const Item& item) -> bool {
        if (is_rest(item.type->kind)) {
            std::string error;
            auto v = parse_value(*item.type, words, t, &error);
            if (!v) {
                w.state = Walk::value;
                w.message = error;
                return false;
            }
            w.args.set(item.key, *v);
            t = words.size();
            return true;
        }
        std::string error;
        auto v = parse_value(*item.type, words, t, &error);
        if (!v) {
            w.state = Walk::value;
            w.message = error;
            return false;
        }
        w.args.set(item.key, *v);
        ++t;
        return true;
    };
    size_t i = 0;
    while (i < items.size()) {
        if (items[i].group >= 0) {
            // A run of optional groups: any order, each at most once.
            size_t end = i;
            std::vector<int> groups;
            while (end < items.size() && items[end].group >= 0) {
                if (std::find(groups.begin(), groups.end(), items[end].group) == groups.end())
                    groups.push_back(items[end].group);
                ++end;
            }
            std::set<int> used;
            while (t < words.size()) {
                bool matched = false;
                optionalError.clear();
                for (int g : groups) {
                    if (used.count(g)) continue;
                    size_t first = i;
                    while (items[first].group != g) ++first;
                    const Item& head = items[first];
                    if (head.literal()) {
                        if (words[t] != head.text) continue;
                        ++t;
                        for (size_t k = first + 1; k < end && items[k].group == g; ++k) {
                            if (t == words.size()) {
                                w.state = Walk::missing;
                                w.consumed = t;
                                w.message = "missing " + items[k].text + " after '" + head.text + "'";
                                w.next = {&items[k]};
                                return w;
                            }
                            if (!take_value(items[k])) {
                                w.consumed = t;
                                return w;
                            }
                        }
                    } else {
                        std::string error;
                        if (!parse_value(*head.type, words, t, &error)) {
                            optionalError = error;
                            continue;
                        }
                        take_value(head);
                    }
                    used.insert(g);
                    matched = true;
                    break;
                }
                if (!matched) break;
            }
            if (t == words.size()) {
                for (int g : groups) {
                    if (used.count(g)) continue;
                    for (size_t k = i; k < end; ++k)
                        if (items[k].group == g) {
                            w.next.push_back(&items[k]);
                            break;
                        }
                }
            }
            i = end;
            continue;
        }
        const Item& item = items[i];
        if (t == words.size()) {
            w.state = Walk::missing;
            w.consumed = t;
            w.message = "missing " + item.text;
            w.next.push_back(&item);
            return w;
        }
        if (item.literal()) {
            if (words[t] != item.text) {
                w.state = Walk::word;
                w.consumed = t;
                w.next = {&item};
                return w;
            }
            ++t;
        } else if (!take_value(item)) {
            w.consumed = t;
            return w;
        }
        ++i;
    }
    w.consumed = t;
    if (t < words.size()) {
        w.state = optionalError.empty() ? Walk::extra : Walk::value;
        w.message = optionalError.empty() ? "unexpected '" + words[t] + "'" : optionalError;
        w.next.clear();
    }
    return w;
}

std::string joined(const Words& words, size_t count) {
    std::string text;
    for (size_t i = 0; i < count && i < words.size(); ++i) text += (i ? " " : "") + words[i];
    return text;
}

std::vector<std::string> candidates(const Item& item) {
    if (item.literal()) return {item.text};
    return choice_words(*item.type);
}

}  // namespace

Grammar::Grammar(const std::vector<std::string>& syntaxes) {
    for (const std::string& syntax : syntaxes) {
        Row row{syntax, {}};
        int group = -1, groups = 0;
        std::string groupLiteral;
        const Words words = split_line(syntax).statements.at(0);
        for (const std::string& raw : words) {
            std::string word = raw;
            if (word.front() == '[') {
                group = groups++;
                groupLiteral.clear();
                word.erase(0, 1);
            }
            bool closes = false;
            if (word.back() == ']') {
                closes = true;
                word.pop_back();
            }
            if (word.size() > 3 && word.ends_with("...")) word.resize(word.size() - 3);
            Item item;
            item.text = word;
            item.group = group;
            if (std::isupper(static_cast<unsigned char>(word[0]))) {
                item.type = type_named(word);
                if (!item.type) {
                    std::fprintf(stderr, "eswctl: syntax '%s' names unknown placeholder %s\n", syntax.c_str(),
                                 word.c_str());
                    std::abort();
                }
                item.key = group >= 0 && !groupLiteral.empty() ? groupLiteral : word;
            } else if (group >= 0 && groupLiteral.empty()) {
                groupLiteral = word;
            }
            row.items.push_back(std::move(item));
            if (closes) group = -1;
        }
        rows_.push_back(std::move(row));
    }
}

Grammar::Result Grammar::match(const Words& words) const {
    Result result;
    if (words.empty()) {
        result.error = "empty command";
        return result;
    }
    std::vector<Walk> walks;
    walks.reserve(rows_.size());
    for (const Row& row : rows_) walks.push_back(walk(row, words));
    for (size_t r = 0; r < rows_.size(); ++r) {
        if (walks[r].state == Walk::ok) {
            result.row = static_cast<int>(r);
            result.args = walks[r].args;
            return result;
        }
    }
    // The most telling failure: the row that got furthest, a bad value before a missing word.
    size_t best = 0;
    for (size_t r = 1; r < rows_.size(); ++r) {
        const Walk& a = walks[r];
        const Walk& b = walks[best];
        if (a.consumed > b.consumed || (a.consumed == b.consumed && weight(a.state) > weight(b.state)))
            best = r;
    }
    const Walk& w = walks[best];
    if (w.consumed == 0 && w.state == Walk::word) {
        result.error = "unknown command '" + words[0] + "' (try 'help')";
        return result;
    }
    if (w.state == Walk::value || w.state == Walk::extra) {
        // A usage line helps only when one command got this far.
        const auto alike = std::count_if(walks.begin(), walks.end(), [&](const Walk& o) {
            return o.consumed == w.consumed && o.state == w.state;
        });
        result.error = alike > 1 ? w.message : w.message + "; usage: " + rows_[best].text;
        return result;
    }
    // A missing or wrong word: list what every equally far row would have taken.
    std::set<std::string> expected;
    size_t rowsThere = 0;
    for (size_t r = 0; r < rows_.size(); ++r) {
        const Walk& o = walks[r];
        if (o.consumed != w.consumed || (o.state != Walk::word && o.state != Walk::missing)) continue;
        ++rowsThere;
        for (const Item* item : o.next) expected.insert(item->text);
    }
    if (w.state == Walk::missing && rowsThere == 1) {
        result.error = w.message + "; usage: " + rows_[best].text;
        return result;
    }
    std::string list;
    for (const std::string& e : expected) list += (list.empty() ? "" : ", ") + e;
    const std::string where = joined(words, w.consumed);
    if (w.state == Walk::missing)
        result.error = "'" + where + "' is incomplete; expected one of: " + list;
    else
        result.error =
            "unknown word '" + words[w.consumed] + "' after '" + where + "'; expected one of: " + list;
    return result;
}

std::vector<std::string> Grammar::complete(const Words& before, std::string_view partial) const {
    std::set<std::string> out;
    for (const Row& row : rows_) {
        const Walk w = walk(row, before);
        if (w.consumed != before.size() || (w.state != Walk::ok && w.state != Walk::missing)) continue;
        for (const Item* item : w.next)
            for (const std::string& c : candidates(*item))
                if (std::string_view(c).starts_with(partial)) out.insert(c);
    }
    return {out.begin(), out.end()};
}

bool Grammar::about(size_t row, const Words& words) const {
    size_t k = 0;
    for (const Item& item : rows_[row].items) {
        if (k == words.size()) break;
        if (!item.literal()) continue;
        if (item.text != words[k]) return false;
        ++k;
    }
    return k == words.size();
}

const Value& Args::at(const std::string& key) const {
    auto it = values_.find(key);
    if (it == values_.end()) {
        std::fprintf(stderr, "eswctl: internal error: no argument %s\n", key.c_str());
        std::abort();
    }
    return it->second;
}

std::vector<std::string> placeholder_help() {
    std::vector<std::string> lines;
    for (const PlaceholderType& t : kTypes) {
        char line[160];
        std::snprintf(line, sizeof line, "  %-8s %s", t.name, t.help);
        lines.emplace_back(line);
    }
    return lines;
}

}  // namespace eswctl
