// The engine's process helpers.
#pragma once

#include <cstddef>
#include <cstdint>

// Options of forkExec. Ten 32-bit words on 32-bit ARM; on 64-bit targets the output buffer is a
// native pointer, so the record grows to 48 bytes there (see docs/decisions.md).
struct _VorForkExecOpt {
    uint32_t word0;
    char* outBuf;         // receives the child's standard output
    uint32_t outBufSize;  // room in outBuf; output beyond it is cut
    uint32_t word3;
    uint32_t word4;
    uint32_t word5;
    uint32_t word6;
    uint32_t word7;
    uint32_t word8;
    uint32_t word9;
};

static_assert(offsetof(_VorForkExecOpt, word0) == 0, "_VorForkExecOpt::word0");
static_assert(offsetof(_VorForkExecOpt, outBuf) == sizeof(void*), "_VorForkExecOpt::outBuf");
static_assert(offsetof(_VorForkExecOpt, outBufSize) == 2 * sizeof(void*),
              "_VorForkExecOpt::outBufSize");
static_assert(offsetof(_VorForkExecOpt, word9) == 2 * sizeof(void*) + 28, "_VorForkExecOpt::word9");
static_assert(sizeof(_VorForkExecOpt) == (sizeof(void*) == 4 ? 40 : 48), "_VorForkExecOpt size");

class VorUtils {
  public:
    // Runs the command line, captures its output as the options say; 0 on success.
    static int forkExec(const char* cmdLine, _VorForkExecOpt* opt);
    static int getWlanChipsetType();
};
