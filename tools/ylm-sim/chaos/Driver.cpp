#include "chaos/Driver.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>

#include "chaos/Checker.h"
#include "chaos/Trial.h"
#include "record/ScenarioText.h"

namespace ylmsim::chaos {
namespace {

constexpr const char* kUsage =
    "usage: ylm-sim --chaos SEED [--steps N] [--out DIR] [--lib PATH] [--fixtures DIR]\n"
    "               [--shrink-time S]\n"
    "  --chaos SEED     play a seeded random run of every engine operation and daemon behaviour\n"
    "  --steps N        how many steps (default 10000)\n"
    "  --out DIR        where a failure's scenario is written (default: here)\n"
    "  --lib PATH       the plug-in to load (default: the libylm.so of this build)\n"
    "  --fixtures DIR   the genuine daemon captures (default: the source tree's)\n"
    "  --shrink-time S  seconds to spend shortening a failure (default 120)\n";

struct Options {
    uint64_t seed = 0;
    uint64_t steps = 10000;
    std::string out = ".";
    std::string library;
    std::string fixtures = YLM_CHAOS_FIXTURES;
    double shrinkTime = 120;
};

bool number(const std::string& text, uint64_t& out) {
    char* end = nullptr;
    errno = 0;
    out = std::strtoull(text.c_str(), &end, 10);
    return !text.empty() && text[0] != '-' && *end == '\0' && errno == 0;
}

bool parse(const std::vector<std::string>& args, Options& o, std::string& why) {
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (i + 1 >= args.size()) {
            why = a + " needs a value";
            return false;
        }
        const std::string& v = args[++i];
        uint64_t n = 0;
        if (a == "--chaos" || a == "--steps" || a == "--shrink-time") {
            if (!number(v, n)) {
                why = a;
                why.append(" needs a whole number, got \"").append(v).append("\"");
                return false;
            }
            if (a == "--shrink-time") {
                o.shrinkTime = static_cast<double>(n);
            } else {
                (a == "--chaos" ? o.seed : o.steps) = n;
            }
        } else if (a == "--out" || a == "--lib" || a == "--fixtures") {
            (a == "--out" ? o.out : a == "--lib" ? o.library : o.fixtures) = v;
        } else {
            why = "unknown option " + a + " for --chaos";
            return false;
        }
    }
    return true;
}

double seconds(std::chrono::steady_clock::time_point since) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

// Shortens the failing operations to as few as still break the same invariant: the complement of
// ever smaller chunks is tried (delta debugging), and a run that breaks it again is cut after the
// step where it broke.
std::vector<Op> shorten(const TrialSetup& setup, std::vector<Op> ops, const std::string& invariant,
                        double budget, size_t& runs) {
    const auto start = std::chrono::steady_clock::now();
    size_t parts = 2;
    while (ops.size() >= 2 && seconds(start) < budget) {
        const size_t chunk = (ops.size() + parts - 1) / parts;
        bool shorter = false;
        for (size_t from = 0; from < ops.size() && seconds(start) < budget; from += chunk) {
            std::vector<Op> candidate(ops.begin(), ops.begin() + static_cast<long>(from));
            candidate.insert(candidate.end(),
                             ops.begin() + static_cast<long>(std::min(ops.size(), from + chunk)),
                             ops.end());
            ++runs;
            const Outcome o = runOps(setup, candidate);
            if (o.failed && o.invariant == invariant) {
                candidate.resize(std::min<size_t>(candidate.size(), o.step + 1));
                ops.swap(candidate);
                parts = std::max<size_t>(parts - 1, 2);
                shorter = true;
                break;
            }
        }
        if (!shorter) {
            if (parts >= ops.size()) {
                break;
            }
            parts = std::min(parts * 2, ops.size());
        }
    }
    return ops;
}

std::string writeScenario(const Options& o, const Expander& expander, const std::vector<Op>& ops,
                          const Outcome& found, std::string& error) {
    Scenario sc = expander.base();
    sc.name = "chaos seed " + std::to_string(o.seed) + ": " + found.invariant;
    for (const auto& op : ops) {
        sc.steps.push_back(expander.step(op));
    }
    std::string path =
        o.out + "/chaos-" + std::to_string(o.seed) + "-" + std::to_string(found.step + 1) + ".yaml";
    const std::vector<std::string> comment = {
        "Found by ylm-sim --chaos " + std::to_string(o.seed) + ": invariant " + found.invariant +
            " broke at step " + std::to_string(found.step + 1) + " of the run.",
        found.detail,
        "Shortened to " + std::to_string(ops.size()) + " of the " + std::to_string(found.step + 1) +
            " steps that led there.",
        "Replay: ylm-sim --check " + path + " (the invariant on stderr, exit status 3);",
        "the timeline: ylm-sim " + path};
    std::ofstream file(path, std::ios::binary);
    file << scenarioText(sc, comment);
    file.close();
    if (!file) {
        error = "cannot write " + path;
        return "";
    }
    return path;
}

// What this executable's --check makes of the file: the invariant it names, "crash", or "".
std::string replay(const std::string& file, const std::string& library, std::string& said) {
    int fds[2];
    if (::pipe(fds) != 0) {
        return "";
    }
    std::fflush(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
        const int null = ::open("/dev/null", O_WRONLY);
        ::dup2(null, STDOUT_FILENO);
        ::dup2(fds[1], STDERR_FILENO);
        ::close(fds[0]);
        ::execl("/proc/self/exe", "ylm-sim", file.c_str(), "--check", "--lib", library.c_str(),
                static_cast<char*>(nullptr));
        ::_exit(127);
    }
    ::close(fds[1]);
    char buf[4096];
    for (ssize_t n; (n = ::read(fds[0], buf, sizeof buf)) > 0;) {
        said.append(buf, static_cast<size_t>(n));
    }
    ::close(fds[0]);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
        return "";
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 3) {
        return "crash";
    }
    const std::string mark = "): ";
    const size_t at = said.find(mark, said.find("invariant broken at step"));
    const size_t end = at == std::string::npos ? at : said.find(':', at + mark.size());
    return end == std::string::npos ? "?" : said.substr(at + mark.size(), end - at - mark.size());
}

}  // namespace

int chaosMain(const std::vector<std::string>& args, const std::string& defaultLibrary) {
    Options o;
    o.library = defaultLibrary;
    std::string why;
    if (!parse(args, o, why)) {
        std::fprintf(stderr, "ylm-sim: %s\n%s", why.c_str(), kUsage);
        return 2;
    }
    Texts texts;
    if (!texts.load(o.fixtures, why)) {
        std::fprintf(stderr, "ylm-sim: %s (give --fixtures DIR)\n", why.c_str());
        return 2;
    }
    const Expander expander(texts);
    TrialSetup setup{&expander, o.library, true, false, 0};
    std::printf("chaos: seed %llu, %llu steps, %s\n", static_cast<unsigned long long>(o.seed),
                static_cast<unsigned long long>(o.steps), o.library.c_str());
    const Outcome run = runSeed(setup, o.seed, o.steps);
    if (!run.failed) {
        std::printf("chaos: every invariant held over %llu steps in %.1f s (%.0f steps/s); %s\n",
                    static_cast<unsigned long long>(run.steps), run.seconds,
                    run.seconds > 0 ? static_cast<double>(run.steps) / run.seconds : 0.0,
                    run.summary.c_str());
        return 0;
    }
    std::printf("chaos: seed %llu, step %llu: invariant %s broken: %s\n",
                static_cast<unsigned long long>(o.seed),
                static_cast<unsigned long long>(run.step) + 1, run.invariant.c_str(),
                run.detail.c_str());
    if (run.invariant == "driver") {
        return 2;
    }
    if (run.invariant == "heap-growth") {
        std::printf(
            "chaos: heap growth is a property of the whole run and is not shortened; "
            "ylm-sim --chaos %llu --steps %llu plays it again\n",
            static_cast<unsigned long long>(o.seed), static_cast<unsigned long long>(run.step) + 1);
        return 1;
    }
    std::vector<Op> ops;
    Generator gen(o.seed);
    for (uint64_t i = 0; i <= run.step; ++i) {
        ops.push_back(gen.next());
    }
    const auto start = std::chrono::steady_clock::now();
    size_t runs = 0;
    setup.progress = false;
    setup.quiet = true;
    setup.timeLimit = std::max(30.0, run.seconds * 4);
    ops = shorten(setup, ops, run.invariant, o.shrinkTime, runs);
    std::printf("chaos: shortened from %llu to %zu steps in %zu runs (%.1f s)\n",
                static_cast<unsigned long long>(run.step) + 1, ops.size(), runs, seconds(start));
    const std::string path = writeScenario(o, expander, ops, run, why);
    if (path.empty()) {
        std::fprintf(stderr, "ylm-sim: %s\n", why.c_str());
        return 1;
    }
    std::string said;
    const std::string again =
        run.invariant == "hang" ? run.invariant : replay(path, o.library, said);
    if (again == run.invariant) {
        std::printf("chaos: wrote %s; ylm-sim --check plays it back to the same failure (%s)\n",
                    path.c_str(), again.c_str());
    } else {
        std::printf("chaos: wrote %s, but ylm-sim --check plays it back to %s:\n%s\n", path.c_str(),
                    again.empty() ? "no failure" : again.c_str(), said.c_str());
    }
    return 1;
}

void checkEveryStep(RunOptions& opts) {
    auto checker = std::make_shared<Checker>();
    auto count = std::make_shared<size_t>(0);
    opts.afterStep = [checker, count](const Step& s, bool started) {
        ++*count;
        const auto bad = checker->afterStep(s, started);
        if (!bad) {
            return true;
        }
        std::fprintf(stderr, "ylm-sim: invariant broken at step %zu (line %d, %lld s): %s: %s\n",
                     *count, s.line, static_cast<long long>(emu::Engine::instance().now()),
                     bad->invariant.c_str(), bad->detail.c_str());
        return false;
    };
}

}  // namespace ylmsim::chaos
