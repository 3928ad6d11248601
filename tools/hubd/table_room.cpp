// The account of registrations.
#include "table_room.h"

#include "turns.h"

namespace hubd {

bool TableRoom::take(const Client &client) {
    const size_t ofProcess = client.process->tables + kEntry;
    if (ofProcess > memory_.limit() / 16 || used_ + kEntry > memory_.limit() / 4 || !memory_.take(kEntry)) {
        return false;
    }
    client.process->tables = ofProcess;
    used_ += kEntry;
    return true;
}

void TableRoom::give(const Client &client, size_t entries) {
    const size_t size = entries * kEntry;
    client.process->tables -= size;
    used_ -= size;
    memory_.give(size);
}

}  // namespace hubd
