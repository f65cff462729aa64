// Shared helpers of the fuzz targets: inputs as exact-size NUL-terminated heap texts (so that a
// read past the terminator is caught), and a logger that does not grow across runs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "emu/Engine.h"

namespace fuzz {

// A NUL-terminated copy of size bytes in a block of exactly size + 1 bytes.
class Text {
  public:
    Text(const uint8_t* data, size_t size) : text(static_cast<char*>(std::malloc(size + 1))) {
        if (size != 0) {
            std::memcpy(text, data, size);
        }
        text[size] = '\0';
    }
    ~Text() { std::free(text); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    char* get() const { return text; }

  private:
    char* text;
};

// Captured log lines are dropped before each run; formatting them still runs.
inline void startRun() {
    emu::Engine::instance().logs.clear();
}

}  // namespace fuzz
