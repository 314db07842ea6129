// The allocator wrappers: nothing else in the library allocates.
#pragma once

#include "zelcore.h"

namespace zelj {

inline void* ownAlloc(int size) {
  return size < 1 ? nullptr : zelMalloc(size);
}

inline void ownFree(void* p) {
  zelFree(p);
}

} // namespace zelj
