"""No call of the program goes past the simulated board."""
import re
import subprocess

import tree

# Functions of the C library that touch nothing outside the process, or only what was opened through the board.
# Add one only when that is true of it; teach boardsim/libc/ all others.
HARMLESS = """
  _GLOBAL_OFFSET_TABLE_ _Unwind_Resume __cxa_atexit __dso_handle __errno_location __fdelt_chk __gxx_personality_v0
  __stack_chk_fail __stack_chk_guard
  __aeabi_atexit __aeabi_idivmod __aeabi_ul2d __aeabi_unwind_cpp_pr0 __aeabi_unwind_cpp_pr1 __cxa_end_cleanup
  calloc free malloc realloc
  memchr memcmp memcpy memmove memset strchr strcmp strcpy strcspn strerror strftime strlen strncmp strncpy strnlen strspn strstr
  isalnum isalpha isdigit isspace tolower toupper strtol strtoll strtoul
  printf puts putchar perror snprintf sprintf sscanf vprintf vsnprintf
  fclose fflush fgets fprintf fputc fputs fread fseek ftell fwrite stdin stderr stdout
  cfmakeraw cfsetispeed cfsetospeed htonl htons inet_addr inet_ntop inet_pton ntohl ntohs
  exit pthread_self pthread_setcancelstate pthread_setcanceltype random signal srandom
""".split()
# What the program takes from the C++ library: containers, memory, the errors of both. Nothing that opens, waits or runs.
CPP = r"std::__throw_|std::_Rb_tree_|std::__cxx11::basic_string|std::__detail::_List_node|std::terminate" \
      r"|std::allocator<char>|operator new|operator delete|vtable for __cxxabiv1::"


def symbols(file, *options):
    output = subprocess.run(["nm", *options, str(file)], capture_output=True, text=True, check=True).stdout
    return {line.split()[-1].split("@")[0] for line in output.splitlines() if re.search(r" [A-Za-z] \S", line)}


def plain(name):
    """The name of a function without the marks of fortified and standard variants: __read_chk, __isoc99_sscanf."""
    return re.sub(r"^__isoc\d+_|^__(?=\w+_chk$)|_chk$", "", name)


def libc_calls(complain, build):
    """Every function that the program asks of its libraries is answered by the simulated board, or is harmless."""
    library = build / "t1_sdk/libt1_sdk.a"
    answered = symbols(build / "boardsim/libboardsim_preload.so", "-D", "--defined-only")
    own = symbols(library, "--defined-only")
    for name in sorted(symbols(library, "--undefined-only") - own - answered):
        if name.startswith("_Z"):
            full = subprocess.run(["c++filt", name], capture_output=True, text=True, check=True).stdout.strip()
            if not re.match(CPP, full):
                complain("t1_sdk", "?", f"{full} of the C++ library may do anything: nobody looked at it")
        elif name not in HARMLESS and plain(name) not in HARMLESS:
            users = subprocess.run(["nm", "-A", "--undefined-only", str(library)], capture_output=True, text=True, check=True)
            where = re.search(rf"(\w+\.cpp)\.o:.* {re.escape(name)}$", users.stdout, re.M)
            complain(where[1] if where else "t1_sdk", "?",
                     f"calls {name}, which boardsim/libc/ does not answer and tests/house/libc_calls.py does not list")


# Wide characters, encodings, locales, and names of hosts and users.
UNREACHED = re.compile(r"\b(?:wchar_t|wint_t|wstring|fwide|setlocale|newlocale|locale|iconv\w*|\w*gettext|getaddrinfo"
                       r"|getnameinfo|gethost\w+|getserv\w+|getpw\w+|getgr\w+)\b|ccs=|%[-+ #0-9.*]*(?:l[sc]|[SC])")


def unreached(complain):
    """The program reaches nothing of the C library that cmake/unreached.cmake leaves out of its static file."""
    for path in tree.files(".cpp", ".h", below="t1_sdk/"):
        for number, line in tree.lines(path):
            if found := UNREACHED.search(line):
                complain(path, number, f"{found[0]}: what stands behind it is not in the file that boards run")
