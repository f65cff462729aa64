#include "SimSupport.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace simtest {
namespace {

long long nowMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace

SimRun runSim(const std::vector<std::string>& args) {
    int out[2];
    int err[2];
    if (::pipe(out) != 0 || ::pipe(err) != 0) {
        throw std::runtime_error("pipe");
    }
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(out[1], STDOUT_FILENO);
        ::dup2(err[1], STDERR_FILENO);
        ::close(out[0]);
        ::close(err[0]);
        std::vector<char*> argv{const_cast<char*>(YLM_SIM_EXE)};
        for (const auto& a : args) {
            argv.push_back(const_cast<char*>(a.c_str()));
        }
        argv.push_back(nullptr);
        ::execv(YLM_SIM_EXE, argv.data());
        ::_exit(127);
    }
    ::close(out[1]);
    ::close(err[1]);
    SimRun run;
    pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
    int open = 2;
    while (open > 0 && ::poll(fds, 2, -1) > 0) {
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || fds[i].revents == 0) {
                continue;
            }
            char buf[8192];
            const ssize_t n = ::read(fds[i].fd, buf, sizeof buf);
            if (n <= 0) {
                ::close(fds[i].fd);
                fds[i].fd = -1;
                --open;
                continue;
            }
            (i == 0 ? run.out : run.err).append(buf, static_cast<size_t>(n));
        }
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    run.rc = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return run;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string fixture(const std::string& name) {
    return readFile(YLM_FIXTURES_DIR "/" + name);
}

TempDir::TempDir() {
    char tmpl[] = "/tmp/ylm-sim-test-XXXXXX";
    if (::mkdtemp(tmpl) == nullptr) {
        throw std::runtime_error("mkdtemp");
    }
    dir = tmpl;
}

TempDir::~TempDir() {
    const std::string cmd = "rm -rf '" + dir + "'";
    if (std::system(cmd.c_str()) != 0) {
        // Nothing to do: a left-over directory under /tmp harms no test.
    }
}

std::string TempDir::write(const std::string& name, const std::string& text) const {
    std::string path = dir + "/" + name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

FakeDaemon::FakeDaemon(const std::string& dir, const std::string& iface) : path(dir + "/" + iface) {
    fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, path.c_str(), sizeof addr.sun_path - 1);
    if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        throw std::runtime_error("cannot bind " + path);
    }
    worker = std::thread([this] { serve(); });
}

FakeDaemon::~FakeDaemon() {
    stop = true;
    worker.join();
    ::close(fd);
    ::unlink(path.c_str());
}

void FakeDaemon::reply(const std::string& cmd, const std::string& text) {
    std::lock_guard<std::mutex> g(lock);
    replies[cmd] = text;
}

void FakeDaemon::delay(const std::string& cmd, int milliseconds) {
    std::lock_guard<std::mutex> g(lock);
    delays[cmd] = milliseconds;
}

void FakeDaemon::interleave(const std::string& ev) {
    std::lock_guard<std::mutex> g(lock);
    event = ev;
}

std::vector<std::string> FakeDaemon::received() {
    std::lock_guard<std::mutex> g(lock);
    return seen;
}

void FakeDaemon::serve() {
    while (!stop) {
        {
            std::lock_guard<std::mutex> g(lock);
            const long long now = nowMs();
            for (auto it = scanEventsDue.begin(); it != scanEventsDue.end();) {
                if (*it > now) {
                    ++it;
                    continue;
                }
                static const char kEvent[] = "<3>CTRL-EVENT-SCAN-RESULTS ";
                for (const auto& [addr, len] : monitors) {
                    ::sendto(fd, kEvent, sizeof kEvent - 1, 0,
                             reinterpret_cast<const sockaddr*>(&addr), len);
                }
                it = scanEventsDue.erase(it);
            }
        }
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, 20) <= 0) {
            continue;
        }
        char buf[4096];
        sockaddr_un from{};
        socklen_t fromLen = sizeof from;
        const ssize_t n =
            ::recvfrom(fd, buf, sizeof buf, 0, reinterpret_cast<sockaddr*>(&from), &fromLen);
        if (n > 0) {
            handle(std::string(buf, static_cast<size_t>(n)), from, fromLen);
        }
    }
}

void FakeDaemon::handle(const std::string& cmd, const sockaddr_un& from, socklen_t fromLen) {
    std::string answer;
    int wait = 0;
    std::string ev;
    {
        std::lock_guard<std::mutex> g(lock);
        seen.push_back(cmd);
        ev = event;
        wait = delays.count(cmd) != 0 ? delays[cmd] : 0;
        if (cmd == "PING") {
            answer = "PONG\n";
        } else if (cmd == "ATTACH") {
            monitors.emplace_back(from, fromLen);
            answer = "OK\n";
            ev.clear();
        } else if (cmd == "DETACH" || cmd.rfind("SET bssid_filter ", 0) == 0) {
            answer = "OK\n";
        } else if (cmd == "SCAN" || cmd.rfind("SCAN ", 0) == 0) {
            answer = "OK\n";
            scanEventsDue.push_back(nowMs() + 300);
        } else if (replies.count(cmd) != 0) {
            answer = replies[cmd];
        } else {
            answer = "UNKNOWN COMMAND\n";
        }
    }
    if (wait > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(wait));
    }
    const auto* to = reinterpret_cast<const sockaddr*>(&from);
    if (!ev.empty()) {
        ::sendto(fd, ev.data(), ev.size(), 0, to, fromLen);
    }
    ::sendto(fd, answer.data(), answer.size(), 0, to, fromLen);
}

}  // namespace simtest
