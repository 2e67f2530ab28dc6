# Sourced by ./run, ./test and the other commands beside them: what a fresh Debian 12 machine needs, and the build of one preset.

# Command or header that shows it, and the Debian package that brings it.
needed=(
  "c++ g++" "cmake cmake" "ninja ninja-build" "python3 python3"
  "/usr/include/CLI/CLI.hpp libcli11-dev" "/usr/include/nlohmann/json.hpp nlohmann-json3-dev"
  "/usr/include/pugixml.hpp libpugixml-dev" "/usr/include/gtest/gtest.h libgtest-dev"
  "/usr/include/gmock/gmock.h libgmock-dev"
)

install_packages() {
  local -a missing=()
  local row thing package
  for row in "${needed[@]}"; do
    read -r thing package <<<"$row"
    case $thing in
      /*) [ -e "$thing" ] || missing+=("$package") ;;
      *) command -v "$thing" >/dev/null 2>&1 || missing+=("$package") ;;
    esac
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  local -a as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    if sudo -n true 2>/dev/null; then
      as_root=(sudo -n)
    else
      echo "These packages are missing, and only root may install them:" >&2
      echo "  apt-get install ${missing[*]}" >&2
      exit 3
    fi
  fi
  echo "Installing: ${missing[*]}" >&2
  if ! { "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -q &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -qy --no-install-recommends "${missing[@]}"; } \
    >build/install.log 2>&1; then
    tail -n 5 build/install.log >&2
    echo "apt-get could not install: ${missing[*]} (whole output: build/install.log)" >&2
    exit 3
  fi
}

# build_preset NAME [TARGET...]: quiet when all is well, the compiler's words when not.
build_preset() {
  local preset=$1 log="build/$1.log"
  shift
  local -a targets=()
  [ $# -eq 0 ] || targets=(--target "$@")
  echo "Building ($preset) ..." >&2
  if ! { cmake --preset "$preset" && cmake --build --preset "$preset" "${targets[@]}"; } >"$log" 2>&1; then
    grep -E -A 12 "error|FAILED" "$log" | head -n 60 >&2 || true
    echo "The build failed; its whole output is in $log" >&2
    exit 3
  fi
}
