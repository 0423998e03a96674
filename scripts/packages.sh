# Sourced by the other scripts: installs the Debian packages that are missing.
# Usage: need_packages PACKAGE...

BUILD_PACKAGES="g++ cmake ninja-build pkg-config libcli11-dev nlohmann-json3-dev libcairo2-dev fonts-dejavu-core"
TEST_PACKAGES="$BUILD_PACKAGES libgtest-dev libgmock-dev edid-decode groff-base python3 dpkg-dev file"
PACKAGE_PACKAGES="$BUILD_PACKAGES dpkg-dev file"
ARM_PACKAGES="g++-arm-linux-gnueabihf g++-aarch64-linux-gnu qemu-user googletest"
BENCH_PACKAGES="$TEST_PACKAGES libbenchmark-dev libmodbus-dev libspdlog-dev libsystemd-dev dbus valgrind binutils"
CHECK_PACKAGES="$TEST_PACKAGES git clang clang-format clang-tidy libclang-rt-14-dev"

need_packages() {
  local missing=() package
  for package in "$@"; do
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  local as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  echo "Installing: ${missing[*]}" >&2
  "${as_root[@]}" apt-get update -qq >&2
  DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
}

# Configures a preset and builds it (all of it, or the targets named).
build_preset() {
  local preset=$1
  shift
  case $preset in arm | arm64) need_packages $ARM_PACKAGES ;; esac
  cmake --preset "$preset" >"build-$preset.log" 2>&1 || { cat "build-$preset.log" >&2; return 1; }
  local targets=()
  [ $# -eq 0 ] || targets=(--target "$@")
  cmake --build --preset "$preset" "${targets[@]}" >"build-$preset.log" 2>&1 || { tail -60 "build-$preset.log" >&2; return 1; }
  rm -f "build-$preset.log"
}
