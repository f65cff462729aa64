// ylm-sim: loads libylm.so as the engine does and plays a scenario against it, with scripted
// daemons on a virtual clock or, with --live, against this machine's wpa_supplicant.
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "chaos/Driver.h"
#include "run/Runner.h"
#include "scenario/Scenario.h"

namespace {

constexpr const char* kUsage =
    "usage: ylm-sim [SCENARIO.yaml] [--json] [--hex] [--log-level N] [--svg FILE] [--lib PATH]\n"
    "               [--live] [--ctrl-dir DIR] [--iface IFACE] [--p2p-iface IFACE]\n"
    "               [--record FILE] [--reply-log FILE] [--check]\n"
    "       ylm-sim --chaos SEED [--steps N] [--out DIR] [--lib PATH] [...] (docs/sim.md)\n"
    "  SCENARIO.yaml   scenario to play (default: the built-in scenario)\n"
    "  --json          one JSON object per DSD message on stdout, nothing else\n"
    "  --hex           add the raw bytes of each message\n"
    "  --log-level N   show the library's log lines of level N and above\n"
    "  --svg FILE      also write the run as an SVG timeline to FILE\n"
    "  --lib PATH      the plug-in to load (default: the libylm.so of this build)\n"
    "  --live          use this machine's wpa_supplicant and a real clock\n"
    "  --ctrl-dir DIR  wpa_supplicant control directory (default /var/run/wpa_supplicant)\n"
    "  --iface IFACE   station interface (default wlan0)\n"
    "  --p2p-iface IFACE  P2P interface (default p2p-dev-wlan0)\n"
    "  --record FILE   keep the run as a scenario that plays back scripted to the same messages\n"
    "  --reply-log FILE   also write every daemon reply the plug-in got, as JSON lines\n"
    "  --check         check the plug-in's invariants after every step; exit 3 when one breaks\n";

bool readable(const std::string& path) {
    return ::access(path.c_str(), R_OK) == 0;
}

// The libylm.so built with this simulator: the path compiled in, or, when the build tree has
// moved, the one beside the executable's directory.
std::string defaultLibrary() {
    std::string built = YLM_LIBRARY_PATH;
    if (readable(built)) {
        return built;
    }
    char exe[PATH_MAX] = {};
    const ssize_t n = ::readlink("/proc/self/exe", exe, sizeof exe - 1);
    if (n > 0) {
        std::string dir(exe, static_cast<size_t>(n));
        dir = dir.substr(0, dir.rfind('/'));
        for (const char* rel : {"/libylm.so", "/../libylm.so", "/../../libylm.so"}) {
            if (readable(dir + rel)) {
                return dir + rel;
            }
        }
    }
    return built;
}

int usageError(const std::string& why) {
    std::fprintf(stderr, "ylm-sim: %s\n%s", why.c_str(), kUsage);
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    ylmsim::RunOptions opts;
    std::string scenarioPath;
    const std::vector<std::string> args(argv + 1, argv + argc);
    if (!args.empty() && args[0] == "--chaos") {
        return ylmsim::chaos::chaosMain(args, defaultLibrary());
    }
    bool check = false;
    for (size_t i = 0; i < args.size(); ++i) {
        std::string arg = args[i];
        std::string value;
        const size_t eq = arg.find('=');
        const bool inlineValue = arg.rfind("--", 0) == 0 && eq != std::string::npos;
        if (inlineValue) {
            value = arg.substr(eq + 1);
            arg = arg.substr(0, eq);
        }
        auto takeValue = [&](std::string& out) {
            if (inlineValue) {
                out = value;
                return true;
            }
            if (i + 1 >= args.size()) {
                return false;
            }
            out = args[++i];
            return true;
        };
        if (arg == "--help" || arg == "-h") {
            std::printf("%s", kUsage);
            return 0;
        }
        if (arg == "--json" || arg == "--hex" || arg == "--live" || arg == "--check") {
            if (inlineValue) {
                return usageError(arg + " takes no value");
            }
            (arg == "--json"    ? opts.output.json
             : arg == "--hex"   ? opts.output.hex
             : arg == "--check" ? check
                                : opts.live) = true;
        } else if (arg == "--log-level") {
            std::string level;
            char* end = nullptr;
            if (!takeValue(level) || level.empty() ||
                (opts.output.logLevel = static_cast<int>(std::strtol(level.c_str(), &end, 10)),
                 *end != '\0') ||
                opts.output.logLevel < 0) {
                return usageError("--log-level needs a level number (0 to 4)");
            }
        } else if (arg == "--lib" || arg == "--ctrl-dir" || arg == "--iface" ||
                   arg == "--p2p-iface" || arg == "--svg" || arg == "--record" ||
                   arg == "--reply-log") {
            std::string& target = arg == "--lib"         ? opts.library
                                  : arg == "--ctrl-dir"  ? opts.liveOptions.ctrlDir
                                  : arg == "--iface"     ? opts.liveOptions.iface
                                  : arg == "--svg"       ? opts.svgPath
                                  : arg == "--record"    ? opts.recordPath
                                  : arg == "--reply-log" ? opts.replyLogPath
                                                         : opts.liveOptions.p2pIface;
            if (!takeValue(target) || target.empty()) {
                return usageError(arg + " needs a value");
            }
        } else if (arg.rfind('-', 0) == 0 && arg != "-") {
            return usageError("unknown option " + arg);
        } else if (scenarioPath.empty()) {
            scenarioPath = arg;
        } else {
            std::string why = "only one scenario file, got " + scenarioPath;
            why += " and " + arg;
            return usageError(why);
        }
    }
    if (opts.library.empty()) {
        opts.library = defaultLibrary();
    }
    if (check && opts.live) {
        return usageError("--check plays scripted scenarios only");
    }
    if (check) {
        ylmsim::chaos::checkEveryStep(opts);
    }
    ylmsim::Scenario scenario;
    try {
        scenario = scenarioPath.empty()
                       ? ylmsim::loadScenarioText(ylmsim::kDefaultScenario, "<default>", "")
                       : ylmsim::loadScenarioFile(scenarioPath);
    } catch (const ylmsim::ScenarioError& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 2;
    }
    ylmsim::Runner runner(scenario, opts, stdout, stderr);
    return runner.run();
}
