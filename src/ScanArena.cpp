// Blocks handed out in order: a scan's store asks for a few of them, never one per access point.
#include "ScanArena.h"

#include <cstring>

namespace {
// Holds a table of a dozen access points with their keys; later blocks double up to a size that
// the heap still serves from its pools (larger blocks would be mapped afresh for every scan).
constexpr size_t kFirstBlock = 8192;
constexpr size_t kLargestBlock = 32768;
}  // namespace

void* ScanArena::allocate(size_t size, size_t alignment) {
    for (; current < blocks.size(); ++current) {
        Block& b = blocks[current];
        // Alignments are powers of two; a mask rounds up without a division, which 32-bit ARM
        // would call a runtime helper for.
        const size_t start = (b.used + alignment - 1) & ~(alignment - 1);
        if (start + size <= b.size) {
            b.used = start + size;
            return b.bytes.get() + start;
        }
    }
    // new[] hands out memory aligned for any fundamental type, the most any node asks for.
    const size_t grown = blocks.empty() ? kFirstBlock : 2 * blocks.back().size;
    const size_t usual = grown < kLargestBlock ? grown : kLargestBlock;
    const size_t blockSize = usual > size ? usual : size;
    blocks.push_back(
        {std::unique_ptr<unsigned char[]>(new unsigned char[blockSize]), blockSize, size});
    current = blocks.size() - 1;
    return blocks.back().bytes.get();
}

std::string_view ScanArena::text(std::initializer_list<std::string_view> parts) {
    size_t length = 0;
    for (std::string_view part : parts) {
        length += part.size();
    }
    char* out = static_cast<char*>(allocate(length + 1, 1));
    size_t at = 0;
    for (std::string_view part : parts) {
        if (!part.empty()) {
            std::memcpy(out + at, part.data(), part.size());
        }
        at += part.size();
    }
    out[length] = '\0';
    return {out, length};
}

void ScanArena::reset() {
    for (Block& b : blocks) {
        b.used = 0;
    }
    current = 0;
}
