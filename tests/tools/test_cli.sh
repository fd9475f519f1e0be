#!/bin/sh
# The command-line tool as a host: usage, failure messages and exit codes.
set -u
tool="$1"; data="$2"; samples="${3:-}"
fail=0
out=/tmp/tarn_cli_out.$$; err=/tmp/tarn_cli_err.$$
check() { # description, expected exit code, command...
  desc="$1"; want="$2"; shift 2
  "$@" >"$out" 2>"$err"
  got=$?
  if [ "$got" -ne "$want" ]; then no "$desc: exit $got, wanted $want"; cat "$err"; else echo "ok: $desc"; fi
}
no() { echo "FAIL: $*"; fail=1; }  # a failed expectation of the last check
one_line() { test "$(wc -l < "$err")" -eq 1 || no "message is not one line"; }
empty=$(mktemp -d)
check "help" 0 "$tool" --help
grep -q "info DIR" "$out" || no "help does not describe info"
check "no command" 2 "$tool"
check "unknown command" 2 "$tool" frobnicate
check "missing directory" 1 "$tool" info /nonexistent/tarn/dir
one_line
check "empty directory" 1 "$tool" info "$empty"
grep -q "no image admitted" "$err" || no "no message for empty dir"
check "empty directory json" 1 "$tool" info "$empty" --json
test "$(cat "$out")" = "[]" || no "json of nothing is not []"
grep -q "no image admitted" "$err" || no "no message for empty json"
check "version" 0 "$tool" --version
grep -Eq "^tarnimage [0-9]+\.[0-9]+\.[0-9]+$" "$out" || no "version line"
check "render without output" 2 "$tool" render "$empty" x.ras
check "render of a missing file" 1 "$tool" render "$empty" missing.ras -o "$empty/out.png"
one_line
check "render with a bad clip" 2 "$tool" render "$empty" x.ras --clip 1,2,3 -o "$empty/o.png"
check "render with a bad scale" 2 "$tool" render "$empty" x.ras --scale -1 -o "$empty/o.png"
test ! -e "$empty/out.png" || no "output written for a missing file"
check "info on the Sun raster fixtures" 0 "$tool" info "$data/sunraster"
grep -q "^std-rgb-24bit-29x15.ras  type 2 SUNRASTER  29x15  bands 3  depth 8  geotransform 1 0 0 0 -1 14$" \
  "$out" || no "info line of a 24-bit file"
check "info --json" 0 "$tool" info "$data/sunraster" std-bw-1bit-13x7.ras --json
grep -q '"name": "std-bw-1bit-13x7.ras", "type": 2, "type_name": "SUNRASTER", "width": 13, "height": 7, "bands": 1, "depth": 1' \
  "$out" || no "json entry"
check "render raw bytes at scale 2" 0 "$tool" render "$data/sunraster" std-rgb-24bit-29x15.ras \
  --clip 3,4,10,10 --scale 2 -o "$empty/block.rgba"
grep -q "^result 1 2 5 5$" "$out" || no "result rectangle"
test "$(wc -c < "$empty/block.rgba")" -eq 100 || no "5 x 5 x 4 bytes"
check "render to an unknown output kind" 2 "$tool" render "$data/sunraster" std-rgb-24bit-29x15.ras \
  -o "$empty/block.jpg"
grep -q "must end in .png, .rgba or .npy" "$err" || no "suffix message"
check "render above --max-pixels" 1 "$tool" render "$data/sunraster" std-rgb-24bit-29x15.ras \
  --max-pixels 434 -o "$empty/block.png"
grep -q "above --max-pixels 434; .*--scale.*--clip" "$err" || no "--max-pixels message"
test ! -e "$empty/block.png" || no "a block above --max-pixels was written"
check "render at --max-pixels" 0 "$tool" render "$data/sunraster" std-rgb-24bit-29x15.ras \
  --max-pixels 435 -o "$empty/block.png"
# NPY 1.0: magic, version 1.0, header length 118 (little-endian), the dict
# padded to 128 bytes in all, then 15 x 29 x 4 bytes.
check "render as npy" 0 "$tool" render "$data/sunraster" std-rgb-24bit-29x15.ras -o "$empty/block.npy"
test "$(head -c 10 "$empty/block.npy" | od -An -tx1 | tr -d ' \n')" = "934e554d505901007600" || no "npy preamble"
head -c 128 "$empty/block.npy" | grep -q "{'descr': '|u1', 'fortran_order': False, 'shape': (15, 29, 4), }" || no "npy header"
test "$(wc -c < "$empty/block.npy")" -eq 1868 || no "npy size"

# Broken files, made from a whole 29 x 15 24-bit fixture (rows of 88 bytes).
broken=$(mktemp -d)
whole="$data/sunraster/std-rgb-24bit-29x15.ras"
head -c 32 "$whole" > "$broken/cut-after-header.ras"
cp "$data/sunraster/std-grey-8bit-13x7.ras" "$broken/four-bit.ras"
printf '\000\000\000\004' | dd of="$broken/four-bit.ras" bs=1 seek=12 conv=notrunc 2>/dev/null
cp "$whole" "$broken/type-three.ras"
printf '\000\000\000\003' | dd of="$broken/type-three.ras" bs=1 seek=20 conv=notrunc 2>/dev/null
: > "$broken/empty.ras"
echo "not a picture" > "$broken/x.ras"
check "info -v on broken files" 0 "$tool" -v info "$broken"
for reason in \
  "cut-after-header.ras: Sun raster ends after its 32-byte header: no rows" \
  "four-bit.ras: Sun raster header gives 4 bits per pixel; only 1, 8, 16, 24 and 32 are read" \
  "type-three.ras: Sun raster of type 3 (RGB order) has no row reader" \
  "empty.ras: not an image of any known kind" \
  "x.ras: not an image of any known kind"; do
  grep -qxF "tarnimage: $broken/$reason" "$err" || { no "no reason: $reason"; cat "$err"; }
done
check "info on broken files" 0 "$tool" info "$broken"
test "$(wc -l < "$err")" -eq 3 || no "without -v, only the three refused files"
grep -q "not an image" "$err" && no "a non-image is reported without -v"
check "-v after the command" 1 "$tool" info "$broken" x.ras -v
grep -q "x.ras: not an image of any known kind" "$err" || no "-v after the command"

# The first 7 rows survive in 700 bytes.
head -c 700 "$whole" > "$broken/half.ras"
check "render of a file cut in half" 3 "$tool" render "$broken" half.ras -o "$empty/half.png"
grep -qxF "tarnimage: $broken/half.ras: 8 of 15 rows could not be read" "$err" || { no "count of unread rows"; cat "$err"; }
test -s "$empty/half.png" || no "the partial block is not written"
check "render of a whole file" 0 "$tool" render "$data/sunraster" std-rgb-24bit-29x15.ras -o "$empty/whole.png"
test ! -s "$err" || { no "messages for a whole file"; cat "$err"; }
check "render of a type-3 file" 1 "$tool" render "$broken" type-three.ras -o "$empty/t.png"
grep -q "15 of 15 rows could not be read" "$err" || no "no row count"
test ! -e "$empty/t.png" || no "a block of no rows was written"
check "render of a 4-bit file" 1 "$tool" render "$broken" four-bit.ras -o "$empty/t.png"
test "$(grep -c "4 bits per pixel" "$err")" -eq 1 || no "the reason once"
rm -rf "$broken"

# Raw band values against netpbm's decode of the same files: a grey raster's
# bytes are the PGM's samples, and the value at a point of a 24-bit raster
# is the PPM's red, green and blue there.
grey="$data/sunraster/std-grey-8bit-nomap-13x7"
check "bands of a grey raster" 0 "$tool" bands "$data/sunraster" "$(basename "$grey").ras" -o "$empty/g.raw"
tail -c 91 "$grey.pnm" | cmp -s - "$empty/g.raw" || { echo "FAIL: grey band values"; fail=1; }
check "bands of a clip of band 2" 0 "$tool" bands "$data/sunraster" std-rgb-24bit-29x15.ras --band 2 --clip 5,7,1,1 -o "$empty/p.raw"
rgb=$(tail -c $((29 * 15 * 3)) "$data/sunraster/std-rgb-24bit-29x15.pnm" | od -An -tu1 -v -j $(((7 * 29 + 5) * 3)) -N3 | tr -s ' ' | sed 's/^ //')
test "$(od -An -tu1 "$empty/p.raw" | tr -d ' ')" = "$(echo "$rgb" | cut -d' ' -f2)" || { echo "FAIL: band 2 at 5,7"; fail=1; }
check "value at a point" 0 "$tool" value "$data/sunraster" std-rgb-24bit-29x15.ras 5 7
test "$(cut -d' ' -f3 /tmp/tarn_cli_out.$$ | tr '\n' ' ' | sed 's/ $//')" = "$rgb" || { echo "FAIL: value at 5,7: $(cat /tmp/tarn_cli_out.$$) vs $rgb"; fail=1; }
check "value as json" 0 "$tool" value "$data/sunraster" std-rgb-24bit-29x15.ras 5 7 --json
grep -q '"depth_code": 3' /tmp/tarn_cli_out.$$ || { echo "FAIL: value json"; fail=1; }
check "value outside" 1 "$tool" value "$data/sunraster" std-rgb-24bit-29x15.ras 29 0
check "bands output name" 2 "$tool" bands "$data/sunraster" std-rgb-24bit-29x15.ras -o "$empty/x.png"
rm -f "$empty"/*.raw

check "formats" 0 "$tool" formats
grep -q "^    2  SUNRASTER" "$out" && grep -q "^ 1001  gif" "$out" ||
  no "formats lists the built-in and registered drivers"
check "formats as json" 0 "$tool" formats --json
grep -q '"type": 1001, "keyword": "gif"' "$out" || no "formats json"

hopper="$samples/sunraster/hopper.ras"
if [ -n "$samples" ] && [ -f "$hopper" ]; then
  check "render of hopper.ras" 1 "$tool" render "$samples/sunraster" hopper.ras -o "$empty/h.png"
  test -s "$err" || no "no message for hopper.ras"
  test ! -e "$empty/h.png" || no "hopper.ras written"
else
  echo "skipped: render of hopper.ras ($hopper is absent)"
fi
rm -rf "$empty"
rm -f "$out" "$err"
exit $fail
