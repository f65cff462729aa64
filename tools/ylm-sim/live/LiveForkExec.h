// Live mode's forkExec: the engine's shell, on this machine's.
#pragma once

#include <string>

#include "emu/Engine.h"

namespace ylmsim {

// Runs the command line with /bin/sh -c and captures what it prints on standard output. The
// result is the exit status (128 + signal when killed; 124 when it outlives the time limit).
class LiveForkExec : public emu::ForkExecBackend {
  public:
    explicit LiveForkExec(double timeoutSeconds = 10.0) : timeout(timeoutSeconds) {}
    int run(const std::string& cmdLine, std::string& output) override;

  private:
    double timeout;
};

}  // namespace ylmsim
