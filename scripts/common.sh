# Shared by ./run and ./test: messages, packages, presets. Must be sourced, not run.

packages_to_run=(
  g++ cmake ninja-build ccache pkg-config python3-minimal python3
  libboost-dev libspdlog-dev libfmt-dev libcli11-dev nlohmann-json3-dev libgmime-3.0-dev
  libssl-dev
)
packages_to_test=(
  googletest libbenchmark-dev zlib1g-dev libgsf-1-dev
  g++-mingw-w64-x86-64-posix mingw-w64-tools wine wine64 libwine-dev
  clang-14 libclang-rt-14-dev lld
  clamav-daemon c-icap libc-icap-mod-virus-scan squid libpython3.11-testsuite
  openssl libemail-outlook-message-perl libemail-address-perl python3-olefile
  msitools wixl
  systemd zsh groff-base dpkg-dev
)
packages_to_tidy=(clang-tidy-14)
packages_to_render=(chromium chromium-headless-shell openssl)
packages_to_bench=(libprotobuf-dev protobuf-compiler)
packages_to_package=(dpkg-dev lintian mmdebstrap systemd-container)

jobs=$(nproc 2>/dev/null || echo 2)
export CCACHE_DIR=${CCACHE_DIR:-$root/build/ccache}
export CMAKE_COLOR_DIAGNOSTICS=ON

say() { printf '== %s\n' "$*"; }
fail() {
  printf 'postwarden: %s\n' "$*" >&2
  exit 1
}

# without_servers COMMAND...: runs it while no package may start a server at its installation. The tests start those that
# they need, on free ports.
without_servers() {
  local policy=/usr/sbin/policy-rc.d result
  [ -e "$policy" ] && { "$@"; return; }
  printf '#!/bin/sh\nexit 101\n' | "${as_root[@]}" install -m 755 /dev/stdin "$policy" || return
  "$@"
  result=$?
  "${as_root[@]}" rm -f "$policy"
  return $result
}

# need_packages NAME...: installs the missing packages. On failure prints one line with the required action.
need_packages() {
  command -v dpkg-query >/dev/null || fail "this is no Debian system: install the counterparts of: $*"
  local missing=() name
  for name in "$@"; do
    dpkg-query -W -f '${Status}' "$name" 2>/dev/null | grep -q 'install ok installed' || missing+=("$name")
  done
  [ ${#missing[@]} -eq 0 ] && return
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || fail "missing packages, and neither root nor sudo: run as root: apt-get install ${missing[*]}"
    as_root=(sudo)
  fi
  say "installing ${missing[*]}"
  local log="$root/build/install.log"
  mkdir -p "$root/build"
  if ! { "${as_root[@]}" apt-get update &&
    without_servers "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
      apt-get install -y --no-install-recommends "${missing[@]}"; } \
    >"$log" 2>&1; then
    tail -n 5 "$log" >&2
    fail "could not install ${missing[*]}: check the network and the package sources, then run this again (whole log: $log)"
  fi
}

# configure PRESET [-DNAME=VALUE...]
configure() {
  local preset=$1 log="$root/build/$1.configure.log"
  shift
  mkdir -p "$root/build"
  cmake --preset "$preset" "$@" >"$log" 2>&1 || {
    tail -n 30 "$log" >&2
    fail "configuring '$preset' failed: see the lines above (whole log: $log)"
  }
}

# build PRESET TARGET...: shows one progress line on a terminal, and the compiler's output only on failure.
build() {
  local preset=$1 log="$root/build/$1.build.log"
  shift
  if [ -t 1 ]; then
    NINJA_STATUS='[%f/%t] ' ninja -C "$root/build/$preset" -j "$jobs" "$@" 2>&1 | tee "$log" |
      while IFS= read -r line; do printf '\r\033[K%.100s' "$line"; done
    printf '\r\033[K'
  else
    ninja -C "$root/build/$preset" -j "$jobs" "$@" >"$log" 2>&1
  fi
  [ "${PIPESTATUS[0]}" -eq 0 ] || {
    grep -vE '^\[[0-9]+/[0-9]+\]' "$log" | tail -n 60 >&2
    fail "building '$preset' failed: see the lines above (whole log: $log)"
  }
}
