#include "scenario/Fields.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <set>

#include "scenario/Scenario.h"

namespace ylmsim::fields {
namespace {

int lineOf(const yaml::Node& node, int fallback) {
    return node.line() == 0 ? fallback : node.line();
}

// Decimal or 0x-hexadecimal, with an optional sign.
bool parseMagnitude(const std::string& s, bool& negative, uint64_t& value) {
    size_t i = 0;
    negative = false;
    if (i < s.size() && (s[i] == '-' || s[i] == '+')) {
        negative = s[i] == '-';
        ++i;
    }
    unsigned base = 10;
    if (s.size() > i + 1 && s[i] == '0' && (s[i + 1] == 'x' || s[i + 1] == 'X')) {
        base = 16;
        i += 2;
    }
    if (i >= s.size()) {
        return false;
    }
    value = 0;
    for (; i < s.size(); ++i) {
        const char c = s[i];
        unsigned digit = 0;
        if (c >= '0' && c <= '9') {
            digit = static_cast<unsigned>(c - '0');
        } else if (base == 16 && c >= 'a' && c <= 'f') {
            digit = static_cast<unsigned>(c - 'a' + 10);
        } else if (base == 16 && c >= 'A' && c <= 'F') {
            digit = static_cast<unsigned>(c - 'A' + 10);
        } else {
            return false;
        }
        if (value > (std::numeric_limits<uint64_t>::max() - digit) / base) {
            return false;
        }
        value = value * base + digit;
    }
    return true;
}

[[noreturn]] void outOfRange(const Field& f, const std::string& text, const std::string& lo,
                             const std::string& hi) {
    fail(f, "out of range: " + text + " (allowed " + lo + " to " + hi + ")");
}

std::string join(std::initializer_list<const char*> keys) {
    std::string out;
    for (const char* k : keys) {
        out += (out.empty() ? "" : ", ") + std::string(k);
    }
    return out;
}

}  // namespace

MapReader::MapReader(const Field& f, std::initializer_list<const char*> keys) : self(f) {
    if (f.node.isNull()) {
        return;  // "key:" with nothing after it: an empty map
    }
    if (!f.node.isMap()) {
        fail(f, "expected a map, got " + kindName(f.node));
    }
    const std::set<std::string> allowed(keys.begin(), keys.end());
    for (const auto& entry : f.node) {
        const Field keyField = sub(f, entry.first, "");
        const std::string key = scalar(keyField, "a field name");
        const Field value = sub(f, entry.second, (f.path.empty() ? "" : ".") + key);
        const Field named{entry.first, value.path, f.file, keyField.line};
        if (allowed.count(key) == 0) {
            fail(named, "unknown field (allowed: " + join(keys) + ")");
        }
        if (!entries.emplace(key, Field{value.node, value.path, f.file, keyField.line}).second) {
            fail(named, "given twice");
        }
    }
}

std::optional<Field> MapReader::opt(const char* key) const {
    auto it = entries.find(key);
    return it == entries.end() ? std::nullopt : std::optional<Field>(it->second);
}

Field MapReader::need(const char* key) const {
    auto it = entries.find(key);
    if (it == entries.end()) {
        const Field missing{self.node, self.path.empty() ? key : self.path + "." + key, self.file,
                            self.line};
        fail(missing, "required field is missing");
    }
    return it->second;
}

std::string MapReader::oneOf(std::initializer_list<const char*> keys) const {
    std::string found;
    for (const char* k : keys) {
        if (has(k)) {
            if (!found.empty()) {
                fail(need(k), "give only one of " + join(keys));
            }
            found = k;
        }
    }
    if (found.empty()) {
        fail(self, "needs one of " + join(keys));
    }
    return found;
}

[[noreturn]] void fail(const Field& f, const std::string& message) {
    throw ScenarioError(*f.file, f.line, f.path.empty() ? "(top level)" : f.path, message);
}

Field sub(const Field& parent, const yaml::Node& node, const std::string& name) {
    return {node, parent.path.empty() ? name : parent.path + name, parent.file,
            lineOf(node, parent.line)};
}

std::string kindName(const yaml::Node& node) {
    switch (node.type()) {
        case yaml::Type::Sequence:
            return "a list";
        case yaml::Type::Map:
            return "a map";
        case yaml::Type::Scalar:
            return "\"" + node.scalar() + "\"";
        default:
            return "nothing";
    }
}

std::string scalar(const Field& f, const char* what) {
    if (!f.node.isScalar()) {
        fail(f, std::string("expected ") + what + ", got " + kindName(f.node));
    }
    return f.node.scalar();
}

std::vector<Field> listOf(const Field& f, size_t maxItems) {
    if (!f.node.isSequence()) {
        fail(f, "expected a list, got " + kindName(f.node));
    }
    if (f.node.size() > maxItems) {
        fail(f, "at most " + std::to_string(maxItems) + " entries, got " +
                    std::to_string(f.node.size()));
    }
    std::vector<Field> out;
    for (size_t i = 0; i < f.node.size(); ++i) {
        out.push_back(sub(f, f.node[i], "[" + std::to_string(i) + "]"));
    }
    return out;
}

int64_t integer(const Field& f, int64_t min, int64_t max) {
    const std::string s = scalar(f, "an integer");
    bool negative = false;
    uint64_t mag = 0;
    if (!parseMagnitude(s, negative, mag)) {
        fail(f, "expected an integer, got \"" + s + "\"");
    }
    const uint64_t limit = negative ? static_cast<uint64_t>(std::numeric_limits<int64_t>::max()) + 1
                                    : static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
    if (mag > limit) {
        outOfRange(f, s, std::to_string(min), std::to_string(max));
    }
    const int64_t v = negative ? static_cast<int64_t>(0 - mag) : static_cast<int64_t>(mag);
    if (v < min || v > max) {
        outOfRange(f, s, std::to_string(min), std::to_string(max));
    }
    return v;
}

uint64_t unsignedInteger(const Field& f, uint64_t max) {
    const std::string s = scalar(f, "an integer");
    bool negative = false;
    uint64_t mag = 0;
    if (!parseMagnitude(s, negative, mag)) {
        fail(f, "expected an integer, got \"" + s + "\"");
    }
    if ((negative && mag != 0) || mag > max) {
        outOfRange(f, s, "0", std::to_string(max));
    }
    return mag;
}

bool boolean(const Field& f) {
    std::string s = scalar(f, "true or false");
    for (auto& c : s) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    if (s == "true" || s == "yes" || s == "on") {
        return true;
    }
    if (s == "false" || s == "no" || s == "off") {
        return false;
    }
    fail(f, "expected true or false, got \"" + f.node.scalar() + "\"");
}

double number(const Field& f) {
    const std::string s = scalar(f, "a number");
    errno = 0;
    char* end = nullptr;
    const double v = std::strtod(s.c_str(), &end);
    if (s.empty() || end != s.c_str() + s.size() || errno != 0 || !std::isfinite(v)) {
        fail(f, "expected a number, got \"" + s + "\"");
    }
    return v;
}

std::string text(const Field& f, size_t maxLen) {
    std::string s = scalar(f, "a text");
    if (s.size() > maxLen) {
        fail(f, "longer than " + std::to_string(maxLen) + " bytes");
    }
    return s;
}

int64_t seconds(const Field& f) {
    return integer(f, 0, 1000000000);
}

int32_t int32(const Field& f) {
    return static_cast<int32_t>(
        integer(f, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

}  // namespace ylmsim::fields
