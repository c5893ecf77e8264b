// What a user types, turned into something a command handler can trust: script lines split into
// statements, words checked against the command grammar, values parsed and range-checked once.
// No driver and no terminal here, so all of it is tested on its own.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace eswctl {

using Words = std::vector<std::string>;

// ---- lines -------------------------------------------------------------------------------------
// ';' separates statements, '#' starts a comment, "..." and '...' quote a word with blanks or ';'.
struct SplitLine {
    std::vector<Words> statements;  // empty statements are dropped
    std::string error;              // set for an unterminated quote; statements is then empty
};
SplitLine split_line(std::string_view line);

// ---- values ------------------------------------------------------------------------------------
// Decimal, or hexadecimal with 0x; nothing else, nothing trailing.
std::optional<uint64_t> parse_unsigned(std::string_view text, uint64_t max);
std::optional<int64_t> parse_signed(std::string_view text, int64_t min, int64_t max);
// "1-3,5" -> 1 2 3 5, each within [lo, hi], ascending ranges only, duplicates dropped, order kept.
std::optional<std::vector<uint32_t>> parse_list(std::string_view text, uint32_t lo, uint32_t hi);
// aa:bb:cc:dd:ee:ff, aa-bb-cc-dd-ee-ff or aabb.ccdd.eeff.
std::optional<std::array<uint8_t, 6>> parse_mac(std::string_view text);
// Bytes as "01 80 c2", "0180c2", "01:80:c2" or any mix of these across words.
std::optional<std::vector<uint8_t>> parse_hex_bytes(const Words& words);
// A cable's negotiated rate: 10, 100 or 1000, optionally "/full" or "/half" (full by default).
// Gives the chip encodings: speed 0/1/2, duplex 1 full, 0 half.
struct CableRate {
    uint32_t speed;
    uint32_t duplex;
};
std::optional<CableRate> parse_cable_rate(std::string_view text);

// ---- grammar -----------------------------------------------------------------------------------
// A parsed argument. Which member holds the value depends on the placeholder's kind.
struct Value {
    uint64_t number = 0;           // unsigned numbers, choices (index or code), ports
    int64_t signedNumber = 0;      // signed numbers
    std::vector<uint32_t> list;    // PORTS, VIDS
    std::array<uint8_t, 6> mac{};  // MAC
    std::vector<uint8_t> bytes;    // HEX...
    std::string text;              // the word(s) as typed
};

class Args {
public:
    bool has(const std::string& key) const { return values_.count(key) != 0; }
    const Value& at(const std::string& key) const;  // the key must be present
    uint64_t number(const std::string& key) const { return at(key).number; }
    uint64_t number_or(const std::string& key, uint64_t fallback) const {
        return has(key) ? number(key) : fallback;
    }
    int64_t signed_number(const std::string& key) const { return at(key).signedNumber; }
    const std::vector<uint32_t>& list(const std::string& key) const { return at(key).list; }
    const std::string& text(const std::string& key) const { return at(key).text; }
    void set(const std::string& key, Value v) { values_[key] = std::move(v); }

private:
    std::map<std::string, Value> values_;
};

struct PlaceholderType;  // the value types, defined with the parsers

// Syntax of one command, e.g. "port PORTS mru [BYTES]" or "mac mc add MAC vlan VID port PORT [group N]":
// lower-case words are literals, UPPER-CASE words placeholders of the types in placeholder_help(),
// "[...]" an optional group (a run of optional groups may come in any order), and a placeholder
// ending in "..." takes the rest of the line. A value is stored under the group's literal
// ("group") or else under the placeholder's name ("VID").
class Grammar {
public:
    explicit Grammar(const std::vector<std::string>& syntaxes);  // aborts on a malformed syntax

    struct Result {
        int row = -1;  // index of the matching syntax, or -1 with `error` set
        Args args;
        std::string error;
    };
    Result match(const Words& words) const;

    // Words that may follow `before` and start with `partial`, sorted, unique.
    std::vector<std::string> complete(const Words& before, std::string_view partial) const;

    // Whether the literal words of `row` begin with `words` (placeholders skipped): help topics.
    bool about(size_t row, const Words& words) const;
    const std::string& syntax(size_t row) const { return rows_[row].text; }
    size_t size() const { return rows_.size(); }

    struct Item {
        std::string text;                       // literal word or placeholder name
        const PlaceholderType* type = nullptr;  // null for a literal
        int group = -1;                         // optional group id, -1 when required
        std::string key;                        // where the value is stored
        bool literal() const { return type == nullptr; }
    };
    struct Row {
        std::string text;
        std::vector<Item> items;
    };

private:
    std::vector<Row> rows_;
};

// One line per placeholder type: "PORTS  front-panel or internal ports 1-10, e.g. 1-4,6".
std::vector<std::string> placeholder_help();

}  // namespace eswctl
