// Sizes that a caller can set. Internal: not installed.
#ifndef ZEL_FTC_MATRIX_BOUNDED_H
#define ZEL_FTC_MATRIX_BOUNDED_H

#include <cassert>
#include <cstddef>

namespace zel {

/// How far a size is followed: to the end of the storage. A size above it is a caller's error: a
/// debug build asserts, a release build works on what the storage holds.
template <std::size_t Capacity>
std::size_t bounded(std::size_t n) {
  assert(n <= Capacity && "size above the storage");
  return n <= Capacity ? n : Capacity;
}

}  // namespace zel

#endif
