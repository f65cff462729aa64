#include "chaos/Trial.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>

#include "chaos/Checker.h"
#include "chaos/Player.h"
#include "emu/Engine.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define YLM_CHAOS_ASAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define YLM_CHAOS_ASAN 1
#endif
#ifdef YLM_CHAOS_ASAN
#include <sanitizer/allocator_interface.h>
#else
#include <malloc.h>
#endif

namespace ylmsim::chaos {
namespace {

using Clock = std::chrono::steady_clock;

// Heap in use by the whole process (the sanitizer's allocator keeps its own count).
size_t heapInUse() {
#ifdef YLM_CHAOS_ASAN
    return __sanitizer_get_current_allocated_bytes();
#else
    return mallinfo2().uordblks;
#endif
}

// The heap may grow this much between a tenth of the steps and all of them, plus the default
// profile's proxies the contract keeps for good.
constexpr size_t kHeapSlack = size_t{256} * 1024;
constexpr size_t kPerKeptProxy = 1024;
constexpr uint64_t kHeapEvery = 1000;

void say(int fd, const std::string& line) {
    const std::string text = line + "\n";
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n <= 0) {
            return;
        }
        done += static_cast<size_t>(n);
    }
}

std::string oneLine(std::string text) {
    for (auto& c : text) {
        c = c == '\n' || c == '\t' ? ' ' : c;
    }
    return text;
}

double since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Heap growth between a tenth of the steps and all of them, looked at every 10 000 steps.
class HeapWatch {
  public:
    // After n steps; an empty text while the growth is in bounds.
    std::string after(uint64_t n, size_t keptProxies) {
        if (n % kHeapEvery != 0) {
            return "";
        }
        samples[n] = {heapInUse(), keptProxies};
        if (n % (10 * kHeapEvery) != 0) {
            return "";
        }
        const auto base = samples.at(n / 10);
        const auto& now = samples.at(n);
        const size_t allowed = kHeapSlack + kPerKeptProxy * (now.second - base.second);
        if (now.first > base.first + allowed) {
            return "heap in use grew from " + std::to_string(base.first) + " bytes after " +
                   std::to_string(n / 10) + " steps to " + std::to_string(now.first) + " after " +
                   std::to_string(n) + " (allowed " + std::to_string(allowed) + " with " +
                   std::to_string(now.second - base.second) + " kept proxies)";
        }
        return "";
    }
    std::string summary() const {
        if (samples.empty()) {
            return "";
        }
        return "heap " + std::to_string(samples.begin()->second.first / 1024) + " KiB after " +
               std::to_string(samples.begin()->first) + " steps, " +
               std::to_string(samples.rbegin()->second.first / 1024) + " KiB after " +
               std::to_string(samples.rbegin()->first) + " (" +
               std::to_string(samples.rbegin()->second.second) +
               " default-profile proxies kept by design)";
    }

  private:
    std::map<uint64_t, std::pair<size_t, size_t>> samples;  // steps -> heap, kept proxies
};

// Plays operations until next() has none or an invariant breaks; reports on fd.
void play(const TrialSetup& setup, const std::function<bool(Op&)>& next, bool watchHeap, int fd,
          volatile uint64_t* step) {
    Player player;
    std::string error;
    if (!player.setUp(setup.expander->base(), setup.library, error)) {
        say(fd, "ERROR " + oneLine(error));
        return;
    }
    Checker checker;
    player.dropRecords();
    checker.recordsDropped();
    HeapWatch heap;
    const auto start = Clock::now();
    auto lastProgress = start;
    uint64_t n = 0;
    for (Op op{}; next(op); ++n) {
        *step = n;
        const Step s = setup.expander->step(op);
        const bool started = player.perform(s);
        if (const auto bad = checker.afterStep(s, started)) {
            say(fd,
                "FAIL " + std::to_string(n) + " " + bad->invariant + "\t" + oneLine(bad->detail));
            return;
        }
        player.dropRecords();
        checker.recordsDropped();
        if (watchHeap && (n + 1) % kHeapEvery == 0) {
            player.renewDaemon();
            const std::string grown = heap.after(n + 1, checker.keptProxies());
            if (!grown.empty()) {
                say(fd, "FAIL " + std::to_string(n) + " heap-growth\t" + grown);
                return;
            }
        }
        if (setup.progress && since(lastProgress) >= 5) {
            lastProgress = Clock::now();
            std::fprintf(stderr, "chaos: step %llu, %.0f steps/s, heap %zu KiB\n",
                         static_cast<unsigned long long>(n) + 1,
                         static_cast<double>(n + 1) / since(start), heapInUse() / 1024);
        }
    }
    char secs[32];
    std::snprintf(secs, sizeof secs, "%.3f", since(start));
    const int64_t engine = emu::Engine::instance().now();
    char days[32];
    std::snprintf(days, sizeof days, "%.1f", static_cast<double>(engine) / 86400);
    say(fd, "DONE " + std::to_string(n) + " " + secs + "\t" + std::to_string(engine) +
                " s of engine time (" + days + " days); " + heap.summary());
}

// Runs body in a child and reads what it reported.
Outcome inChild(const TrialSetup& setup, bool exitNormally,
                const std::function<void(int, volatile uint64_t*)>& body) {
    Outcome out;
    int fds[2];
    auto* step = static_cast<volatile uint64_t*>(::mmap(
        nullptr, sizeof(uint64_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    if (step == MAP_FAILED || ::pipe(fds) != 0) {
        out.failed = true;
        out.invariant = "driver";
        out.detail = "cannot start a run (pipe or shared memory)";
        return out;
    }
    *step = 0;
    std::fflush(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::close(fds[0]);
        if (setup.quiet) {
            const int null = ::open("/dev/null", O_WRONLY);
            ::dup2(null, STDERR_FILENO);
        }
        if (setup.timeLimit > 0) {
            ::alarm(static_cast<unsigned>(setup.timeLimit) + 1);
        }
        body(fds[1], step);
        ::close(fds[1]);
        if (exitNormally) {
            std::exit(0);  // a sanitizer's look at the heap at exit still counts
        }
        ::_exit(0);
    }
    ::close(fds[1]);
    std::string report;
    char buf[4096];
    for (ssize_t n; (n = ::read(fds[0], buf, sizeof buf)) != 0;) {
        if (n > 0) {
            report.append(buf, static_cast<size_t>(n));
        } else if (errno != EINTR) {
            break;
        }
    }
    ::close(fds[0]);
    int status = 0;
    while (pid > 0 && ::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    out.step = *step;
    ::munmap(const_cast<uint64_t*>(step), sizeof(uint64_t));
    const size_t tab = report.find('\t');
    const std::string head = report.substr(0, tab);
    const std::string tail =
        tab == std::string::npos ? "" : report.substr(tab + 1, report.find('\n', tab) - tab - 1);
    char word[64] = {};
    unsigned long long a = 0;
    double b = 0;
    if (std::sscanf(head.c_str(), "FAIL %llu %63s", &a, word) == 2) {
        out = {true, word, tail, a, a + 1, 0, ""};
    } else if (std::sscanf(head.c_str(), "DONE %llu %lf", &a, &b) == 2) {
        out = {false, "", "", 0, a, b, tail};
    } else if (head.compare(0, 6, "ERROR ") == 0) {
        out = {true, "driver", head.substr(6), 0, 0, 0, ""};
        return out;
    }
    const bool alarmed = WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM;
    if (!out.failed && (pid < 0 || WIFSIGNALED(status) || WEXITSTATUS(status) != 0)) {
        out.failed = true;
        out.invariant = alarmed ? "hang" : "crash";
        out.detail = alarmed ? "still running after the time limit"
                     : WIFSIGNALED(status)
                         ? "the process died of signal " + std::to_string(WTERMSIG(status))
                         : "the process ended with status " + std::to_string(WEXITSTATUS(status)) +
                               " (a sanitizer report above)";
        if (out.steps > 0) {
            out.step = out.steps - 1;  // ran to its end; the report came at exit
        }
        out.steps = out.step + 1;
    }
    return out;
}

}  // namespace

Outcome runSeed(const TrialSetup& setup, uint64_t seed, uint64_t steps) {
    return inChild(setup, true, [&](int fd, volatile uint64_t* step) {
        Generator gen(seed);
        uint64_t left = steps;
        play(
            setup,
            [&](Op& op) {
                if (left == 0) {
                    return false;
                }
                --left;
                op = gen.next();
                return true;
            },
            true, fd, step);
    });
}

Outcome runOps(const TrialSetup& setup, const std::vector<Op>& ops) {
    return inChild(setup, false, [&](int fd, volatile uint64_t* step) {
        size_t i = 0;
        play(
            setup,
            [&](Op& op) {
                if (i == ops.size()) {
                    return false;
                }
                op = ops[i++];
                return true;
            },
            false, fd, step);
    });
}

}  // namespace ylmsim::chaos
