#include "live/CtrlSocket.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

namespace ylmsim {

using Clock = std::chrono::steady_clock;

bool isEvent(const std::string& msg) {
    return (!msg.empty() && msg[0] == '<') || msg.compare(0, 7, "IFNAME=") == 0;
}

bool CtrlSocket::open(const std::string& serverPath, const std::string& localPath,
                      std::string& error) {
    close();
    sockaddr_un server{};
    sockaddr_un self{};
    if (serverPath.size() >= sizeof server.sun_path || localPath.size() >= sizeof self.sun_path) {
        error = "socket path too long: " + serverPath;
        return false;
    }
    server.sun_family = AF_UNIX;
    std::memcpy(server.sun_path, serverPath.c_str(), serverPath.size());
    self.sun_family = AF_UNIX;
    std::memcpy(self.sun_path, localPath.c_str(), localPath.size());
    fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        error = std::string("socket: ") + std::strerror(errno);
        return false;
    }
    ::unlink(localPath.c_str());
    if (::bind(fd, reinterpret_cast<sockaddr*>(&self), sizeof self) != 0) {
        error = "bind " + localPath + ": " + std::strerror(errno);
        close();
        return false;
    }
    local = localPath;
    if (::connect(fd, reinterpret_cast<sockaddr*>(&server), sizeof server) != 0) {
        error = serverPath + ": " + std::strerror(errno);
        close();
        return false;
    }
    struct stat st {};
    if (::stat(serverPath.c_str(), &st) == 0) {
        this->server = serverPath;
        serverDevice = st.st_dev;
        serverInode = st.st_ino;
    }
    return true;
}

bool CtrlSocket::stale() const {
    struct stat st {};
    return fd >= 0 && (::stat(server.c_str(), &st) != 0 || st.st_dev != serverDevice ||
                       st.st_ino != serverInode);
}

void CtrlSocket::close() {
    if (fd >= 0) {
        ::close(fd);
        fd = -1;
    }
    server.clear();
    if (!local.empty()) {
        ::unlink(local.c_str());
        local.clear();
    }
}

bool CtrlSocket::receive(std::string& message) {
    if (fd < 0) {
        return false;
    }
    char buf[65536];
    const ssize_t n = ::recv(fd, buf, sizeof buf, MSG_DONTWAIT);
    if (n < 0) {
        return false;
    }
    message.assign(buf, static_cast<size_t>(n));
    return true;
}

CtrlSocket::Result CtrlSocket::request(const std::string& cmd, std::string& reply, double timeout,
                                       std::string& error, std::vector<std::string>& events) {
    if (fd < 0) {
        error = "not connected";
        return Failed;
    }
    std::string stale;
    while (receive(stale)) {
        if (isEvent(stale)) {
            events.push_back(stale);
        }
    }
    if (::send(fd, cmd.data(), cmd.size(), 0) < 0) {
        error = std::strerror(errno);
        return Failed;
    }
    const auto deadline = Clock::now() + std::chrono::duration<double>(timeout);
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) {
            return Timeout;
        }
        pollfd p{fd, POLLIN, 0};
        const int r = ::poll(&p, 1, static_cast<int>(left.count()));
        if (r < 0 && errno != EINTR) {
            error = std::string("poll: ") + std::strerror(errno);
            return Failed;
        }
        std::string msg;
        if (r > 0 && (p.revents & POLLIN) != 0 && receive(msg)) {
            if (isEvent(msg)) {
                events.push_back(msg);
                continue;
            }
            reply = msg;
            return Ok;
        }
        if (r > 0 && (p.revents & (POLLERR | POLLHUP)) != 0) {
            error = "connection lost";
            return Failed;
        }
    }
}

}  // namespace ylmsim
