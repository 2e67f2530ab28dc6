// How the sanitizers of the fuzzers are set, unless the environment says otherwise.

extern "C" {

const char* __asan_default_options();

// Each board takes some megabytes, which need not be kept for long. The libraries' order does no harm: the
// simulated board looks functions up behind itself, and comes upon the sanitizer's before the C library's.
const char* __asan_default_options() {
  return "quarantine_size_mb=16:verify_asan_link_order=0";
}

}  // extern "C"
