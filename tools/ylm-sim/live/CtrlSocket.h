// A client socket of a wpa_supplicant control interface, the transport of live mode.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace ylmsim {

// One client socket of a wpa_supplicant control interface (UNIX datagram). It remembers which
// socket file it reached: a daemon started again at the same path binds a new file, and a socket
// connected to the old one stays cut off from it.
class CtrlSocket {
  public:
    enum Result { Ok, Timeout, Failed };

    CtrlSocket() = default;
    CtrlSocket(const CtrlSocket&) = delete;
    CtrlSocket& operator=(const CtrlSocket&) = delete;
    ~CtrlSocket() { close(); }

    bool open(const std::string& serverPath, const std::string& localPath, std::string& error);
    void close();
    bool isOpen() const { return fd >= 0; }
    int descriptor() const { return fd; }
    // The daemon this socket reached is gone: its socket file was removed or replaced.
    bool stale() const;

    // Sends cmd and waits up to timeout seconds for the reply. Unsolicited events ("<N>...")
    // that arrive meanwhile, and stale datagrams left from an earlier timeout, are not taken
    // for the reply; the events are appended to events.
    Result request(const std::string& cmd, std::string& reply, double timeout, std::string& error,
                   std::vector<std::string>& events);
    // One waiting datagram, without blocking; false when none waits.
    bool receive(std::string& message);

  private:
    int fd = -1;
    std::string local;
    std::string server;
    dev_t serverDevice = 0;
    ino_t serverInode = 0;
};

// A control interface message that the daemon sent on its own ("<N>..." or "IFNAME=... <N>..."),
// not as a reply.
bool isEvent(const std::string& msg);

}  // namespace ylmsim
