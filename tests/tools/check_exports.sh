#!/bin/sh
# The shared library exports the host interface and nothing of its insides.
set -eu
lib="$1"
symbols=$(nm -D --defined-only "$lib" | awk '{print $3}')
echo "$symbols" | grep -qx getManager || { echo "getManager is not exported unmangled"; exit 1; }
# Internal helpers must stay hidden.
for name in reset_image image_open multi_image_open CAllocate1 allocate_byte_buffer \
            reset_buffers validate_colormap get_image_type_from_name; do
  if echo "$symbols" | grep -qx "$name"; then echo "internal $name is exported"; exit 1; fi
done
if echo "$symbols" | grep -q 'CIImageImpl\|CIntegratorManagerImpl\|TarnDirBrowser'; then
  echo "internal classes are exported"; exit 1
fi
echo "exports ok"
