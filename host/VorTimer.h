// The engine's timer service. A callback recurs every period until it is removed.
#pragma once

#include <cstdint>

class VorTimer {
  public:
    using Callback = int (*)(void* ctx);

    // Returns the id that removeTimedCallback takes.
    int32_t addTimedCallback(int64_t period, Callback cb, void* ctx);
    void removeTimedCallback(int32_t id);
};
