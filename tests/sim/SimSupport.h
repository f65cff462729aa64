// Helpers of the ylm-sim tests: running the simulator, temporary directories, and a stand-in
// wpa_supplicant control interface served from a thread of the test.
#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <sys/socket.h>
#include <sys/un.h>

namespace simtest {

struct SimRun {
    int rc = -1;
    std::string out;
    std::string err;
};

// Runs the ylm-sim executable of this build with the arguments.
SimRun runSim(const std::vector<std::string>& args);

std::string readFile(const std::string& path);
std::string fixture(const std::string& name);

// A directory under /tmp, removed with everything in it.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& path() const { return dir; }
    std::string write(const std::string& name, const std::string& text) const;

  private:
    std::string dir;
};

// Answers like wpa_supplicant on <dir>/<iface>: PING, ATTACH/DETACH, SET bssid_filter, SCAN
// (followed by "<3>CTRL-EVENT-SCAN-RESULTS " to the attached monitors), and the scripted replies.
class FakeDaemon {
  public:
    FakeDaemon(const std::string& dir, const std::string& iface);
    ~FakeDaemon();
    FakeDaemon(const FakeDaemon&) = delete;
    FakeDaemon& operator=(const FakeDaemon&) = delete;

    void reply(const std::string& cmd, const std::string& text);
    void delay(const std::string& cmd, int milliseconds);
    // Sent to the requester before every reply, as an attached control socket would see it.
    void interleave(const std::string& event);
    std::vector<std::string> received();

  private:
    void serve();
    void handle(const std::string& cmd, const sockaddr_un& from, socklen_t fromLen);

    int fd = -1;
    std::string path;
    std::mutex lock;
    std::map<std::string, std::string> replies;
    std::map<std::string, int> delays;
    std::string event;
    std::vector<std::string> seen;
    std::vector<std::pair<sockaddr_un, socklen_t>> monitors;
    std::vector<long long> scanEventsDue;  // steady-clock milliseconds
    std::atomic<bool> stop{false};
    std::thread worker;
};

}  // namespace simtest
