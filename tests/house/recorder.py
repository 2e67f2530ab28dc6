"""What the recorder of real boards stands in front of, and what it needs itself."""
import re
import subprocess

# Functions of libc that a recording leaves out, with the reason. Add one only when that is true of it; teach
# boardrec/recorder/ all others.
LEFT_OUT = {
    "memory and texts of the process": """
        calloc free malloc realloc memchr memcmp memcpy memmove memset snprintf sscanf strchr strcmp strcspn strerror
        strftime strlen strncmp strncpy strnlen strspn strstr strtol strtoll strtoul
        inet_addr inet_ntop inet_pton cfmakeraw cfsetispeed cfsetospeed srandom""",
    "the console, which the program writes and nobody answers": "fflush fprintf fputc fputs perror printf puts stderr stdout",
    "how this process takes signals and cancelling": "pthread_setcancelstate signal",
    "the runtime of C and C++": """
        _ITM_deregisterTMCloneTable _ITM_registerTMCloneTable _Unwind_Resume __cxa_atexit __cxa_end_cleanup __cxa_finalize
        __errno_location __fdelt_chk __gmon_start__ __gxx_personality_v0 __stack_chk_fail __stack_chk_guard abort
        __aeabi_atexit __aeabi_idivmod __aeabi_ul2d __aeabi_unwind_cpp_pr0 __aeabi_unwind_cpp_pr1""",
}
# An old C library has its parts in libraries of their own; what unwinds a cancelled thread is there before.
NEEDS = r"libc\.so|libdl\.so|libpthread\.so|libgcc_s\.so|ld-linux"


def dynamic(file, option):
    output = subprocess.run(["nm", "-D", option, str(file)], capture_output=True, text=True, check=True).stdout
    return {line.split()[-1].split("@")[0] for line in output.splitlines()}


def recorded_calls(complain, build):
    """Every function of libc that the program calls is recorded, or touches nothing that a board would answer."""
    left_out = {name for names in LEFT_OUT.values() for name in names.split()}
    recorded = dynamic(build / "boardrec/libboardrecord.so", "--defined-only")
    for name in sorted(dynamic(build / "t1_sdk/boardtest", "--undefined-only") - recorded):
        plain = re.sub(r"^__isoc\d+_|^__(?=\w+_chk$)|_chk$", "", name)
        if not name.startswith("_Z") and name not in left_out and plain not in left_out:
            complain("t1_sdk", "?", f"calls {name}, which boardrec/recorder/ does not record and tests/house/recorder.py"
                     " does not leave out")


def recorder_needs(complain, build):
    """The recorder needs the C library alone, allocates nothing, and answers the program for libc only."""
    library = build / "boardrec/libboardrecord.so"
    headers = subprocess.run(["objdump", "-p", str(library)], capture_output=True, text=True, check=True).stdout
    for needed in re.findall(r"NEEDED\s+(\S+)", headers):
        if not re.match(NEEDS, needed):
            complain("boardrec/recorder", "?", f"needs {needed}, which a board may not have")
    for name in sorted(dynamic(library, "--undefined-only")):
        if re.match(r"(malloc|calloc|realloc|free|_Zn|_Zd|_ZNSt|__cxa_(throw|allocate))", name):
            complain("boardrec/recorder", "?", f"calls {name}: it has no heap and no C++ library")
    for name in sorted(dynamic(library, "--defined-only")):
        if name.startswith("_Z"):
            complain("boardrec/recorder", "?", f"shows {name} to the program")
