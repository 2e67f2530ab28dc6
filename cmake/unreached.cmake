# What the C library brings into a static file and no program of this house reaches: `bt::unreached` leaves it out. Each
# of these names stands for abort() instead, so that the linker fetches nothing for it, and nothing that it alone uses.
# `static_program` in tests/ holds a program without them against one with the whole library.
#
# They are names inside Debian 12's C library; who calls them in another version, nobody has looked up.
include(CheckCXXSourceCompiles)
check_cxx_source_compiles("
#include <features.h>
#if !defined __GLIBC__ || __GLIBC__ != 2 || __GLIBC_MINOR__ != 36
#error
#endif
int main() {}" BT_KNOWN_LIBRARY)

set(unreached "")
if(BT_KNOWN_LIBRARY)
  list(APPEND unreached
    # Streams and texts are bytes: nothing is a wide character, no file is opened with an encoding (`ccs=`). The last is
    # the lock of what converts.
    __vfwprintf_internal
    __gconv_transform_ascii_internal __gconv_transform_internal_ascii __gconv_btwoc_ascii
    __gconv_find_transform __gconv_close_transform __gconv_release_step __gconv_lock
    # Nobody chooses a locale: the one of each program's start, "C", is built in, and has no translations.
    __gconv_compare_alias
    _nl_find_domain _nl_load_domain
    # Addresses are numbers: no name of a host is looked up. A thread's end closes what looked one up, if any did.
    __res_vinit __res_iclose)
endif()
list(TRANSFORM unreached REPLACE "(.+)" "-Wl,--defsym=\\1=abort")

add_library(bt_unreached INTERFACE)
add_library(bt::unreached ALIAS bt_unreached)
target_link_options(bt_unreached INTERFACE -static -no-pie -Wl,--gc-sections ${unreached})
