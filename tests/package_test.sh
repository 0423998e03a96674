#!/usr/bin/env bash
# Packs a build, unpacks it into a scratch root, and uses what is there as a new owner would. Then installs with a prefix
# and lets the init script start and stop the daemon. Everything happens in one temporary directory.
#   tests/package_test.sh BUILD_DIRECTORY
set -euo pipefail
build=$(realpath "$1")
scratch=$(mktemp -d)
running=()  # what a failure leaves behind
cleanup() {
  local process
  for process in "${running[@]}"; do kill -KILL "$process" 2>/dev/null || true; done
  rm -rf "$scratch"
}
trap cleanup EXIT
fail() { echo "package test: $*" >&2; exit 1; }
emulate=()  # KADREND_EMULATOR: through what programs of another processor run here
[ -z "${KADREND_EMULATOR:-}" ] || emulate=("$KADREND_EMULATOR")
await() { # COMMAND...: until it succeeds, for 20 s
  for _ in $(seq 200); do
    "$@" >"$scratch/output" 2>&1 && return 0
    sleep 0.1
  done
  cat "$scratch/output" >&2
  fail "in vain: $*"
}

cpack -G DEB --config "$build/CPackConfig.cmake" -B "$scratch/pack" >"$scratch/output" || { cat "$scratch/output" >&2; fail "not packed"; }
package=$(echo "$scratch"/pack/*.deb)
root=$scratch/root
dpkg-deb -x "$package" "$root"
dpkg-deb -e "$package" "$scratch/control"
grep -q '^Depends:.*libc6' "$scratch/control/control" || fail "the package depends on no C library"
while read -r file; do
  [ -f "$root$file" ] || fail "configuration file $file is not in the package"
done <"$scratch/control/conffiles"
! dpkg-deb -c "$package" | awk '$2 != "root/root"' | grep . || fail "files that are not root's"
places='^(etc/(default|init\.d)/kadrend|usr/s?bin/kad|usr/lib/systemd/system/kadrend|usr/share/(bash-completion|doc/kadrend|lintian|man)/)'
strays=$(find "$root" -type f -printf '%P\n' | grep -vE "$places" || true)
[ -z "$strays" ] || fail "files in odd places: $strays"

# By name alone, in an empty directory.
mkdir "$scratch/desk"
cd "$scratch/desk"
"${emulate[@]}" "$root/usr/sbin/kadrend" >daemon.log 2>&1 &
daemon=$!
running=("$daemon")
kadctl=("${emulate[@]}" "$root/usr/bin/kadctl")
await "${kadctl[@]}" read 0x02000000 16
"${kadctl[@]}" monitor "cards 0 4 64 64" >/dev/null
await "${kadctl[@]}" card recv 0 3 read 0x02000001 1  # the daemon has seen them
"${kadctl[@]}" screen 2 2 4 0 >"$scratch/output"
grep -q '128 x 128 pixels, 4 cards' "$scratch/output" || fail "no wall: $(cat "$scratch/output")"
[ -d board/root ] || fail "no ./board"
kill -KILL "$daemon"
wait "$daemon" 2>/dev/null || true
running=()

# With a prefix: nothing outside it, and a service for machines without systemd.
DESTDIR="" cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
init=$scratch/prefix/etc/init.d/kadrend
sed -i "s|^KADREND_BOARD=.*|KADREND_BOARD=$scratch/service|; \$a PIDFILE=$scratch/kadrend.pid" "$scratch/prefix/etc/default/kadrend"
grep -q "^ExecStart=$scratch/prefix/sbin/kadrend " "$scratch/prefix/lib/systemd/system/kadrend.service" || fail "the unit starts another daemon"
if [ ${#emulate[@]} -gt 0 ]; then  # what runs would be the emulator, which is none of the script's
  echo "package test passed (without the init script)"
  exit 0
fi
alive() { readlink "/proc/$1/exe" >/dev/null; }  # and not only waited for by nobody
status() { local code=0; "$init" status >/dev/null || code=$?; [ $code -eq "$1" ] || fail "init script: status $code, not $1, $2"; }
status 3 "before the start"
"$init" start >/dev/null
status 0 "after the start"
first=$(cat "$scratch/kadrend.pid")
running=("$first")
await "$scratch/prefix/bin/kadctl" -b "$scratch/service" read 0x02000000 16
"$init" start >/dev/null
[ "$(cat "$scratch/kadrend.pid")" = "$first" ] || fail "init script: started twice"
"$init" restart >/dev/null
[ "$(cat "$scratch/kadrend.pid")" != "$first" ] || fail "init script: not started anew"
! alive "$first" || fail "init script: the old daemon runs on"
second=$(cat "$scratch/kadrend.pid")
running=("$second")

# A number that has come to be another process's.
sleep 300 &
stranger=$!
running+=("$stranger")
echo "$stranger" >"$scratch/kadrend.pid"
status 3 "of another process"
"$init" stop >/dev/null
alive "$stranger" || fail "init script: ended a process that is none of its own"
kill "$stranger"
echo "$second" >"$scratch/kadrend.pid"
"$init" stop >/dev/null
! alive "$second" || fail "init script: the daemon runs on"
running=()
status 3 "after the stop"

# A board that cannot be used is told of at once.
mkdir -p "$scratch/service"
echo "nonsense = 1" >"$scratch/service/board.conf"
! "$init" start >/dev/null 2>&1 || fail "init script: told of a start that was none"
echo "package test passed"
