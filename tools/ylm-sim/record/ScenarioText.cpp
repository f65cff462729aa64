#include "record/ScenarioText.h"

#include <arpa/inet.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <sstream>
#include <utility>

#include "emu/DsdDecoder.h"
#include "record/RecordText.h"
#include "record/YamlText.h"

namespace ylmsim {
namespace {

using recordtext::recordOf;
using recordtext::recordStep;
using yamltext::Fields;
using yamltext::hexOf;
using yamltext::oneLine;
using yamltext::textValue;

int hexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

// The record a step of this kind carries, as bytes; null for kinds without one.
// ---- the document ----------------------------------------------------------------------------

class Document {
  public:
    explicit Document(const Scenario& sc) {
        countTexts(sc.daemon, sc.forks);
        for (const auto& s : sc.steps) {
            countTexts(s.daemon, s.forks);
        }
    }

    std::string text;

    void line(const std::string& l) { text += l + "\n"; }

    void engine(const std::string& indent, const std::string& key, const EngineConfig& e) {
        Fields f;
        if (e.chipsetType) {
            f.add("chipset_type", std::to_string(*e.chipsetType));
        }
        if (e.decisionEngine) {
            f.add("decision_engine", *e.decisionEngine ? "true" : "false");
        }
        if (!e.operators.empty()) {
            Fields ops;
            for (const auto& [iccid, name] : e.operators) {
                std::string k;
                std::string v;
                if (oneLine(iccid, k) && oneLine(name, v)) {
                    ops.add(k, v);
                }
            }
            f.add("operators", ops.map());
        }
        line(indent + key + f.map());
    }

    void daemon(const std::string& indent, const DaemonConfig& d) {
        if (d.scanDelay) {
            line(indent + "scan_delay: " + std::to_string(*d.scanDelay));
        }
        if (!d.connectFailure.empty()) {
            Fields f;
            for (const auto& [type, fail] : d.connectFailure) {
                f.add(type == 1 ? "p2p" : "sta", fail ? "true" : "false");
            }
            line(indent + "connect_failure: " + f.map());
        }
        if (d.rules.empty()) {
            return;
        }
        line(indent + "replies:");
        for (const auto& r : d.rules) {
            std::string cmd;
            if (!oneLine(r.command, cmd)) {
                line(indent +
                     "  # a command that is no UTF-8 text is left out: " + hexOf(r.command));
                continue;
            }
            line(std::string(indent).append("  - command: ").append(cmd));
            if (r.type == 1) {
                line(indent + "    iface: p2p");
            }
            if (r.replies.size() == 1) {
                line(indent + "    reply: " + reply(r.replies[0], indent + "      "));
                continue;
            }
            line(indent + "    replies:");
            for (const auto& rep : r.replies) {
                line(indent + "      - " + reply(rep, indent + "        "));
            }
        }
    }

    void forks(const std::string& indent, const std::vector<ForkRule>& rules) {
        for (const auto& r : rules) {
            std::string cmd;
            if (!oneLine(r.command, cmd)) {
                continue;
            }
            line(std::string(indent).append("- command: ").append(cmd));
            line(indent + "  output: " + shared(r.output, indent + "    "));
            line(indent + "  rc: " + std::to_string(r.rc));
        }
    }

    void step(const Step& s) {
        switch (s.kind) {
            case StepKind::Advance:
                line("  - advance: " + std::to_string(s.seconds));
                break;
            case StepKind::At:
                line("  - at: " + std::to_string(s.seconds));
                break;
            case StepKind::Note: {
                std::string t;
                line("  - note: " + (oneLine(s.text, t) ? t : "\"(no UTF-8 text)\""));
                break;
            }
            case StepKind::ScanReady:
                line("  - scan_ready:");
                break;
            case StepKind::WifiState:
                line(std::string("  - wifi_state: ") + (s.flag ? "on" : "off"));
                break;
            case StepKind::DefaultProfile:
            case StepKind::StopAll: {
                const char* name =
                    s.kind == StepKind::DefaultProfile ? "default_profile" : "stop_all";
                line(std::string("  - ") + name + ":" +
                     (s.dsd != 0 ? " {dsd: " + std::to_string(s.dsd) + "}" : ""));
                break;
            }
            case StepKind::Daemon:
                line("  - daemon:");
                daemon("      ", s.daemon);
                break;
            case StepKind::ForkExec:
                line("  - forkexec:");
                forks("      ", s.forks);
                break;
            case StepKind::Engine:
                engine("  - ", "engine: ", s.engine);
                break;
            default:
                line("  - " + recordStep(s));
                break;
        }
    }

  private:
    void countTexts(const DaemonConfig& d, const std::vector<ForkRule>& forks) {
        for (const auto& r : d.rules) {
            for (const auto& rep : r.replies) {
                ++uses[rep.text];
            }
        }
        for (const auto& f : forks) {
            ++uses[f.output];
        }
    }

    // A text that comes more than once is written once, anchored, and named after that.
    std::string shared(const std::string& bytes, const std::string& indent) {
        if (bytes.size() < 8 || uses[bytes] < 2) {
            return textValue(bytes, indent);
        }
        auto it = anchors.find(bytes);
        if (it != anchors.end()) {
            return "*" + it->second;
        }
        const std::string name = "r" + std::to_string(anchors.size() + 1);
        anchors.emplace(bytes, name);
        return "&" + name + " " + textValue(bytes, indent);
    }

    std::string reply(const Reply& r, const std::string& indent) {
        return r.fail ? "{fail: true}" : shared(r.text, indent);
    }

    std::map<std::string, size_t> uses;
    std::map<std::string, std::string> anchors;
};

}  // namespace

bool hexBytes(const std::string& hex, std::string& bytes) {
    if (hex.size() % 2 != 0) {
        return false;
    }
    bytes.clear();
    for (size_t i = 0; i < hex.size(); i += 2) {
        const int hi = hexValue(hex[i]);
        const int lo = hexValue(hex[i + 1]);
        if (hi < 0 || lo < 0) {
            return false;
        }
        bytes += static_cast<char>(hi * 16 + lo);
    }
    return true;
}

bool readRawRecord(Step& step, const std::string& hex, std::string& why) {
    const auto record = recordOf(step);
    std::string bytes;
    if (record.first == nullptr) {
        why = "this action carries no record";
        return false;
    }
    if (!hexBytes(hex, bytes)) {
        why = "expected the record's bytes as an even number of hex digits";
        return false;
    }
    if (bytes.size() > record.second) {
        why = "the record has " + std::to_string(record.second) + " bytes, got " +
              std::to_string(bytes.size());
        return false;
    }
    std::memset(record.first, 0, record.second);
    std::memcpy(record.first, bytes.data(), bytes.size());
    return true;
}

std::string scenarioText(const Scenario& sc, const std::vector<std::string>& comment) {
    Document doc(sc);
    for (const auto& c : comment) {
        doc.line("# " + c);
    }
    std::string v;
    if (!sc.name.empty() && oneLine(sc.name, v)) {
        doc.line("name: " + v);
    }
    if (!sc.description.empty() && oneLine(sc.description, v)) {
        doc.line("description: " + v);
    }
    if (sc.engine.chipsetType || sc.engine.decisionEngine || !sc.engine.operators.empty()) {
        doc.engine("", "engine: ", sc.engine);
    }
    const DaemonConfig& d = sc.daemon;
    if (d.scanDelay || !d.connectFailure.empty() || !d.rules.empty()) {
        doc.line("daemon:");
        doc.daemon("  ", d);
    }
    if (!sc.forks.empty()) {
        doc.line("forkexec:");
        doc.forks("  ", sc.forks);
    }
    doc.line(sc.steps.empty() ? "steps: []" : "steps:");
    for (const auto& s : sc.steps) {
        doc.step(s);
    }
    return doc.text;
}

}  // namespace ylmsim
