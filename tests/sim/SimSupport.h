// Helpers of the ylm-sim tests: running the simulator, temporary directories, and a stand-in
// wpa_supplicant control interface served from a thread of the test.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace simtest {

inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

inline std::string fixture(const std::string& name) {
    return readFile(YLM_FIXTURES_DIR "/" + name);
}

// A directory under /tmp, removed with everything in it.
class TempDir {
  public:
    TempDir() {
        char tmpl[] = "/tmp/ylm-sim-test-XXXXXX";
        if (::mkdtemp(tmpl) == nullptr) {
            throw std::runtime_error("mkdtemp");
        }
        dir = tmpl;
    }
    ~TempDir() {
        std::error_code ignored;  // a left-over directory under /tmp harms no test
        std::filesystem::remove_all(dir, ignored);
    }
    const std::string& path() const { return dir; }
    std::string write(const std::string& name, const std::string& text) const {
        std::ofstream(dir + "/" + name, std::ios::binary) << text;
        return dir + "/" + name;
    }

  private:
    std::string dir;
};

struct SimRun {
    int rc = -1;
    std::string out;
    std::string err;
};

// Runs the ylm-sim executable of this build with the arguments (none holds a quote).
inline SimRun runSim(const std::vector<std::string>& args) {
    TempDir capture;
    std::string cmd = YLM_SIM_EXE;
    for (const auto& a : args) {
        cmd += " '" + a + "'";
    }
    const int status = std::system(
        (cmd + " >" + capture.path() + "/out 2>" + capture.path() + "/err </dev/null").c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
            readFile(capture.path() + "/out"), readFile(capture.path() + "/err")};
}

// Answers like wpa_supplicant on <dir>/<iface>: PING, ATTACH/DETACH, SET bssid_filter, SCAN
// (and 300 ms later "<3>CTRL-EVENT-SCAN-RESULTS " to the attached monitors), the scripted
// replies, and "UNKNOWN COMMAND" to anything else.
class FakeDaemon {
  public:
    FakeDaemon(const std::string& dir, const std::string& iface) : path(dir + "/" + iface) {
        sockaddr_un addr{AF_UNIX, {}};
        path.copy(addr.sun_path, sizeof addr.sun_path - 1);
        const timeval tick{0, 20000};  // how often the worker looks at stop
        if (::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
            ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tick, sizeof tick) != 0) {
            throw std::runtime_error("cannot bind " + path);
        }
        worker = std::thread([this] { serve(); });
    }
    ~FakeDaemon() {
        stop = true;
        worker.join();
        ::close(fd);
        ::unlink(path.c_str());
    }

    // The reply to cmd, sent after delayMs.
    void reply(const std::string& cmd, const std::string& text, int delayMs = 0) {
        const std::lock_guard<std::mutex> g(lock);
        replies[cmd] = {text, delayMs};
    }
    // Sent to the requester before every reply, as an attached control socket would see it.
    void interleave(const std::string& ev) {
        const std::lock_guard<std::mutex> g(lock);
        event = ev;
    }
    std::vector<std::string> received() {
        const std::lock_guard<std::mutex> g(lock);
        return seen;
    }

  private:
    void serve() {
        while (!stop) {
            char buf[4096];
            sockaddr_un from{};
            socklen_t len = sizeof from;
            const ssize_t n =
                ::recvfrom(fd, buf, sizeof buf, 0, reinterpret_cast<sockaddr*>(&from), &len);
            if (n > 0) {
                handle(std::string(buf, static_cast<size_t>(n)), from, len);
            }
        }
    }

    void handle(const std::string& cmd, const sockaddr_un& from, socklen_t len) {
        const bool scan = cmd.rfind("SCAN ", 0) == 0;
        const bool filter = cmd.rfind("SET bssid_filter ", 0) == 0;
        std::pair<std::string, int> answer{"UNKNOWN COMMAND\n", 0};
        std::string ev;
        {
            const std::lock_guard<std::mutex> g(lock);
            seen.push_back(cmd);
            ev = cmd == "ATTACH" ? "" : event;
            const auto it = replies.find(scan ? "SCAN" : filter ? "SET bssid_filter" : cmd);
            if (it != replies.end()) {
                answer = it->second;
            }
        }
        if (cmd == "ATTACH") {
            monitors.emplace_back(from, len);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(answer.second));
        send(ev, from, len);
        send(answer.first, from, len);
        if (scan || cmd == "SCAN") {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            for (const auto& [addr, addrLen] : monitors) {
                send("<3>CTRL-EVENT-SCAN-RESULTS ", addr, addrLen);
            }
        }
    }

    void send(const std::string& text, const sockaddr_un& to, socklen_t len) const {
        if (!text.empty()) {
            ::sendto(fd, text.data(), text.size(), 0, reinterpret_cast<const sockaddr*>(&to), len);
        }
    }

    int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    std::string path;
    std::mutex lock;
    std::map<std::string, std::pair<std::string, int>> replies = {{"PING", {"PONG\n", 0}},
                                                                  {"ATTACH", {"OK\n", 0}},
                                                                  {"DETACH", {"OK\n", 0}},
                                                                  {"SET bssid_filter", {"OK\n", 0}},
                                                                  {"SCAN", {"OK\n", 0}}};
    std::string event;
    std::vector<std::string> seen;
    std::vector<std::pair<sockaddr_un, socklen_t>> monitors;
    std::atomic<bool> stop{false};
    std::thread worker;
};

}  // namespace simtest
