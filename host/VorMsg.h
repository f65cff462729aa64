// The engine's logger.
#pragma once

#include <cstdarg>

class VorMsg {
  public:
    // Both take the same arguments: level, module id, source file name, source line, printf
    // format; the first takes its arguments variadically, the second as a va_list.
    void vor_log(int level, int module, const char* file, int line, const char* fmt, ...)
        __attribute__((format(printf, 6, 7)));
    void vor_log_v(int level, int module, const char* file, int line, const char* fmt, va_list args)
        __attribute__((format(printf, 6, 0)));

    static VorMsg* vor_log_class_ptr;
};
