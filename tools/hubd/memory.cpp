// Blocks and their account.
#include "memory.h"

#include <new>

namespace hubd {

bool Memory::takeFor(const Client &asking, size_t size) {
    while (!take(size)) {
        if (!relieve || !relieve(asking, size)) {
            return false;
        }
    }
    return true;
}

Block *Block::make(Memory &memory, const Client &asking, size_t capacity) {
    const size_t size = sizeof(Block) + capacity;
    for (;;) {
        void *place = memory.fits(size) ? ::operator new(size, std::nothrow) : nullptr;
        if (place != nullptr) {
            memory.used_ += size;
            return new (place) Block{memory, capacity};
        }
        if (!memory.relieve || !memory.relieve(asking, size)) {
            return nullptr;
        }
    }
}

void Block::release() {
    if (--holders_ == 0) {
        memory_.used_ -= sizeof(Block) + capacity_;
        this->~Block();
        ::operator delete(this);
    }
}

}  // namespace hubd
