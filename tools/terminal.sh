# shellcheck shell=bash
# To be sourced: a program in a terminal of its own, driven by keys and watched by what it shows.

terminal_socket=td-console-$$

terminal() { tmux -f /dev/null -L "$terminal_socket" "$@"; }

# start_terminal COLUMNS ROWS COMMAND...; "ended with STATUS" is shown at last, and stays.
start_terminal() {
  local columns=$1 rows=$2
  shift 2
  terminal start-server \; set -g remain-on-exit on \; set -s escape-time 0 \; \
    set -g default-terminal tmux-256color \; \
    new-session -d -s console -x "$columns" -y "$rows" "$(printf '%q ' env LC_ALL=C.UTF-8 "$@"); echo \"ended with \$?\""
}

stop_terminal() { terminal kill-server 2>/dev/null || true; }
press() { terminal send-keys -t console "$@"; }
enter() { press -l "$1" && press Enter; }
shown() { terminal capture-pane -p -t console; }

# wait_for SECONDS COMMAND...: until it succeeds.
wait_for() {
  local end=$((SECONDS + $1))
  shift
  until "$@"; do
    ((SECONDS < end)) || return 1
    sleep 0.05
  done
}

has_size() { [[ $(terminal display -p -t console '#{pane_width} #{pane_height}') == "$1" ]]; }
shows() { shown | grep -qF -- "$1"; }

# Fails with what is shown in its place.
expect() {
  wait_for 60 shows "$1" && return
  echo "not shown: $1" >&2
  shown >&2
  exit 1
}
