#include "record/Recorder.h"

#include <fstream>

#include "record/ScenarioText.h"

namespace ylmsim {

class Recorder::SupplicantSide : public SupplicantTap {
  public:
    explicit SupplicantSide(Recorder& r) : rec(r) {}
    bool command(int type, const std::string& cmd, std::string& reply) override {
        const bool ok = inner->command(type, cmd, reply);
        rec.reply(type, cmd, ok, reply);
        return ok;
    }
    bool connect(int type) override {
        const bool ok = inner->connect(type);
        rec.connected(type, ok);
        return ok;
    }

  private:
    Recorder& rec;
};

class Recorder::ForkSide : public emu::ForkExecBackend {
  public:
    ForkSide(Recorder& r, emu::ForkExecBackend* backend) : rec(r), inner(backend) {}
    int run(const std::string& cmdLine, std::string& output) override {
        const int rc = inner->run(cmdLine, output);
        rec.forked(cmdLine, output, rc);
        return rc;
    }

  private:
    Recorder& rec;
    emu::ForkExecBackend* inner;
};

Recorder::Recorder(const Scenario& played, std::string mode) : how(std::move(mode)) {
    out.file = played.file;
    out.name = (played.name.empty() ? played.file : played.name) + " (recorded)";
    out.engine = played.engine;
}

Recorder::~Recorder() = default;

emu::SupplicantBackend* Recorder::supplicant(emu::SupplicantBackend* inner) {
    supplicantSide = std::make_unique<SupplicantSide>(*this);
    supplicantSide->wrap(inner);
    return supplicantSide.get();
}

emu::ForkExecBackend* Recorder::forkExec(emu::ForkExecBackend* inner) {
    forkSide = std::make_unique<ForkSide>(*this, inner);
    return forkSide.get();
}

void Recorder::reply(int type, const std::string& cmd, bool ok, const std::string& text) {
    // Each command keeps its replies in the order they came: a playback makes the same calls in
    // the same order, so each call gets the reply its twin got.
    const auto key = std::make_pair(type, cmd);
    auto it = rules.find(key);
    if (it == rules.end()) {
        it = rules.emplace(key, out.daemon.rules.size()).first;
        out.daemon.rules.push_back({type, cmd, {}});
    }
    out.daemon.rules[it->second].replies.push_back({!ok, ok ? text : ""});
}

void Recorder::connected(int type, bool ok) {
    const bool fails = !ok;
    const auto pending = pendingConnects.find(type);
    if (pending != pendingConnects.end() && pending->second != fails) {
        problems.push_back("the P2P link both failed and worked within one step at " +
                           std::to_string(emu::Engine::instance().now()) +
                           " s; the playback has one of the two");
    }
    if (connectFails[type] != fails) {
        connectFails[type] = fails;
        pendingConnects[type] = fails;
    }
}

void Recorder::forked(const std::string& cmdLine, const std::string& output, int rc) {
    const auto held = shell.find(cmdLine);
    if (held != shell.end() && held->second == std::make_pair(output, rc)) {
        return;
    }
    for (const auto& f : pendingForks) {
        if (f.command == cmdLine && (f.output != output || f.rc != rc)) {
            problems.push_back("\"" + cmdLine + "\" gave two outputs within one step at " +
                               std::to_string(emu::Engine::instance().now()) +
                               " s; the playback has the later one");
        }
    }
    shell[cmdLine] = {output, rc};
    pendingForks.push_back({cmdLine, output, rc});
}

void Recorder::mark() {
    const int64_t now = emu::Engine::instance().now();
    if (now > last) {
        Step at;
        at.kind = StepKind::At;
        at.seconds = now;
        out.steps.push_back(at);
        last = now;
    }
    if (!pendingForks.empty()) {
        Step f;
        f.kind = StepKind::ForkExec;
        f.forks.swap(pendingForks);
        out.steps.push_back(f);
    }
    if (!pendingConnects.empty()) {
        Step d;
        d.kind = StepKind::Daemon;
        d.daemon.connectFailure.swap(pendingConnects);
        out.steps.push_back(d);
    }
}

void Recorder::step(const Step& s) {
    switch (s.kind) {
        case StepKind::Advance:
        case StepKind::At:
        case StepKind::ScanReady:
        case StepKind::Daemon:
        case StepKind::ForkExec:
            return;
        default:
            break;
    }
    mark();
    out.steps.push_back(s);
    out.dsdCount = std::max(out.dsdCount, s.dsd + 1);
}

void Recorder::scanReady() {
    mark();
    Step s;
    s.kind = StepKind::ScanReady;
    out.steps.push_back(s);
}

bool Recorder::write(const std::string& path, std::string& error) {
    mark();
    std::vector<std::string> comment = {
        "Recorded by ylm-sim --record from " + out.file + " (" + how + ").",
        "Plays back scripted on the virtual clock to the same DSD messages: ylm-sim " + path,
        "Each command's replies are used one per call, in the order they came."};
    for (const auto& p : problems) {
        comment.push_back("Note: " + p);
    }
    const std::string text = scenarioText(out, comment);
    // What cannot be read back is no recording.
    try {
        loadScenarioText(text, path, "");
    } catch (const ScenarioError& e) {
        error = std::string("the recording does not read back: ") + e.what();
        return false;
    }
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file) {
        error = "cannot write " + path;
        return false;
    }
    return true;
}

}  // namespace ylmsim
