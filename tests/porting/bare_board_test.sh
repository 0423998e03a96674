#!/usr/bin/env bash
# A daemon on the bare board: says that the board is not usable, or comes up and says what fails.
#   bare_board_test.sh KADREND LIBRARY
set -euo pipefail
daemon=$1 library=$2 source=$(cd "$(dirname "$0")/../.." && pwd)
directory=$(mktemp -d)
process=
trap '[ -z "$process" ] || kill -9 "$process" 2>/dev/null || true; rm -rf "$directory"' EXIT
fail() { echo "$*" >&2; exit 1; }

status=0
env -u KADREND_BOARD "$daemon" 2>"$directory/refusal" || status=$?
[ $status -eq 1 ] || fail "status $status without a board"
grep -q "KADREND_BOARD names no directory" "$directory/refusal" || fail "no word on why there is no board"

mkdir -p "$directory/log" "$directory/etc/init.d"
touch "$directory/etc/init.d/flag_fpgaload" # the FPGA counts as loaded: the cycle runs
KADREND_BOARD=$directory "$daemon" -debug >"$directory/stdout" 2>&1 &
process=$!
disown $process
logged() { grep -qsF "$1" "$directory"/log/kadrend_*.log; }
for _ in $(seq 1200); do
  logged "Finish main init" && logged "receive file /etc/init.d/flag_fpgaload" && break
  kill -0 $process 2>/dev/null || fail "ended: $(tail -n 3 "$directory/stdout")"
  sleep 0.05
done
logged "Finish main init" || fail "did not come up"
logged "apipc init failed" && fail "took a good bus for a bad one"
logged "pmxpara file fail" || fail "no word on the flash that is not there"

# Every function that the headers declare is exported, and named in the guide.
exported=$(nm --defined-only --extern-only "$library")
for name in $(cat "$source"/platform/include/*.h | grep -oE '^[a-z].*\b([A-Za-z_0-9]+)\(' | grep -vE '^(typedef|static_assert)' | grep -oE '[A-Za-z_0-9]+\($' | tr -d '(') ModifyEDID_API; do
  grep -qw "$name" <<<"$exported" || fail "the library does not export $name"
  grep -qw "$name" "$source/docs/porting.md" || fail "docs/porting.md does not name $name"
done
