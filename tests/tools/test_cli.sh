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
check "info on the Sun raster fixtures" 0 "$tool" info "$data/sunraster"
grep -q "^std-rgb-24bit-29x15.ras  type 2 SUNRASTER  29x15  bands 3  depth 8  not georeferenced$" \
  /tmp/tarn_cli_out.$$ || { echo "FAIL: info line of a 24-bit file"; fail=1; }
check "info --json" 0 "$tool" info "$data/sunraster" std-bw-1bit-13x7.ras --json
grep -q '"name": "std-bw-1bit-13x7.ras", "type": 2, "type_name": "SUNRASTER", "width": 13, "height": 7, "bands": 1, "depth": 1' \
  /tmp/tarn_cli_out.$$ || { echo "FAIL: json entry"; fail=1; }
check "render raw bytes at scale 2" 0 "$tool" render "$data/sunraster" std-rgb-24bit-29x15.ras \
  --clip 3,4,10,10 --scale 2 -o "$empty/block.rgba"
grep -q "^result 1 2 5 5$" /tmp/tarn_cli_out.$$ || { echo "FAIL: result rectangle"; fail=1; }
test "$(wc -c < "$empty/block.rgba")" -eq 100 || { echo "FAIL: 5 x 5 x 4 bytes"; fail=1; }
rm -f "$empty/block.rgba"
rmdir "$empty"
rm -f /tmp/tarn_cli_out.$$ /tmp/tarn_cli_err.$$
exit $fail
