#include "run/Runner.h"

#include <poll.h>

#include <chrono>
#include <cmath>
#include <csignal>

#include "picture/SvgTimeline.h"
#include "timeline/StepText.h"
#include "emu/Engine.h"
#include "run/EngineSettings.h"

namespace ylmsim {
namespace {

volatile std::sig_atomic_t gInterrupted = 0;

void onSignal(int /*sig*/) {
    gInterrupted = 1;
}

double monotonicSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// Scan-results events one instant may bring before the simulator calls it a loop.
constexpr int kMaxEventsPerInstant = 1000;

}  // namespace

Runner::Runner(const Scenario& scenario, const RunOptions& options, FILE* out, FILE* e)
    : sc(scenario), opts(options), err(e), printer(out, e, options.output) {
    printer.setClients(sc.dsdCount);
    opts.liveOptions.timeout = sc.live.timeout;
}

Runner::~Runner() {
    emu::Engine& e = emu::Engine::instance();
    e.setSupplicantBackend(nullptr);
    e.setForkExecBackend(nullptr);
    e.onDsd = nullptr;
}

bool Runner::setUp() {
    emu::Engine& e = emu::Engine::instance();
    e.reset();
    startEngine(e, sc.engine);
    if (opts.live) {
        live = std::make_unique<LiveSupplicant>(opts.liveOptions);
        std::string error;
        if (!live->start(error)) {
            std::fprintf(err, "ylm-sim: %s\n", error.c_str());
            return false;
        }
        explained.wrap(recorder ? recorder->supplicant(live.get()) : live.get());
        e.setForkExecBackend(&liveFork);
    } else {
        scripted.apply(sc.daemon);
        explained.wrap(recorder ? recorder->supplicant(&scripted) : &scripted);
        scriptForks(e, sc.forks);
    }
    if (recorder) {
        e.setForkExecBackend(recorder->forkExec(&e.forkExecBackend()));
    }
    e.setSupplicantBackend(&explained);
    if (!opts.replyLogPath.empty()) {
        std::string error;
        if (!replies.open(opts.replyLogPath, error)) {
            std::fprintf(err, "ylm-sim: %s\n", error.c_str());
            return false;
        }
        replies.wrap(&explained);
        e.setSupplicantBackend(&replies);
    }
    e.onDsd = [this](const emu::DsdMessage& m) { explainer.message(m); };
    if (!opts.svgPath.empty()) {
        polls.attach();
    }
    for (size_t i = 0; i < sc.dsdCount; ++i) {
        e.dsd(i);
    }
    std::string error;
    if (!plugin.load(opts.library, error)) {
        std::fprintf(err, "ylm-sim: cannot load the plug-in %s: %s\n", opts.library.c_str(),
                     error.c_str());
        return false;
    }
    printer.row("", "->", "init", "");
    plugin.initializeLinks(e.com(), e.timer(), e.supplicant());
    printer.row("", "->", "initializeLinks", "");
    printer.flush();
    startTime = monotonicSeconds();
    return true;
}

int Runner::run() {
    const std::string mode = opts.live ? "live: wpa_supplicant at " + opts.liveOptions.ctrlDir +
                                             "/" + opts.liveOptions.iface + " (P2P " +
                                             opts.liveOptions.p2pIface + "), real clock in seconds"
                                       : "scripted daemons, virtual clock in seconds";
    printer.header(sc, mode);
    if (!opts.recordPath.empty()) {
        recorder = std::make_unique<Recorder>(sc, mode);
    }
    if (opts.live) {
        struct sigaction sa {};
        sa.sa_handler = onSignal;
        sigaction(SIGINT, &sa, nullptr);
        sigaction(SIGTERM, &sa, nullptr);
    }
    if (!setUp()) {
        return 1;
    }
    for (size_t i = 0; i < sc.steps.size() && !interrupted; ++i) {
        const Step& step = sc.steps[i];
        replies.step(i, step.line);
        perform(step);
        printer.flush();
        showNotices();
        if (recorder) {
            recorder->step(step);
        }
        if (opts.afterStep && !opts.afterStep(step, started)) {
            return 3;
        }
    }
    replies.end();
    if (live) {
        live->finish();
        showNotices();
    }
    printer.summary(scripted.unanswered(), sc.dsdCount, opts.live);
    std::string error;
    if (recorder && !recorder->write(opts.recordPath, error)) {
        std::fprintf(err, "ylm-sim: --record: %s\n", error.c_str());
        return 1;
    }
    if (!opts.svgPath.empty() &&
        !writeRunPicture(opts.svgPath, {sc.name.empty() ? sc.file : sc.name, mode}, polls,
                         sc.dsdCount, error)) {
        std::fprintf(err, "ylm-sim: %s\n", error.c_str());
        return 1;
    }
    if (interrupted) {
        std::fprintf(err, "ylm-sim: interrupted\n");
        return 1;
    }
    return 0;
}

void Runner::perform(const Step& s) {
    emu::Engine& e = emu::Engine::instance();
    const char* liveOnly = opts.live ? " (ignored in live mode)" : "";
    switch (s.kind) {
        case StepKind::Advance:
            cursor += s.seconds;
            advanceTo(cursor);
            break;
        case StepKind::At:
            cursor = std::max(cursor, s.seconds);
            advanceTo(cursor);
            break;
        case StepKind::Note:
            printer.note(s.text);
            break;
        case StepKind::ScanReady:
            if (live) {
                liveWait(e.now() + s.seconds, true);
                cursor = std::max(cursor, e.now());
            } else {
                scanResultsReady("scan_ready step");
            }
            break;
        case StepKind::CasVerdict:
        case StepKind::NetConfig:
        case StepKind::WifiState:
            deliver(s);
            break;
        case StepKind::Daemon:
            if (!live) {
                scripted.apply(s.daemon);
            }
            printer.row("-", "**", "daemon", describeStep(s) + liveOnly);
            break;
        case StepKind::ForkExec:
            scriptForks(e, s.forks);
            printer.row("-", "**", "forkexec", describeStep(s) + liveOnly);
            break;
        case StepKind::Engine:
            changeEngine(e, s.engine);
            printer.row("-", "**", "engine", describeStep(s));
            break;
        default:
            indication(s);
            break;
    }
}

void Runner::indication(const Step& s) {
    VorTpxDsd* dsd = emu::Engine::instance().dsd(s.dsd);
    std::string op;
    std::string details = describeStep(s);
    // Each call gets its own copy of the record, as the engine hands over its own buffer.
    switch (s.kind) {
        case StepKind::StartMeasurement: {
            auto ind = s.start;
            op = "startWifiMeasurement";
            const size_t timersBefore = emu::Engine::instance().timers.size();
            const bool ok = plugin.startWifiMeasurement(dsd, ind);
            started = ok;
            if (ok) {
                explainer.started(dsd, s.start);
            }
            polls.measurementStarted(s.dsd, s.start, timersBefore);
            details += std::string(" -> ") + (ok ? "true" : "false");
            break;
        }
        case StepKind::StopMeasurement: {
            auto ind = s.stop;
            op = "stopWifiMeasurement";
            plugin.stopWifiMeasurement(dsd, ind);
            explainer.stopped(dsd, s.stop.meas_id);
            break;
        }
        case StepKind::ProfileInit: {
            auto ind = s.init;
            op = "wqeProfileInit";
            plugin.wqeProfileInit(dsd, ind);
            break;
        }
        case StepKind::ProfileMask: {
            auto ind = s.mask;
            op = "setWqeProfile";
            plugin.setWqeProfile(dsd, ind);
            break;
        }
        case StepKind::DefaultProfile:
            op = "createDefaultProfile";
            plugin.createDefaultProfile(dsd);
            break;
        default:
            op = "stopAllRequests";
            plugin.stopAllRequests(dsd);
            explainer.stoppedAll(dsd);
            break;
    }
    printer.row(std::to_string(s.dsd), "->", op, details);
}

void Runner::deliver(const Step& s) {
    emu::Engine& e = emu::Engine::instance();
    size_t n = 0;
    std::string op;
    if (s.kind == StepKind::WifiState) {
        op = "wifiStateChange";
        n = e.deliverWifiState(s.flag);
    } else {
        op = "casNotification";
        CasWlanNetConfigType record = s.cas;
        n = e.deliverNotification(s.nameNull ? nullptr : s.text.c_str(), &record);
    }
    const std::string to = n == 0   ? "no live registration"
                           : n == 1 ? "1 callback"
                                    : std::to_string(n) + " callbacks";
    printer.row("-", "->", op, describeStep(s) + " -> " + to);
}

void Runner::scanResultsReady(const std::string& why) {
    emu::Engine& e = emu::Engine::instance();
    const bool registered = e.scanReadyCb != nullptr;
    replies.scanReady();
    if (recorder) {
        recorder->scanReady();
    }
    e.fireScanReady();
    printer.row("-", "->", "scanResultsReady",
                why + (registered ? "" : " (no callback registered)"));
}

void Runner::advanceTo(int64_t target) {
    if (live) {
        liveWait(target, false);
        return;
    }
    emu::Engine& e = emu::Engine::instance();
    int sameInstant = 0;
    for (;;) {
        const int64_t due = e.nextDue();
        const int64_t scan = scripted.nextScanResults();
        const int64_t next = scan >= 0 && (due < 0 || scan < due) ? scan : due;
        if (next < 0 || next > target) {
            break;
        }
        if (next > e.now()) {
            sameInstant = 0;
            e.advance(next - e.now());
            printer.flush();
            showNotices();
        }
        while (scripted.nextScanResults() >= 0 && scripted.nextScanResults() <= e.now()) {
            if (++sameInstant > kMaxEventsPerInstant) {
                printer.row("-", "!!", "scanResultsReady",
                            "too many scan results at one instant; the rest are dropped");
                while (scripted.nextScanResults() >= 0) {
                    scripted.popScanResults();
                }
                break;
            }
            scripted.popScanResults();
            scanResultsReady("scan_delay after SCAN");
            printer.flush();
            showNotices();
        }
    }
    if (target > e.now()) {
        e.advance(target - e.now());
    }
    printer.flush();
    showNotices();
}

void Runner::liveWait(int64_t target, bool untilScanResults) {
    emu::Engine& e = emu::Engine::instance();
    for (;;) {
        if (gInterrupted != 0) {
            interrupted = true;
            printer.note("interrupted");
            return;
        }
        const size_t events = live->readEvents();
        for (size_t i = 0; i < events; ++i) {
            scanResultsReady("CTRL-EVENT-SCAN-RESULTS");
            printer.flush();
            showNotices();
        }
        const double now = monotonicSeconds() - startTime;
        const auto whole = static_cast<int64_t>(std::floor(now));
        if (whole > e.now()) {
            e.advance(whole - e.now());
            printer.flush();
            showNotices();
        }
        if (untilScanResults && events > 0) {
            return;
        }
        if (now >= static_cast<double>(target)) {
            if (untilScanResults) {
                printer.row("-", "!!", "scanResultsReady",
                            "no CTRL-EVENT-SCAN-RESULTS before the scan_ready timeout");
            }
            return;
        }
        double wake = static_cast<double>(target);
        const int64_t due = e.nextDue();
        if (due >= 0 && static_cast<double>(due) < wake) {
            wake = static_cast<double>(due);
        }
        const double ms = std::ceil((wake - now) * 1000.0);
        pollfd p{live->monitorDescriptor(), POLLIN, 0};
        ::poll(&p, 1, static_cast<int>(std::min(std::max(ms, 1.0), 1000.0)));
    }
}

void Runner::showNotices() {
    for (const auto& n : explainer.take()) {
        printer.explanation(n.about, n.text);
    }
    if (!live) {
        return;
    }
    for (const auto& n : live->takeNotices()) {
        const bool info = n.compare(0, 5, "sent ") == 0;
        replies.notice(n);
        printer.row("-", info ? ".." : "!!", "wpa_supplicant", n);
        if (!info && opts.output.json) {
            std::fprintf(err, "ylm-sim: wpa_supplicant: %s\n", n.c_str());
        }
    }
}

}  // namespace ylmsim
