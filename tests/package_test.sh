#!/usr/bin/env bash
# The Debian package: two builds are equal byte for byte, lintian is content, the binary is
# hardened, and what an empty root gets by it runs.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "FAILED: $*" >&2
  exit 1
}

package=$("$root/tools/package" "$work/first" | tail -n 1)
second=$("$root/tools/package" "$work/second" | tail -n 1)
cmp "$package" "$second" || fail "two builds differ"

lintian --fail-on error,warning "$package" 2>/dev/null || fail "lintian has something to say"

# Installed by dpkg itself, which knows no other package there.
empty=$work/root
mkdir -p "$empty/var/lib/dpkg/"{info,updates,triggers}
: >"$empty/var/lib/dpkg/status"
as_root=()
((EUID == 0)) || as_root=(fakeroot)
"${as_root[@]}" dpkg --root="$empty" --force-depends --force-not-root --log=/dev/null \
  --install "$package" >"$work/log" 2>&1 || fail "dpkg: $(cat "$work/log")"

"$root/tests/hardened_test.sh" "$empty/usr/lib/td_backend/td_backend"

man -l "$empty"/usr/share/man/man1/*.gz >"$work/1" 2>/dev/null
man -l "$empty"/usr/share/man/man7/*.gz >"$work/7" 2>/dev/null
grep -q BACKEND_WAKE_ON_INPUT "$work/1" || fail "td_backend(1) has no environment"
grep -q events_rotated "$work/7" || fail "td_backend(7) has no events"

# The units, with the program where it is here.
mkdir -m 700 "$work/units" "$work/run"
cp "$empty"/usr/share/doc/td-backend/examples/* "$work/units"
sed -i "s|^ExecStart=|&$empty|" "$work/units/td_backend.service"
XDG_RUNTIME_DIR=$work/run systemd-analyze --user verify "$work"/units/* >"$work/log" 2>&1 ||
  fail "systemd-analyze: $(cat "$work/log")"
[[ ! -s $work/log ]] || fail "systemd-analyze: $(cat "$work/log")"

# By a link, as from a directory in PATH, with the real library and without a network.
ln -s "$empty/usr/bin/td_backend" "$work/td_backend"
isolated=(unshare -n)
((EUID == 0)) || isolated=(unshare -rn)
cd "$work"
printf 'ping\nquit\n' | "${isolated[@]}" ./td_backend >out 2>err || fail "the status is $?"
grep -qx BYE out || fail "it does not answer: $(cat out err)"
echo "the package did as it should"
