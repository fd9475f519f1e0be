// The list of formats the library knows, for hosts and the command line.

#include <tarnimage/formats.h>

#include <algorithm>
#include <vector>

#include "drivers/driver.h"
#include "udf/udf.h"

extern "C" {

int tarn_get_format(int index, TarnFormat* format) {
    if (index < 0 || !format) return 0;
    // Built-in rows that describe a format, in type order.
    size_t count = 0;
    const ImageDriver* const* rows = image_drivers(&count);
    std::vector<const ImageDriver*> builtin;
    for (size_t i = 0; i < count; ++i)
        if (rows[i]->description && !(rows[i]->flags & DRIVER_TYPE_RANGE)) builtin.push_back(rows[i]);
    std::sort(builtin.begin(), builtin.end(),
              [](const ImageDriver* a, const ImageDriver* b) { return a->type < b->type; });
    if (static_cast<size_t>(index) < builtin.size()) {
        const ImageDriver* row = builtin[static_cast<size_t>(index)];
        format->type = row->type;
        format->keyword = row->keyword;
        format->suffix = row->suffixes[0] ? row->suffixes[0] + 1 : "";
        format->description = row->description;
        format->registered = 0;
        return 1;
    }
    const UDFRecord* slot = UDFindex(static_cast<uint32_t>(index - static_cast<int>(builtin.size())));
    if (!slot) return 0;
    format->type = static_cast<int32_t>(slot->type);
    format->keyword = slot->keyword ? slot->keyword : "";
    format->suffix = slot->suffix ? slot->suffix : "";
    format->description = slot->description ? slot->description : "";
    format->registered = 1;
    return 1;
}

}
