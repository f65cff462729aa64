// One way into the engine's logger for the whole library.
#pragma once

namespace ylm {

constexpr int kModuleYlm = 10357;
constexpr int kModuleHostapd = 10359;
constexpr int kModuleIe = 10355;

// Formats and hands the line to VorMsg::vor_log_class_ptr; a no-op while the engine has no logger.
void log(int level, int module, const char* file, int line, const char* fmt, ...)
    __attribute__((format(printf, 5, 6)));

}  // namespace ylm

// Each source file defines kLogFile and kLogModule in an unnamed namespace and logs through these.
#define YLM_LOG(level, ...) ::ylm::log((level), kLogModule, kLogFile, __LINE__, __VA_ARGS__)
// For lines whose source line number is part of the contract.
#define YLM_LOG_AT(line, level, ...) ::ylm::log((level), kLogModule, kLogFile, (line), __VA_ARGS__)
