#!/usr/bin/env bash
# ./run over the real TDLib, in a network namespace without network: what a user sees, how each
# way of ending ends, and that nothing is left of it.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

fail() {
  echo "FAILED: $*" >&2
  for file in out err; do
    echo "--- $file" >&2
    cat "$file" >&2
  done
  exit 1
}
expect() { [[ $1 == "$2" ]] || fail "$3: $1, not $2"; }
expect_line() { grep -qxF -e "$2" "$1" || fail "$1 has no line '$2'"; }

# What needs the network happens before there is none.
"$root/tools/packages" build
"$root/tools/tdlib" library
isolated=(unshare -n)
((EUID == 0)) || isolated=(unshare -rn)
"${isolated[@]}" true || fail "no network namespace can be made here"

# The run's own directory, as its log names it; it has to be gone, and every process that knew it.
expect_nothing_left() {
  local dir
  dir=$(sed -n 's|^\[backend\] DB_LOCK ok path=\(.*\)/tdlib-db/td_backend.lock$|\1|p' err)
  [[ $dir == "$root/build/run-"* ]] || fail "the log names no directory of the run's own"
  [[ ! -e $dir ]] || fail "$dir is still there"
  echo "$dir" >dir
  if grep -lsFf dir /proc/[0-9]*/{cmdline,environ}; then fail "a process is left"; fi
}

# Starts ./run with a pipe to type into (descriptor 5), and returns when it asks for the phone.
# Jobs have groups of their own, so that a signal to the group is what Ctrl-C is.
set -m
start() {
  rm -f in out_pipe
  mkfifo in out_pipe
  "${isolated[@]}" "$root/run" <in >out_pipe 2>err &
  job=$!
  exec 5>in
  exec 6<out_pipe
  : >out
  local line
  while read -r line <&6; do
    echo "$line" >>out
    [[ $line == '{"type":"need","what":"phone"}' ]] && return
  done
  fail "./run ended before it asked for the phone number"
}
finish() {
  exec 5>&-
  cat <&6 >>out
  exec 6<&-
  status=0
  wait "$job" || status=$?
}

start
echo ping >&5
finish
expect "$status" 0 "the status at the end of the input"
expect_line out "NEED phone"
expect_line err "[backend] CMD ping"
expect_nothing_left

for end in INT:130 TERM:143; do
  start
  kill "-${end%:*}" -- "-$job"
  finish
  expect "$status" "${end#*:}" "the status after SIG${end%:*}"
  expect_nothing_left
done

# What the user names stays, is shown all the same, and is taken as it is.
export TDLIB_DB_DIR=$work/db BACKEND_EVENTS_FILE=events BACKEND_EVENTS_APPEND=1
echo '{"type":"earlier"}' >events
start
status=0
BACKEND_EVENTS_FILE='' "${isolated[@]}" "$root/run" </dev/null >second 2>&1 || status=$?
expect "$status" 9 "the status of a second backend on the same database"
expect_line second "FATAL tdlib db locked"
echo quit >&5
finish
expect "$status" 0 "the status after quit"
expect "$(head -n 1 events)" '{"type":"earlier"}' "the first line of an events file of the user's"
expect "$(grep '^{' out)" "$(tail -n +2 events)" "the events shown"
[[ -f db/td_backend.lock ]] || fail "the user's own database is gone"
unset TDLIB_DB_DIR BACKEND_EVENTS_APPEND

# No line is lost however fast they come, nor one that lacks its end.
export BACKEND_EVENTS_FILE=
{
  seq 20000 | sed 's/.*/ping/'
  printf ping
} | "${isolated[@]}" "$root/run" >out 2>err
expect "$(grep -cx PONG out)" 20001 "answers"
expect "$(tail -n 1 out)" BYE "the last reply"

status=0
TDLIB=$work/none "$root/run" >out 2>err </dev/null || status=$?
expect "$status" 1 "the status without a library"
expect "$(cat err)" "run: TDLIB=$work/none is no readable file; name a libtdjson.so" "what is said"
echo "./run did as it should"
