#!/usr/bin/env bash
# What keeps boardtest running on a board: each end of the server, whatever its reason, is followed by the pause and
# another start, for ever. Servers and pauses of these tests only leave a word in a pipe, so nothing waits.
set -euo pipefail
cd "$(dirname "$0")/../.."
script=$PWD/packaging/boardtest.init
folder=$(mktemp -d "${TMPDIR:-/tmp}/boardtest-init.XXXXXX")
status=0
runner=
cleanup() {
  [ -z "$runner" ] || kill "$runner" 2>/dev/null || true
  "$script" stop >/dev/null 2>&1 || true
  rm -rf "$folder"
}
trap cleanup EXIT

mkfifo "$folder/words"
exec 3<>"$folder/words" # open at both ends, so that nobody is held up by the other
cat >"$folder/sleep" <<STUB
#!/bin/sh
echo "pause of \$1" >"$folder/words"
STUB
chmod +x "$folder/sleep"
export PATH=$folder:$PATH BOARDTEST_PROGRAM=$folder/server BOARDTEST_PID_FILE=$folder/boardtest.pid

# server LINE...: what the server does when it is started.
server() {
  { echo '#!/bin/sh'; echo "echo started >'$folder/words'"; printf '%s\n' "$@"; } >"$folder/server.new"
  chmod +x "$folder/server.new"
  mv "$folder/server.new" "$folder/server"
}

expect() {
  local word
  for expected in "$@"; do
    read -r -t 60 -u 3 word || word=nothing
    [ "$word" = "$expected" ] || { echo "$test: $word instead of $expected"; status=1; return; }
  done
}

check() {
  "$@" || { echo "$test: '$*' failed"; status=1; }
}

# The words that are left, once nobody is there to add any.
forget() {
  local word
  while read -r -t 0 -u 3 && read -r -u 3 word; do :; done
}

end_runner() {
  kill "$runner"
  wait "$runner" 2>/dev/null || true
  runner=
  forget
}

test="A server that ends with an error is started again"
server 'exit 255'
"$script" run & runner=$!
for _ in {1..50}; do expect started "pause of 5"; done
end_runner

test="A server that ends well is started again"
server 'exit 0'
"$script" run & runner=$!
for _ in {1..3}; do expect started "pause of 5"; done
end_runner

test="A server that crashes is started again"
server "kill -SEGV \$\$"
"$script" run 2>/dev/null & runner=$!
for _ in {1..3}; do expect started "pause of 5"; done
end_runner

test="A server that is not there yet is waited for"
rm "$folder/server"
"$script" run 2>/dev/null & runner=$!
expect "pause of 5" "pause of 5"
server 'exit 255'
while read -r -t 60 -u 3 word && [ "$word" != started ]; do :; done
expect "pause of 5" started
end_runner

test="The pause can be chosen"
BOARDTEST_PAUSE=9 "$script" run & runner=$!
expect started "pause of 9"
end_runner

test="What starts the server also ends it"
server "echo \$\$ >'$folder/server.pid'" "exec tail -f /dev/null"
check "$script" start
expect started
check "$script" status >"$folder/said"
grep -q "is kept running" "$folder/said" || { echo "$test: $(cat "$folder/said")"; status=1; }
check "$script" start >"$folder/said"
grep -q "runs already" "$folder/said" || { echo "$test: $(cat "$folder/said")"; status=1; }
until [ -s "$folder/server.pid" ]; do read -r -t 0.01 -u 3 || true; done
server_pid=$(cat "$folder/server.pid")
check "$script" stop
! kill -0 "$server_pid" 2>/dev/null || { echo "$test: the server still runs"; kill "$server_pid"; status=1; }
! "$script" status >/dev/null || { echo "$test: it is kept running still"; status=1; }
forget

test="A process number from before a power cut keeps nobody from starting"
bash -c 'exec -a other tail -f /dev/null' & runner=$!
echo "$runner" >"$folder/boardtest.pid"
server 'exit 255'
check "$script" start
expect started "pause of 5" started
check "$script" stop
check kill -0 "$runner"
end_runner

test="An unknown command is refused"
! "$script" resume 2>/dev/null || { echo "$test: it is not"; status=1; }

# The same promise in the words of the two other supervisors.
grep -qx "::respawn:/bin/sh -c '/usr/bin/boardtest; sleep 5'" packaging/inittab ||
  { echo "packaging/inittab does not start boardtest again after a pause"; status=1; }
for line in Restart=always RestartSec=5 StartLimitIntervalSec=0; do
  grep -qx "$line" packaging/boardtest.service || { echo "packaging/boardtest.service lacks $line"; status=1; }
done
exit $status
