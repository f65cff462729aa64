#include "YlmLog.h"

#include <cstdarg>

#include "VorMsg.h"

namespace ylm {

void log(int level, int module, const char* file, int line, const char* fmt, ...) {
    VorMsg* logger = VorMsg::vor_log_class_ptr;
    if (logger == nullptr) {
        return;
    }
    va_list ap;
    va_start(ap, fmt);
    logger->vor_log_v(level, module, file, line, fmt, ap);
    va_end(ap);
}

}  // namespace ylm
