#!/bin/sh
# The shared library exports the host interface and nothing of its insides.
set -eu
lib="$1"
symbols=$(nm -D --defined-only "$lib" | awk '{print $3}')
echo "$symbols" | grep -qx getManager || { echo "getManager is not exported unmangled"; exit 1; }
# Internal helpers must stay hidden.
for name in reset_image image_open multi_image_open CAllocate1 allocate_byte_buffer \
            reset_buffers validate_colormap get_image_type_from_name \
            UDFentry UDFindex UDFsuffix UDFExist UDF_LibInit \
            user_error user_warn user_mesg fatal_error tarn_report tarn_messages_wanted; do
  if echo "$symbols" | grep -qx "$name"; then echo "internal $name is exported"; exit 1; fi
done
# The driver registry and the naming calls are a host's to use.
for name in II_RegisterUDF II_UnregisterUDF II_UnregisterAllUDF II_GetUDFKeyword \
            type_from_keyword keyword_from_type name_from_type get_type_from_extension \
            suffname check_format_ADRG check_format_TIFF parse_grass_name calc_image_world_box \
            tarn_set_message_handler write_standard_header write_standard_colormap \
            write_standard_colors write_standard_statistics write_standard_stats \
            get_8bit_grayscale_ramp initialize_standard_header get_standard_header_writename \
            get_standard_color_writename get_standard_stats_writename rdhdr_UDF clrrd_UDF_hdr tarn_get_format \
            tifOpen tifReadIFD tifReadTag tifReadNTag tifReadData tifMakeIFD tifWriteTag tifWriteData \
            tifClose NITF_WriteHeader NITF_WriteImageSubHeader; do
  echo "$symbols" | grep -qx "$name" || { echo "$name is not exported"; exit 1; }
done
if echo "$symbols" | grep -q 'CIImageImpl\|CIntegratorManagerImpl\|TarnDirBrowser'; then
  echo "internal classes are exported"; exit 1
fi
echo "exports ok"
