#include "scenario/Scenario.h"

#include <arpa/inet.h>

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <set>
#include <sstream>

#include "scenario/Yaml.h"

namespace ylmsim {

ScenarioError::ScenarioError(const std::string& f, int l, const std::string& fld,
                             const std::string& msg)
    : std::runtime_error(f + ":" + std::to_string(l) + ": " + fld + ": " + msg),
      file(f),
      line(l),
      field(fld),
      message(msg) {}

namespace {

constexpr size_t kMaxDsdClients = 16;

// A node with the path and line that name it in error messages.
struct Field {
    yaml::Node node;
    std::string path;
    const std::string* file;
    int line;
};

[[noreturn]] void fail(const Field& f, const std::string& message) {
    throw ScenarioError(*f.file, f.line, f.path.empty() ? "(top level)" : f.path, message);
}

int lineOf(const yaml::Node& node, int fallback) {
    return node.line() == 0 ? fallback : node.line();
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

// The entries of one map, checked against the keys it may hold.
class MapReader {
  public:
    MapReader(const Field& f, std::initializer_list<const char*> keys) : self(f) {
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
            if (!entries.emplace(key, Field{value.node, value.path, f.file, keyField.line})
                     .second) {
                fail(named, "given twice");
            }
        }
    }

    bool has(const char* key) const { return entries.count(key) != 0; }
    std::optional<Field> opt(const char* key) const {
        auto it = entries.find(key);
        return it == entries.end() ? std::nullopt : std::optional<Field>(it->second);
    }
    Field need(const char* key) const {
        auto it = entries.find(key);
        if (it == entries.end()) {
            const Field missing{self.node, self.path.empty() ? key : self.path + "." + key,
                                self.file, self.line};
            fail(missing, "required field is missing");
        }
        return it->second;
    }
    // Exactly one of the keys must be present; returns it.
    std::string oneOf(std::initializer_list<const char*> keys) const {
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
    const Field& field() const { return self; }

    static std::string join(std::initializer_list<const char*> keys) {
        std::string out;
        for (const char* k : keys) {
            out += (out.empty() ? "" : ", ") + std::string(k);
        }
        return out;
    }

  private:
    Field self;
    std::map<std::string, Field> entries;
};

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

size_t dsdIndex(const MapReader& m) {
    auto f = m.opt("dsd");
    return f ? static_cast<size_t>(integer(*f, 0, kMaxDsdClients - 1)) : 0;
}

bool parseMac(const std::string& s, uint8_t (&out)[6]) {
    if (s.size() != 17) {
        return false;
    }
    for (size_t i = 0; i < 6; ++i) {
        const std::string pair = s.substr(i * 3, 2);
        if ((i < 5 && s[i * 3 + 2] != ':') || !std::isxdigit(static_cast<unsigned char>(pair[0])) ||
            !std::isxdigit(static_cast<unsigned char>(pair[1]))) {
            return false;
        }
        out[i] = static_cast<uint8_t>(std::stoul(pair, nullptr, 16));
    }
    return true;
}

std::string macText(const uint8_t* b) {
    char buf[18];
    std::snprintf(buf, sizeof buf, "%02x:%02x:%02x:%02x:%02x:%02x", b[0], b[1], b[2], b[3], b[4],
                  b[5]);
    return buf;
}

// "RSSI=-52 (+7 lines)": enough of a reply to recognise it in the timeline.
std::string firstLineOf(const std::string& reply) {
    const size_t eol = reply.find('\n');
    if (eol == std::string::npos) {
        return "\"" + reply + "\"";
    }
    size_t more = 0;
    for (size_t i = eol + 1; i < reply.size(); ++i) {
        more += reply[i] == '\n' || (i + 1 == reply.size()) ? 1 : 0;
    }
    return "\"" + reply.substr(0, eol) + "\"" +
           (more == 0 ? "" : " (+" + std::to_string(more) + (more == 1 ? " line)" : " lines)"));
}

std::string hex(uint64_t v) {
    std::ostringstream out;
    out << "0x" << std::hex << v;
    return out.str();
}

std::string readFile(const Field& f, const std::string& baseDir) {
    const std::string name = text(f, 4096);
    const std::string path = !name.empty() && name[0] == '/' ? name : baseDir + name;
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        fail(f, "cannot read " + path + ": " + std::strerror(errno));
    }
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

// Shared state of one load: where file: paths start, the scripted clock.
struct Loader {
    std::string baseDir;
    int64_t now = 0;
    size_t maxDsd = 0;

    size_t client(const MapReader& m) {
        const size_t d = dsdIndex(m);
        maxDsd = std::max(maxDsd, d);
        return d;
    }

    // A text reply: inline text, {file: path} or {fail: true}.
    Reply reply(const Field& f) const {
        if (f.node.isScalar()) {
            return {false, f.node.scalar()};
        }
        MapReader m(f, {"file", "fail"});
        const std::string which = m.oneOf({"file", "fail"});
        if (which == "fail") {
            if (!boolean(m.need("fail"))) {
                fail(m.need("fail"), "fail: false is no reply; give a text or file");
            }
            return {true, ""};
        }
        return {false, readFile(m.need("file"), baseDir)};
    }

    int iface(const MapReader& m) const {
        auto f = m.opt("iface");
        if (!f) {
            return 0;
        }
        const std::string s = scalar(*f, "sta or p2p");
        if (s == "sta" || s == "0") {
            return 0;
        }
        if (s == "p2p" || s == "1") {
            return 1;
        }
        fail(*f, "expected sta or p2p, got \"" + s + "\"");
    }

    DaemonRule rule(const Field& f) const {
        MapReader m(f, {"command", "iface", "reply", "replies", "fail"});
        DaemonRule r;
        r.command = text(m.need("command"), 4096);
        r.type = iface(m);
        const std::string which = m.oneOf({"reply", "replies", "fail"});
        if (which == "reply") {
            r.replies.push_back(reply(m.need("reply")));
        } else if (which == "replies") {
            for (const auto& item : listOf(m.need("replies"), 100000)) {
                r.replies.push_back(reply(item));
            }
            if (r.replies.empty()) {
                fail(m.need("replies"), "needs at least one reply");
            }
        } else {
            if (!boolean(m.need("fail"))) {
                fail(m.need("fail"), "fail: false is no reply; give reply or replies");
            }
            r.replies.push_back({true, ""});
        }
        return r;
    }

    DaemonConfig daemon(const Field& f) const {
        MapReader m(f, {"replies", "scan_delay", "connect_failure"});
        DaemonConfig d;
        if (auto s = m.opt("scan_delay")) {
            d.scanDelay = seconds(*s);
        }
        if (auto c = m.opt("connect_failure")) {
            MapReader cm(*c, {"sta", "p2p"});
            if (auto v = cm.opt("sta")) {
                d.connectFailure[0] = boolean(*v);
            }
            if (auto v = cm.opt("p2p")) {
                d.connectFailure[1] = boolean(*v);
            }
        }
        if (auto r = m.opt("replies")) {
            for (const auto& item : listOf(*r, 100000)) {
                d.rules.push_back(rule(item));
            }
        }
        return d;
    }

    std::vector<ForkRule> forks(const Field& f) const {
        std::vector<ForkRule> out;
        for (const auto& item : listOf(f, 100000)) {
            MapReader m(item, {"command", "output", "rc"});
            ForkRule r;
            r.command = text(m.need("command"), 4096);
            if (auto o = m.opt("output")) {
                const Reply rep = reply(*o);
                if (rep.fail) {
                    fail(*o, "an output cannot fail; use rc");
                }
                r.output = rep.text;
            }
            if (auto rc = m.opt("rc")) {
                r.rc = static_cast<int>(integer(*rc, std::numeric_limits<int32_t>::min(),
                                                std::numeric_limits<int32_t>::max()));
            }
            out.push_back(r);
        }
        return out;
    }

    static EngineConfig engine(const Field& f) {
        MapReader m(f, {"chipset_type", "decision_engine", "operators"});
        EngineConfig e;
        if (auto c = m.opt("chipset_type")) {
            e.chipsetType = static_cast<int>(integer(*c, std::numeric_limits<int32_t>::min(),
                                                     std::numeric_limits<int32_t>::max()));
        }
        if (auto d = m.opt("decision_engine")) {
            e.decisionEngine = boolean(*d);
        }
        if (auto ops = m.opt("operators")) {
            if (!ops->node.isMap()) {
                fail(*ops,
                     "expected a map of ICCID text to operator name, got " + kindName(ops->node));
            }
            for (const auto& entry : ops->node) {
                const Field key = sub(*ops, entry.first, "");
                const std::string iccid = scalar(key, "an ICCID text");
                const Field value = sub(*ops, entry.second, "." + iccid);
                e.operators[iccid] = scalar(value, "an operator name");
            }
        }
        return e;
    }

    // ---- indications ----

    static void bssidEntry(const Field& f, dsd_wifi_ident_bssid_type_v01& out, std::string& sum) {
        MapReader m(f, {"bssid", "channel_list"});
        const Field b = m.need("bssid");
        if (!parseMac(scalar(b, "a MAC address"), out.bssid)) {
            fail(b,
                 "expected a MAC address like 02:00:00:00:03:00, got \"" + b.node.scalar() + "\"");
        }
        sum += macText(out.bssid);
        if (auto ch = m.opt("channel_list")) {
            const auto items = listOf(*ch, 16);
            out.channel_list_len = static_cast<uint32_t>(items.size());
            sum += " ch ";
            for (size_t i = 0; i < items.size(); ++i) {
                out.channel_list[i] = static_cast<uint16_t>(integer(items[i], 0, 65535));
                sum += (i != 0 ? "," : "") + std::to_string(out.channel_list[i]);
            }
        }
    }

    static void ssidEntry(const Field& f, dsd_wifi_ident_ssid_type_v01& out, std::string& sum) {
        MapReader m(f, {"ssid", "any", "connected", "bssid_list"});
        const std::string which = m.oneOf({"ssid", "any", "connected"});
        if (which == "ssid") {
            const std::string s = text(m.need("ssid"), 32);
            std::memcpy(out.ssid, s.data(), s.size());
            sum += "\"" + s + "\"";
        } else {
            const Field flag = m.need(which.c_str());
            if (!boolean(flag)) {
                fail(flag, which + ": false selects nothing; give ssid instead");
            }
            if (which == "any") {
                std::memset(out.ssid, 0xff, 32);
            }
            sum += which;
        }
        if (auto list = m.opt("bssid_list")) {
            const auto items = listOf(*list, 16);
            out.bssid_list_len = static_cast<uint32_t>(items.size());
            sum += "{";
            for (size_t i = 0; i < items.size(); ++i) {
                sum += i != 0 ? "; " : "";
                bssidEntry(items[i], out.bssid_list[i], sum);
            }
            sum += "}";
        }
    }

    void startMeasurement(const Field& f, Step& s) {
        const MapReader m(f, {"dsd", "meas_id", "meas_param_mask", "ssid_list", "sampling_interval",
                              "reporting_interval", "alpha"});
        auto& ind = s.start;
        s.dsd = client(m);
        ind.meas_id =
            static_cast<int32_t>(integer(m.need("meas_id"), std::numeric_limits<int32_t>::min(),
                                         std::numeric_limits<uint32_t>::max()));
        ind.meas_param_mask =
            unsignedInteger(m.need("meas_param_mask"), std::numeric_limits<uint64_t>::max());
        s.summary = "meas_id=" + std::to_string(ind.meas_id) +
                    " meas_param_mask=" + hex(ind.meas_param_mask);
        if (auto v = m.opt("sampling_interval")) {
            ind.sampling_interval_valid = 1;
            ind.sampling_interval =
                static_cast<uint32_t>(unsignedInteger(*v, std::numeric_limits<uint32_t>::max()));
            s.summary += " sampling_interval=" + std::to_string(ind.sampling_interval);
        }
        if (auto v = m.opt("reporting_interval")) {
            ind.reporting_interval_valid = 1;
            ind.reporting_interval =
                static_cast<uint32_t>(unsignedInteger(*v, std::numeric_limits<uint32_t>::max()));
            s.summary += " reporting_interval=" + std::to_string(ind.reporting_interval);
        }
        if (auto v = m.opt("alpha")) {
            const double a = number(*v);
            if (std::fabs(a) > std::numeric_limits<float>::max()) {
                fail(*v, "does not fit a 32-bit float");
            }
            ind.alpha_valid = 1;
            ind.alpha = static_cast<float>(a);
            std::ostringstream out;
            out << ind.alpha;
            s.summary += " alpha=" + out.str();
        }
        if (auto list = m.opt("ssid_list")) {
            const auto items = listOf(*list, 8);
            ind.ssid_list_valid = 1;
            ind.ssid_list_len = static_cast<uint32_t>(items.size());
            s.summary += " ssid_list=[";
            for (size_t i = 0; i < items.size(); ++i) {
                s.summary += i != 0 ? ", " : "";
                ssidEntry(items[i], ind.ssid_list[i], s.summary);
            }
            s.summary += "]";
        }
    }

    void stopMeasurement(const Field& f, Step& s) {
        const MapReader m(f, {"dsd", "meas_id"});
        s.dsd = client(m);
        s.stop.meas_id =
            static_cast<int32_t>(integer(m.need("meas_id"), std::numeric_limits<int32_t>::min(),
                                         std::numeric_limits<uint32_t>::max()));
        s.summary = "meas_id=" + std::to_string(s.stop.meas_id);
    }

    void profileInit(const Field& f, Step& s) {
        const MapReader m(f, {"dsd", "profile_type", "rssi_low", "rssi_high", "iccid", "meas_id"});
        auto& ind = s.init;
        s.dsd = client(m);
        ind.profile_type = static_cast<int32_t>(integer(m.need("profile_type"),
                                                        std::numeric_limits<int32_t>::min(),
                                                        std::numeric_limits<int32_t>::max()));
        s.summary = "profile_type=" + std::to_string(ind.profile_type);
        if (auto v = m.opt("rssi_low")) {
            ind.rssi_low_valid = 1;
            ind.rssi_low = static_cast<int16_t>(integer(*v, -32768, 32767));
            s.summary += " rssi_low=" + std::to_string(ind.rssi_low);
        }
        if (auto v = m.opt("rssi_high")) {
            ind.rssi_high_valid = 1;
            ind.rssi_high = static_cast<int16_t>(integer(*v, -32768, 32767));
            s.summary += " rssi_high=" + std::to_string(ind.rssi_high);
        }
        if (auto v = m.opt("iccid")) {
            const std::string h = text(*v, 20);
            if (h.size() % 2 != 0 ||
                h.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
                fail(*v, "expected the BCD octets in hex (an even number of hex digits)");
            }
            ind.iccid_valid = 1;
            ind.iccid_len = static_cast<uint32_t>(h.size() / 2);
            for (size_t i = 0; i < ind.iccid_len; ++i) {
                ind.iccid[i] = static_cast<uint8_t>(std::stoul(h.substr(i * 2, 2), nullptr, 16));
            }
            s.summary += " iccid=" + h;
        }
        if (auto v = m.opt("meas_id")) {
            ind.meas_id_valid = 1;
            ind.meas_id = unsignedInteger(*v, std::numeric_limits<uint64_t>::max());
            s.summary += " meas_id=" + std::to_string(ind.meas_id);
        }
    }

    // Mask bits: profiles 36-42 on bits 3-9, profiles 4-35 on bits 32-63.
    static int bitOfProfile(int64_t p) {
        return p >= 36 ? static_cast<int>(p - 33) : static_cast<int>(p + 28);
    }

    void profileMask(const Field& f, Step& s) {
        const MapReader m(f, {"dsd", "profile_type_mask", "profiles", "meas_id"});
        auto& ind = s.mask;
        s.dsd = client(m);
        if (m.oneOf({"profile_type_mask", "profiles"}) == "profiles") {
            for (const auto& item : listOf(m.need("profiles"), 39)) {
                ind.profile_type_mask |= uint64_t{1} << bitOfProfile(integer(item, 4, 42));
            }
        } else {
            ind.profile_type_mask =
                unsignedInteger(m.need("profile_type_mask"), std::numeric_limits<uint64_t>::max());
        }
        s.summary = "profile_type_mask=" + hex(ind.profile_type_mask) + " (profiles";
        std::string names;
        for (int p = 4; p <= 42; ++p) {
            if ((ind.profile_type_mask >> bitOfProfile(p) & 1) != 0) {
                names += " " + std::to_string(p);
            }
        }
        s.summary += (names.empty() ? " none" : names) + ")";
        if (auto v = m.opt("meas_id")) {
            ind.meas_id_valid = 1;
            ind.meas_id = unsignedInteger(*v, std::numeric_limits<uint64_t>::max());
            s.summary += " meas_id=" + std::to_string(ind.meas_id);
        }
    }

    static void ipv4(const Field& f, uint32_t& out) {
        if (inet_pton(AF_INET, scalar(f, "an IPv4 address").c_str(), &out) != 1) {
            fail(f, "expected an IPv4 address like 192.168.1.2, got \"" + f.node.scalar() + "\"");
        }
    }

    static void ipv6(const Field& f, uint8_t (&out)[16]) {
        if (inet_pton(AF_INET6, scalar(f, "an IPv6 address").c_str(), out) != 1) {
            fail(f, "expected an IPv6 address like fe80::1, got \"" + f.node.scalar() + "\"");
        }
    }

    static int32_t int32(const Field& f) {
        return static_cast<int32_t>(
            integer(f, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
    }

    static uint8_t byteOrBool(const Field& f) {
        if (f.node.isScalar()) {
            const std::string v = f.node.scalar();
            if (v == "true" || v == "false") {
                return v == "true" ? 1 : 0;
            }
        }
        return static_cast<uint8_t>(integer(f, 0, 255));
    }

    static void registrationName(const MapReader& m, Step& s, bool required) {
        if (auto n = m.opt("name")) {
            s.text = text(*n, 64);
        } else if (required) {
            m.need("name");
        } else {
            s.nameNull = true;
        }
        s.summary = "name=" + (s.nameNull ? std::string("(none)") : s.text);
    }

    void casVerdict(const Field& f, Step& s) {
        const MapReader m(f, {"name", "pass", "reason"});
        registrationName(m, s, true);
        s.cas.isActive = boolean(m.need("pass")) ? 1 : 0;
        if (auto r = m.opt("reason")) {
            s.cas.reason = int32(*r);
        }
        s.summary +=
            " pass=" + std::to_string(s.cas.isActive) + " reason=" + std::to_string(s.cas.reason);
    }

    static int32_t netType(const Field& f) {
        const std::string v = scalar(f, "a network type");
        if (v == "station") {
            return 1;
        }
        if (v == "softap") {
            return 100;
        }
        if (v == "p2p") {
            return 101;
        }
        if (v.empty() || (std::isdigit(static_cast<unsigned char>(v[0])) == 0 && v[0] != '-')) {
            fail(f, "expected station, softap, p2p or a number, got \"" + v + "\"");
        }
        return int32(f);
    }

    void netConfig(const Field& f, Step& s) {
        const MapReader m(
            f, {"name", "net_type", "state", "ssid", "bssid", "ipv4_addr", "ipv6_addr", "dns_ipv4",
                "dns_ipv6", "net_flag", "station_flag", "is_active", "reason", "country_code"});
        auto& c = s.cas;
        registrationName(m, s, false);
        c.netType = netType(m.need("net_type"));
        s.summary += " net_type=" + std::to_string(c.netType);
        if (auto v = m.opt("state")) {
            c.state = int32(*v);
            s.summary += " state=" + std::to_string(c.state);
        }
        if (auto v = m.opt("ssid")) {
            const std::string t = text(*v, sizeof c.ssid - 1);
            std::memcpy(c.ssid, t.data(), t.size());
            s.summary += " ssid=\"" + t + "\"";
        }
        if (auto v = m.opt("bssid")) {
            const std::string t = text(*v, sizeof c.bssid - 1);
            std::memcpy(c.bssid, t.data(), t.size());
            s.summary += " bssid=" + t;
        }
        if (auto v = m.opt("ipv4_addr")) {
            ipv4(*v, c.ipv4Addr);
            s.summary += " ipv4_addr=" + v->node.scalar();
        }
        if (auto v = m.opt("ipv6_addr")) {
            ipv6(*v, c.ipv6Addr);
            s.summary += " ipv6_addr=" + v->node.scalar();
        }
        if (auto v = m.opt("dns_ipv4")) {
            const auto items = listOf(*v, 2);
            for (size_t i = 0; i < items.size(); ++i) {
                ipv4(items[i], c.dnsIpv4[i]);
                s.summary += " dns_ipv4=" + items[i].node.scalar();
            }
        }
        if (auto v = m.opt("dns_ipv6")) {
            const auto items = listOf(*v, 2);
            for (size_t i = 0; i < items.size(); ++i) {
                ipv6(items[i], c.dnsIpv6[i]);
                s.summary += " dns_ipv6=" + items[i].node.scalar();
            }
        }
        if (auto v = m.opt("net_flag")) {
            c.netFlag = byteOrBool(*v);
            s.summary += " net_flag=" + std::to_string(c.netFlag);
        }
        if (auto v = m.opt("station_flag")) {
            c.stationFlag = byteOrBool(*v);
            s.summary += " station_flag=" + std::to_string(c.stationFlag);
        }
        if (auto v = m.opt("is_active")) {
            c.isActive = byteOrBool(*v);
            s.summary += " is_active=" + std::to_string(c.isActive);
        }
        if (auto v = m.opt("reason")) {
            c.reason = int32(*v);
            s.summary += " reason=" + std::to_string(c.reason);
        }
        if (auto v = m.opt("country_code")) {
            const std::string t = text(*v, 2);
            std::memcpy(c.countryCode, t.data(), t.size());
            s.summary += " country_code=\"" + t + "\"";
        }
    }

    static std::string daemonSummary(const DaemonConfig& d) {
        std::string out;
        for (const auto& r : d.rules) {
            out += (out.empty() ? "" : "; ") + r.command + (r.type == 1 ? " (p2p)" : "") + ": ";
            if (r.replies.size() != 1) {
                out += std::to_string(r.replies.size()) + " replies";
            } else if (r.replies[0].fail) {
                out += "fails";
            } else {
                out += firstLineOf(r.replies[0].text);
            }
        }
        if (d.scanDelay) {
            out += (out.empty() ? "" : "; ") + std::string("scan_delay=") +
                   std::to_string(*d.scanDelay);
        }
        for (const auto& [type, on] : d.connectFailure) {
            out += (out.empty() ? "" : "; ") + std::string(type == 1 ? "p2p" : "sta") +
                   " connect_failure=" + (on ? "true" : "false");
        }
        return out;
    }

    void time(const Field& f, Step& s) {
        s.seconds = seconds(f);
        if (s.kind == StepKind::At && s.seconds < now) {
            fail(f, "time " + std::to_string(s.seconds) + " is before the current time " +
                        std::to_string(now));
        }
        now = s.kind == StepKind::At ? s.seconds : now + s.seconds;
    }

    void note(const Field& f, Step& s) { s.text = text(f, 4096); }

    void clientOnly(const Field& f, Step& s) { s.dsd = client(MapReader(f, {"dsd"})); }

    void scanReady(const Field& f, Step& s) {
        const MapReader m(f, {"timeout"});
        s.seconds = m.has("timeout") ? seconds(m.need("timeout")) : 10;
    }

    void wifiState(const Field& f, Step& s) {
        s.flag = boolean(f);
        s.summary = std::string("wifi_on=") + (s.flag ? "1" : "0");
    }

    void daemonStep(const Field& f, Step& s) {
        s.daemon = daemon(f);
        s.summary = daemonSummary(s.daemon);
    }

    void forkStep(const Field& f, Step& s) {
        s.forks = forks(f);
        for (const auto& r : s.forks) {
            s.summary += (s.summary.empty() ? "" : "; ") + r.command;
            s.summary += ": rc=" + std::to_string(r.rc);
        }
    }

    void engineStep(const Field& f, Step& s) {
        s.engine = engine(f);
        if (s.engine.chipsetType) {
            s.summary += "chipset_type=" + std::to_string(*s.engine.chipsetType) + " ";
        }
        if (s.engine.decisionEngine) {
            s.summary +=
                std::string("decision_engine=") + (*s.engine.decisionEngine ? "true " : "false ");
        }
        s.summary += std::to_string(s.engine.operators.size()) + " operator(s)";
    }

    struct Action {
        const char* name;
        StepKind kind;
        void (Loader::*parse)(const Field&, Step&);
    };

    static const std::vector<Action>& actions() {
        static const std::vector<Action> table = {
            {"advance", StepKind::Advance, &Loader::time},
            {"at", StepKind::At, &Loader::time},
            {"note", StepKind::Note, &Loader::note},
            {"start_measurement", StepKind::StartMeasurement, &Loader::startMeasurement},
            {"stop_measurement", StepKind::StopMeasurement, &Loader::stopMeasurement},
            {"profile_init", StepKind::ProfileInit, &Loader::profileInit},
            {"profile_mask", StepKind::ProfileMask, &Loader::profileMask},
            {"default_profile", StepKind::DefaultProfile, &Loader::clientOnly},
            {"stop_all", StepKind::StopAll, &Loader::clientOnly},
            {"scan_ready", StepKind::ScanReady, &Loader::scanReady},
            {"cas_verdict", StepKind::CasVerdict, &Loader::casVerdict},
            {"net_config", StepKind::NetConfig, &Loader::netConfig},
            {"wifi_state", StepKind::WifiState, &Loader::wifiState},
            {"daemon", StepKind::Daemon, &Loader::daemonStep},
            {"forkexec", StepKind::ForkExec, &Loader::forkStep},
            {"engine", StepKind::Engine, &Loader::engineStep},
        };
        return table;
    }

    static std::string actionNames() {
        std::string out;
        const auto& table = actions();
        for (size_t i = 0; i < table.size(); ++i) {
            out += i == 0 ? "" : i + 1 == table.size() ? " or " : ", ";
            out += table[i].name;
        }
        return out;
    }

    Step step(const Field& item) {
        if (!item.node.isMap() || item.node.size() != 1) {
            fail(item, "expected a step: a map with exactly one action, such as advance: 5");
        }
        const auto entry = *item.node.begin();
        const Field keyField = sub(item, entry.first, "");
        const std::string key = scalar(keyField, "an action name");
        // Errors about the action's value point at the line of its name.
        const Field value{entry.second, item.path + "." + key, item.file, keyField.line};
        for (const auto& a : actions()) {
            if (key == a.name) {
                Step s;
                s.line = keyField.line;
                s.kind = a.kind;
                (this->*a.parse)(value, s);
                return s;
            }
        }
        fail(value, "unknown action (expected " + actionNames() + ")");
    }

    Scenario scenario(const yaml::Node& root, const std::string& file) {
        Scenario sc;
        sc.file = file;
        const Field top{root, "", &sc.file, 1};
        if (root.isNull()) {
            fail(top, "the scenario is empty");
        }
        MapReader m(top, {"name", "description", "engine", "daemon", "forkexec", "live", "steps"});
        if (auto v = m.opt("name")) {
            sc.name = text(*v, 200);
        }
        if (auto v = m.opt("description")) {
            sc.description = text(*v, 4096);
        }
        if (auto v = m.opt("engine")) {
            sc.engine = engine(*v);
        }
        if (auto v = m.opt("daemon")) {
            sc.daemon = daemon(*v);
        }
        if (auto v = m.opt("forkexec")) {
            sc.forks = forks(*v);
        }
        if (auto v = m.opt("live")) {
            MapReader lm(*v, {"timeout"});
            if (auto t = lm.opt("timeout")) {
                sc.live.timeout = number(*t);
                if (sc.live.timeout <= 0 || sc.live.timeout > 600) {
                    fail(*t, "expected seconds above 0 and at most 600");
                }
            }
        }
        for (const auto& item : listOf(m.need("steps"), 1000000)) {
            sc.steps.push_back(step(item));
        }
        sc.dsdCount = maxDsd + 1;
        return sc;
    }
};

}  // namespace

Scenario loadScenarioText(const std::string& text, const std::string& file,
                          const std::string& baseDir) {
    yaml::Node root;
    try {
        root = yaml::load(text);
    } catch (const yaml::Error& e) {
        throw ScenarioError(file, e.line, "syntax", e.what());
    }
    Loader loader;
    loader.baseDir = baseDir;
    return loader.scenario(root, file);
}

Scenario loadScenarioFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw ScenarioError(path, 1, "file", std::string("cannot read: ") + std::strerror(errno));
    }
    std::ostringstream text;
    text << in.rdbuf();
    const size_t slash = path.rfind('/');
    return loadScenarioText(text.str(), path,
                            slash == std::string::npos ? "" : path.substr(0, slash + 1));
}

}  // namespace ylmsim
