// Stand-ins for the library's calls for memory and descriptors. They go into the library's own import table, so the
// library is the one that ships and nobody else's calls fail.
#pragma once

#include <string_view>

namespace vostest {

enum class Resource { kMemory, kDescriptor };

struct HookedLibrary {
    bool found = false;         // not where it is linked statically
    std::string_view unhooked;  // a call for memory or descriptors that has no hook and would go untested
};

/** Puts the hooks into the table of this process. Each call for a resource asks `decide` whether it fails. */
HookedLibrary hookLibrary(bool (*decide)(Resource));

/** Blocks of the plain heap that the library holds since it was hooked. */
long liveBlocks();

/** Frees a block that the library took from the plain heap. */
void freeLibraryBlock(void *block);

}  // namespace vostest
