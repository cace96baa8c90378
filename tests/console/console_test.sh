#!/usr/bin/env bash
# Drives the console in a terminal, over the world: the log-in, reading, sending, the answer, a
# search, a download, a backend that dies, terminals of every size, the end.
# usage: console_test.sh TD_CONSOLE TD_BACKEND WORLD_LIBRARY
set -euo pipefail

console=$1
# shellcheck source=tools/terminal.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../tools/terminal.sh"
dir=$(mktemp -d)
trap 'stop_terminal; rm -rf "$dir"' EXIT
ln -s "$2" "$dir/td_backend"
ln -s "$3" "$dir/libtdjson.so.1.8.61"
mkdir "$dir/tmp"
export TMPDIR=$dir/tmp TDLIB_DB_DIR=$dir/db TDLIB_FILES_DIR=$dir/files
# A still world, whose people answer at once.
export WORLD_RATE=0 WORLD_SPEED=20 TD_RAISE_RLIMIT=0 TZ=UTC

start_terminal 80 24 "$console" "$dir/td_backend"
expect 'telephone number'
enter +15550100
expect 'Enter the code'
enter 54321
expect 'PHONE_CODE_INVALID'
enter 12345
expect 'World'

enter '/open Ann'
expect 'Ann Archer: '
enter 'Hello, Grüße an 小林 👋'
expect 'You: Hello, Grüße an 小林 👋 ✓'
expect 'Good to hear you'
press F2
press Up +
expect '"message_reactions"'
press F2
expect '👍 1'
press Escape

press C-f
enter 'Tea?'
expect '/find Tea?: 5'
press Down Down Enter
expect '16:29 You: Tea?'
press Escape
enter 'Did you have tea?' # to the end again, so that the answer is seen
expect 'You: Did you have tea? ✓'
expect 'Really? Tell me more.'
enter '/media photo'
expect '31 Oct 22:56'
press Enter
expect '[photo 800'
press s
expect 'Downloaded: '
[[ -s $(find "$dir/files" -type f | head -n 1) ]] || { echo 'nothing was written' >&2 && exit 1; }

# What is drawn at any size has the terminal's size; the program lives.
for size in '10 3' '300 100' '1 1' '80 24'; do
  terminal resize-window -t console -x "${size% *}" -y "${size#* }"
  wait_for 60 has_size "$size"
done
press Escape Escape Escape Escape
enter '/open World'
expect 'steers the'
enter 'crash'
expect 'Enter starts it again'
press Enter
expect 'Ann Archer' # the log-in has lasted
enter '/quit'
expect 'ended with 0'
[[ -z $(ls "$TMPDIR") ]] || { echo "left behind: $(ls "$TMPDIR")" >&2 && exit 1; }

# Without a terminal: a line for an event.
mkfifo "$dir/input"
"$console" --plain "$dir/td_backend" <"$dir/input" >"$dir/lines" &
plain=$!
exec 3>"$dir/input"
wait_for 60 grep -q 'chat .*Ann Archer' "$dir/lines" || { cat "$dir/lines" >&2 && exit 1; }
printf '/open Ann\nHello\n' >&3
wait_for 60 grep -q 'Good to hear you' "$dir/lines" || { cat "$dir/lines" >&2 && exit 1; }
printf '/quit\n' >&3
exec 3>&- # is no second one, which would not wait
wait "$plain"
grep -q 'The backend has ended: quit' "$dir/lines"

# A backend that writes what none should: a torn line, an event that is missing, control characters,
# bytes that are no UTF-8, a line of 1 MB. It puts its file aside and dies.
cat >"$dir/odd" <<'END'
#!/usr/bin/env bash
events=$BACKEND_EVENTS_FILE
exec 4>>"$events"
printf '%s\n' '{"type":"hello","protocol":2,"seq":1}' '{"type":"message","torn":"' >&4
printf '{"type":"news","text":"\\u0007\\u009b2J \\u202eback a\377b","seq":3}\n' >&4
while read -rt 60 line && [[ $line != *' resync' ]]; do :; done
printf '{"type":"news","text":"%01000000d","seq":4}\n' 0 >&4
mv "$events" "$events.1"
echo '{"type":"news","text":"next file","seq":6}' >"$events"
echo '{"type":"events_rotated","seq":5}' >&4
exit 3
END
chmod +x "$dir/odd"
status=0
"$console" --plain "$dir/odd" </dev/null >"$dir/lines" || status=$?
[[ $status == 3 ]]
for line in 'news: text=�2J back a�b' 'news: text=0000*…' 'news: text=next file'; do
  grep -q "$line\$" "$dir/lines" || { echo "missing: $line" >&2 && cut -c 1-200 "$dir/lines" && exit 1; }
done
