#!/bin/sh
# The command-line tool as a host: usage, failure messages and exit codes.
set -u
tool="$1"
data="$2"
fail=0
check() { # description, expected exit code, command...
  desc="$1"; want="$2"; shift 2
  "$@" >/tmp/tarn_cli_out.$$ 2>/tmp/tarn_cli_err.$$
  got=$?
  if [ "$got" -ne "$want" ]; then
    echo "FAIL: $desc: exit $got, wanted $want"; cat /tmp/tarn_cli_err.$$; fail=1
  else
    echo "ok: $desc"
  fi
}
empty=$(mktemp -d)
check "help" 0 "$tool" --help
grep -q "info DIR" /tmp/tarn_cli_out.$$ || { echo "FAIL: help does not describe info"; fail=1; }
check "no command" 2 "$tool"
check "unknown command" 2 "$tool" frobnicate
check "missing directory" 1 "$tool" info /nonexistent/tarn/dir
test "$(wc -l < /tmp/tarn_cli_err.$$)" -eq 1 || { echo "FAIL: message is not one line"; fail=1; }
check "empty directory" 1 "$tool" info "$empty"
grep -q "no image admitted" /tmp/tarn_cli_err.$$ || { echo "FAIL: no message for empty dir"; fail=1; }
check "empty directory json" 1 "$tool" info "$empty" --json
check "render without output" 2 "$tool" render "$empty" x.ras
check "render of a missing file" 1 "$tool" render "$empty" missing.ras -o "$empty/out.png"
test "$(wc -l < /tmp/tarn_cli_err.$$)" -eq 1 || { echo "FAIL: message is not one line"; fail=1; }
check "render with a bad clip" 2 "$tool" render "$empty" x.ras --clip 1,2,3 -o "$empty/o.png"
check "render with a bad scale" 2 "$tool" render "$empty" x.ras --scale -1 -o "$empty/o.png"
test ! -e "$empty/out.png" || { echo "FAIL: output written for a missing file"; fail=1; }
rmdir "$empty"
rm -f /tmp/tarn_cli_out.$$ /tmp/tarn_cli_err.$$
exit $fail
