#include "live/LiveForkExec.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

namespace ylmsim {

int LiveForkExec::run(const std::string& cmdLine, std::string& output) {
    constexpr size_t kMaxOutput = 1 << 20;
    int pipeFds[2];
    if (::pipe2(pipeFds, O_CLOEXEC) != 0) {
        return 127;
    }
    const pid_t pid = ::fork();
    if (pid < 0) {
        ::close(pipeFds[0]);
        ::close(pipeFds[1]);
        return 127;
    }
    if (pid == 0) {
        // A group of its own, so that a timeout ends whatever the shell started too.
        ::setpgid(0, 0);
        ::dup2(pipeFds[1], STDOUT_FILENO);
        const int in = ::open("/dev/null", O_RDONLY);
        if (in >= 0) {
            ::dup2(in, STDIN_FILENO);
        }
        ::execl("/bin/sh", "sh", "-c", cmdLine.c_str(), static_cast<char*>(nullptr));
        ::_exit(127);
    }
    ::close(pipeFds[1]);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(timeout);
    bool timedOut = false;
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            timedOut = true;
            break;
        }
        pollfd p{pipeFds[0], POLLIN, 0};
        const int r = ::poll(&p, 1, static_cast<int>(left.count()));
        if (r < 0 && errno == EINTR) {
            continue;
        }
        if (r <= 0) {
            continue;
        }
        char buf[4096];
        const ssize_t n = ::read(pipeFds[0], buf, sizeof buf);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            break;
        }
        if (output.size() < kMaxOutput) {
            output.append(buf, std::min(static_cast<size_t>(n), kMaxOutput - output.size()));
        }
    }
    ::close(pipeFds[0]);
    if (timedOut) {
        ::kill(-pid, SIGKILL);
    }
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (timedOut) {
        return 124;
    }
    if (WIFEXITED(status)) {
        return WEXITSTATUS(status);
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : 127;
}

}  // namespace ylmsim
