// Memory of one scan's store: the texts and container nodes of its access points and filter hits,
// handed out in order from a few blocks that grow geometrically, and given back all at once. So
// storing a scanned access point costs no heap allocation of its own.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string_view>
#include <type_traits>
#include <vector>

class ScanArena {
  public:
    ScanArena() = default;
    ScanArena(const ScanArena&) = delete;
    ScanArena& operator=(const ScanArena&) = delete;

    void* allocate(size_t size, size_t alignment);
    // The parts joined into one text of the arena, with a zero byte after it, so that C functions
    // can read the view's data.
    std::string_view text(std::initializer_list<std::string_view> parts);
    // Gives back everything handed out; the blocks are kept for what comes next.
    void reset();

  private:
    struct Block {
        std::unique_ptr<unsigned char[]> bytes;
        size_t size;
        size_t used;
    };
    std::vector<Block> blocks;
    size_t current = 0;
};

// A standard allocator on an arena; without one it uses the heap, so that containers built
// outside a store (tests, the reports' own lists) work as usual. Two allocators are equal when
// they share their arena, and containers take theirs along when moved or swapped.
template <class T>
class ArenaAllocator {
  public:
    using value_type = T;
    using propagate_on_container_move_assignment = std::true_type;
    using propagate_on_container_swap = std::true_type;

    ArenaAllocator() = default;
    explicit ArenaAllocator(ScanArena* a) : arena(a) {}
    template <class U>
    ArenaAllocator(const ArenaAllocator<U>& other) : arena(other.arena) {}  // NOLINT: rebinding

    T* allocate(size_t n) {
        if (arena == nullptr) {
            return std::allocator<T>().allocate(n);
        }
        return static_cast<T*>(arena->allocate(n * sizeof(T), alignof(T)));
    }
    void deallocate(T* p, size_t n) {
        if (arena == nullptr) {
            std::allocator<T>().deallocate(p, n);
        }
    }

    template <class U>
    bool operator==(const ArenaAllocator<U>& other) const {
        return arena == other.arena;
    }
    template <class U>
    bool operator!=(const ArenaAllocator<U>& other) const {
        return arena != other.arena;
    }

    ScanArena* arena = nullptr;
};
