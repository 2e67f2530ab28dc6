// The functions behind those that a replay answers: the simulated board's, or the C library's.
#pragma once

#include <dlfcn.h>

// The C library's functions carry attributes that a function type in a template loses.
#pragma GCC diagnostic ignored "-Wignored-attributes"

namespace boardrec {

/// The next function of that name behind ours.
template <typename Signature>
Signature* next(const char* name) {
  return reinterpret_cast<Signature*>(dlsym(RTLD_NEXT, name));
}

}  // namespace boardrec

/// Calls the next function of the name, found when it is first needed.
#define BOARDREC_PASS_ON(name, ...)                                      \
  do {                                                                   \
    static auto* const behind = boardrec::next<decltype(::name)>(#name); \
    return behind(__VA_ARGS__);                                          \
  } while (false)
