// The functions behind ours: the C library's, or those of a library that stands in front of it.
#pragma once

#include <dlfcn.h>

#include <cstdint>

// The C library's functions carry attributes that a function type in a template loses.
#pragma GCC diagnostic ignored "-Wignored-attributes"

namespace boardrec {

/// The next function of that name behind ours, looked up when it is first called. Usable before any
/// constructor has run; needs no lock and no memory.
template <typename Signature>
class Next {
 public:
  constexpr explicit Next(const char* name) : name_(name) {}

  template <typename... Arguments>
  auto operator()(Arguments... arguments) {
    return get()(arguments...);
  }

 private:
  Signature* get() {
    Signature* function = __atomic_load_n(&function_, __ATOMIC_RELAXED);
    if (function == nullptr) {
      function = reinterpret_cast<Signature*>(dlsym(RTLD_NEXT, name_));
      __atomic_store_n(&function_, function, __ATOMIC_RELAXED);
    }
    return function;
  }

  const char* name_;
  Signature* function_ = nullptr;
};

}  // namespace boardrec

/// The next function of the name, as an object `next_NAME` of this file.
#define BOARDREC_NEXT(name)                                       \
  static constinit boardrec::Next<decltype(::name)> next_##name { \
#name                                                         \
  }
