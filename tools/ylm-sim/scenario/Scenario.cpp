#include "scenario/Scenario.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <limits>
#include <sstream>

#include "record/ScenarioText.h"
#include "scenario/Fields.h"
#include "scenario/Records.h"
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

using fields::Field;
using fields::MapReader;

std::string readFile(const Field& f, const std::string& baseDir) {
    const std::string name = fields::text(f, 4096);
    const std::string path = !name.empty() && name[0] == '/' ? name : baseDir + name;
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        fields::fail(f, "cannot read " + path + ": " + std::strerror(errno));
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

    size_t client(size_t d) {
        maxDsd = std::max(maxDsd, d);
        return d;
    }

    // Bytes given as hex digits (a reply or a record that is no text).
    static std::string bytesOfHex(const Field& f) {
        std::string bytes;
        if (!hexBytes(fields::text(f, 1 << 20), bytes)) {
            fields::fail(f, "expected an even number of hex digits");
        }
        return bytes;
    }

    static bool givesHex(const yaml::Node& node) {
        for (const auto& entry : node) {
            if (entry.first.isScalar() && entry.first.scalar() == "hex") {
                return true;
            }
        }
        return false;
    }

    // A record given as its bytes, {dsd or name, hex}: what the fields cannot express.
    void rawRecord(const Field& f, Step& s) {
        const MapReader m(f, {"dsd", "name", "hex"});
        s.dsd = client(records::dsdIndex(m));
        const auto name = records::registrationName(m, false);
        s.nameNull = !name.has_value();
        s.text = name.value_or("");
        std::string why;
        if (!readRawRecord(s, fields::text(m.need("hex"), 1 << 16), why)) {
            fields::fail(m.need("hex"), why);
        }
    }

    // A text reply: inline text, {file: path}, {hex: digits} or {fail: true}.
    Reply reply(const Field& f) const {
        if (f.node.isScalar()) {
            return {false, f.node.scalar()};
        }
        MapReader m(f, {"file", "fail", "hex"});
        const std::string which = m.oneOf({"file", "fail", "hex"});
        if (which == "hex") {
            return {false, bytesOfHex(m.need("hex"))};
        }
        if (which == "fail") {
            if (!fields::boolean(m.need("fail"))) {
                fields::fail(m.need("fail"), "fail: false is no reply; give a text or file");
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
        const std::string s = fields::scalar(*f, "sta or p2p");
        if (s == "sta" || s == "0") {
            return 0;
        }
        if (s == "p2p" || s == "1") {
            return 1;
        }
        fields::fail(*f, "expected sta or p2p, got \"" + s + "\"");
    }

    DaemonRule rule(const Field& f) const {
        MapReader m(f, {"command", "iface", "reply", "replies", "fail"});
        DaemonRule r;
        r.command = fields::text(m.need("command"), 4096);
        r.type = iface(m);
        const std::string which = m.oneOf({"reply", "replies", "fail"});
        if (which == "reply") {
            r.replies.push_back(reply(m.need("reply")));
        } else if (which == "replies") {
            for (const auto& item : fields::listOf(m.need("replies"), 100000)) {
                r.replies.push_back(reply(item));
            }
            if (r.replies.empty()) {
                fields::fail(m.need("replies"), "needs at least one reply");
            }
        } else {
            if (!fields::boolean(m.need("fail"))) {
                fields::fail(m.need("fail"), "fail: false is no reply; give reply or replies");
            }
            r.replies.push_back({true, ""});
        }
        return r;
    }

    DaemonConfig daemon(const Field& f) const {
        MapReader m(f, {"replies", "scan_delay", "connect_failure"});
        DaemonConfig d;
        if (auto s = m.opt("scan_delay")) {
            d.scanDelay = fields::seconds(*s);
        }
        if (auto c = m.opt("connect_failure")) {
            MapReader cm(*c, {"sta", "p2p"});
            if (auto v = cm.opt("sta")) {
                d.connectFailure[0] = fields::boolean(*v);
            }
            if (auto v = cm.opt("p2p")) {
                d.connectFailure[1] = fields::boolean(*v);
            }
        }
        if (auto r = m.opt("replies")) {
            for (const auto& item : fields::listOf(*r, 100000)) {
                d.rules.push_back(rule(item));
            }
        }
        return d;
    }

    std::vector<ForkRule> forks(const Field& f) const {
        std::vector<ForkRule> out;
        for (const auto& item : fields::listOf(f, 100000)) {
            MapReader m(item, {"command", "output", "rc"});
            ForkRule r;
            r.command = fields::text(m.need("command"), 4096);
            if (auto o = m.opt("output")) {
                const Reply rep = reply(*o);
                if (rep.fail) {
                    fields::fail(*o, "an output cannot fail; use rc");
                }
                r.output = rep.text;
            }
            if (auto rc = m.opt("rc")) {
                r.rc = static_cast<int>(fields::integer(*rc, std::numeric_limits<int32_t>::min(),
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
            e.chipsetType = static_cast<int>(fields::integer(
                *c, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
        }
        if (auto d = m.opt("decision_engine")) {
            e.decisionEngine = fields::boolean(*d);
        }
        if (auto ops = m.opt("operators")) {
            if (!ops->node.isMap()) {
                fields::fail(*ops, "expected a map of ICCID text to operator name, got " +
                                       fields::kindName(ops->node));
            }
            for (const auto& entry : ops->node) {
                const Field key = fields::sub(*ops, entry.first, "");
                const std::string iccid = fields::scalar(key, "an ICCID text");
                const Field value = fields::sub(*ops, entry.second, "." + iccid);
                e.operators[iccid] = fields::scalar(value, "an operator name");
            }
        }
        return e;
    }

    // ---- indications and quality-service records ----

    void startMeasurement(const Field& f, Step& s) {
        const auto r = records::startMeasurement(f);
        s.dsd = client(r.dsd);
        s.start = r.record;
    }

    void stopMeasurement(const Field& f, Step& s) {
        const auto r = records::stopMeasurement(f);
        s.dsd = client(r.dsd);
        s.stop = r.record;
    }

    void profileInit(const Field& f, Step& s) {
        const auto r = records::profileInit(f);
        s.dsd = client(r.dsd);
        s.init = r.record;
    }

    void profileMask(const Field& f, Step& s) {
        const auto r = records::profileMask(f);
        s.dsd = client(r.dsd);
        s.mask = r.record;
    }

    static void registration(const records::ForRegistration& r, Step& s) {
        s.nameNull = !r.name.has_value();
        s.text = r.name.value_or("");
        s.cas = r.record;
    }

    void casVerdict(const Field& f, Step& s) { registration(records::casVerdict(f), s); }

    void netConfig(const Field& f, Step& s) { registration(records::netConfig(f), s); }

    void time(const Field& f, Step& s) {
        s.seconds = fields::seconds(f);
        if (s.kind == StepKind::At && s.seconds < now) {
            fields::fail(f, "time " + std::to_string(s.seconds) + " is before the current time " +
                                std::to_string(now));
        }
        now = s.kind == StepKind::At ? s.seconds : now + s.seconds;
    }

    void note(const Field& f, Step& s) { s.text = fields::text(f, 4096); }

    void clientOnly(const Field& f, Step& s) { s.dsd = client(records::client(f)); }

    void scanReady(const Field& f, Step& s) {
        const MapReader m(f, {"timeout"});
        s.seconds = m.has("timeout") ? fields::seconds(m.need("timeout")) : 10;
    }

    void wifiState(const Field& f, Step& s) { s.flag = fields::boolean(f); }

    void daemonStep(const Field& f, Step& s) { s.daemon = daemon(f); }

    void forkStep(const Field& f, Step& s) { s.forks = forks(f); }

    void engineStep(const Field& f, Step& s) { s.engine = engine(f); }

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
            fields::fail(item,
                         "expected a step: a map with exactly one action, such as advance: 5");
        }
        const auto entry = *item.node.begin();
        const Field keyField = fields::sub(item, entry.first, "");
        const std::string key = fields::scalar(keyField, "an action name");
        // Errors about the action's value point at the line of its name.
        const Field value{entry.second, item.path + "." + key, item.file, keyField.line};
        for (const auto& a : actions()) {
            if (key == a.name) {
                Step s;
                s.line = keyField.line;
                s.kind = a.kind;
                if (givesHex(value.node)) {
                    rawRecord(value, s);
                } else {
                    (this->*a.parse)(value, s);
                }
                return s;
            }
        }
        fields::fail(value, "unknown action (expected " + actionNames() + ")");
    }

    Scenario scenario(const yaml::Node& root, const std::string& file) {
        Scenario sc;
        sc.file = file;
        const Field top{root, "", &sc.file, 1};
        if (root.isNull()) {
            fields::fail(top, "the scenario is empty");
        }
        MapReader m(top, {"name", "description", "engine", "daemon", "forkexec", "live", "steps"});
        if (auto v = m.opt("name")) {
            sc.name = fields::text(*v, 200);
        }
        if (auto v = m.opt("description")) {
            sc.description = fields::text(*v, 4096);
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
                sc.live.timeout = fields::number(*t);
                if (sc.live.timeout <= 0 || sc.live.timeout > 600) {
                    fields::fail(*t, "expected seconds above 0 and at most 600");
                }
            }
        }
        for (const auto& item : fields::listOf(m.need("steps"), 1000000)) {
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
