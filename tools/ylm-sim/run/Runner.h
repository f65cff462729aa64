// Plays a scenario against libylm.so, loaded the way the engine loads it.
#pragma once

#include <cstdio>
#include <functional>
#include <memory>
#include <string>

#include "explain/Notes.h"
#include "live/Live.h"
#include "live/ReplyLog.h"
#include "picture/SignalPollTap.h"
#include "record/Recorder.h"
#include "run/Plugin.h"
#include "run/SimSupplicant.h"
#include "scenario/Scenario.h"
#include "timeline/Printer.h"

namespace ylmsim {

struct RunOptions {
    std::string library;
    bool live = false;
    LiveOptions liveOptions;
    OutputOptions output;
    std::string svgPath;       // where the picture of the run goes; empty: none
    std::string recordPath;    // where the run is kept as a scenario (--record); empty: not kept
    std::string replyLogPath;  // where the replies the plug-in got go; empty: nowhere
    // Called after each step with whether a start was accepted; false stops the run (--check).
    std::function<bool(const Step&, bool started)> afterStep;
};

class Runner {
  public:
    Runner(const Scenario& scenario, const RunOptions& options, FILE* out, FILE* err);
    Runner(const Runner&) = delete;
    Runner& operator=(const Runner&) = delete;
    ~Runner();

    // 0 when the scenario ran to its end, 1 on a runtime failure (reported on err).
    int run();

  private:
    bool setUp();
    void perform(const Step& step);
    void indication(const Step& step);
    void deliver(const Step& step);
    void advanceTo(int64_t target);
    void liveWait(int64_t target, bool untilScanResults);
    void scanResultsReady(const std::string& why);
    void showNotices();

    const Scenario& sc;
    RunOptions opts;
    FILE* err;
    Printer printer;
    SimSupplicant scripted;
    Explainer explainer;
    ExplainedSupplicant explained{explainer};
    SignalPollTap polls;
    ReplyLog replies;
    std::unique_ptr<LiveSupplicant> live;
    LiveForkExec liveFork;
    Plugin plugin;
    std::unique_ptr<Recorder> recorder;
    bool started = false;  // the last start indication was accepted
    int64_t cursor = 0;    // the scenario's time
    double startTime = 0;
    bool interrupted = false;
};

}  // namespace ylmsim
