// Colormap and Lut records, their copies and accessors, and the colour-space
// conversions used for shading.

#include "colour/colormap.h"

#include <math.h>
#include <stdlib.h>
#include <string.h>

namespace {

const char kExternal[] = "EXTERNAL";

// Largest LUT we copy: a table covers at most the 32-bit value range, but a
// record from a caller may carry nonsense bounds.
constexpr long long kMaxLutEntries = 1LL << 26;

void copy_name(char (&target)[128], const char* name) {
    memset(target, 0, sizeof target);
    if (name) strncpy(target, name, sizeof target - 1);
}

uint8_t* copy_bytes(const uint8_t* source, int count) {
    uint8_t* copy = static_cast<uint8_t*>(calloc(static_cast<size_t>(count), 1));
    if (copy && source) memcpy(copy, source, static_cast<size_t>(count));
    return copy;
}

// Index of a colour in the arrays, or -1 when the record has no such entry.
int colour_slot(const Colormap* colormap, long index) {
    if (!colormap || index < 0 || index >= colormap->ncolors) return -1;
    return static_cast<int>(index);
}

void store_colour(Colormap* colormap, long index, int alpha, int red, int green, int blue) {
    int slot = colour_slot(colormap, index);
    if (slot < 0) return;
    if (colormap->alpha) {
        if (alpha != 0) colormap->has_alpha = 1;
        colormap->alpha[slot] = static_cast<uint8_t>(alpha);
    }
    if (colormap->red) colormap->red[slot] = static_cast<uint8_t>(red);
    if (colormap->green) colormap->green[slot] = static_cast<uint8_t>(green);
    if (colormap->blue) colormap->blue[slot] = static_cast<uint8_t>(blue);
}

void read_colour(const Colormap* colormap, long index, int* alpha, int* red, int* green,
                 int* blue) {
    int slot = colour_slot(colormap, index);
    int a = 0, r = 0, g = 0, b = 0;
    if (slot >= 0) {
        if (colormap->has_alpha && colormap->alpha) a = colormap->alpha[slot];
        if (colormap->red) r = colormap->red[slot];
        if (colormap->green) g = colormap->green[slot];
        if (colormap->blue) b = colormap->blue[slot];
    }
    if (alpha) *alpha = a;
    if (red) *red = r;
    if (green) *green = g;
    if (blue) *blue = b;
}

// A LUT channel's table becomes its own copy: 1, or -1 when out of memory.
int own_lut_table(LutChannel* channel) {
    const uint32_t* source = channel->table;
    channel->table = nullptr;
    if (!channel->enabled || !source) return 1;
    long long entries = static_cast<long long>(channel->high) - channel->low + 1;
    if (entries <= 0 || entries > kMaxLutEntries) return 1;
    size_t bytes = static_cast<size_t>(entries) * sizeof(uint32_t);
    uint32_t* copy = static_cast<uint32_t*>(malloc(bytes));
    if (!copy) return -1;
    memcpy(copy, source, bytes);
    channel->table = copy;
    return 1;
}

void set_lut_channel(LutChannel* channel, int enabled, int low, int high, double float_low,
                     double float_high, uint32_t* table) {
    channel->enabled = enabled;
    channel->low = low;
    channel->high = high;
    channel->float_low = static_cast<float>(float_low);
    channel->float_high = static_cast<float>(float_high);
    uint32_t* stored = enabled ? table : nullptr;
    if (channel->table != stored) free(channel->table);
    channel->table = stored;
}

void set_channel_table(LutChannel* channel, uint32_t* table) {
    uint32_t* stored = channel->enabled ? table : nullptr;
    if (channel->table != stored) free(channel->table);
    channel->table = stored;
}

int decode_name(const char* name, char* text) {
    if (text) strcpy(text, " ");
    if (!name) return 0;
    if (memcmp(name, kExternal, sizeof kExternal) == 0) return 1;
    if (text) {
        memcpy(text, name, 127);
        text[127] = '\0';
    }
    return 0;
}

}  // namespace

extern "C" {

/* ---- Colormap ---- */

int reset_colormap(Colormap* colormap) {
    memset(colormap, 0, sizeof(*colormap));
    strcpy(colormap->name, "DEFAULT");
    colormap->color_type = 2;
    return 1;
}

int validate_colormap(Colormap* colormap) {
    if (colormap->ndclr == 0 && colormap->outclr == 0 && colormap->first == 0) {
        long high = static_cast<long>(colormap->low) + colormap->ncolors - 1;
        colormap->high = high < 0 ? 0 : static_cast<int32_t>(high);
    }
    return 1;
}

int free_colormap_buffers(Colormap* colormap) {
    if (colormap->ncolors == 0) return 0;
    free(colormap->alpha);
    free(colormap->red);
    free(colormap->green);
    free(colormap->blue);
    free(colormap->pixels);
    colormap->alpha = colormap->red = colormap->green = colormap->blue = nullptr;
    colormap->pixels = nullptr;
    colormap->ncolors = 0;
    return 0;
}

void free_colormap(Colormap* colormap) {
    if (!colormap) return;
    free_colormap_buffers(colormap);
    free(colormap);
}

Colormap* create_colormap(const char* name, int count, int low, int ndclr, int outclr,
                          int first) {
    long ncolors = static_cast<long>(count) + first;
    if (ncolors < 0 || ncolors > INT32_MAX) return nullptr;
    Colormap* colormap = static_cast<Colormap*>(calloc(1, sizeof(Colormap)));
    if (!colormap) return nullptr;
    reset_colormap(colormap);
    copy_name(colormap->name, name);
    colormap->ndclr = ndclr;
    colormap->outclr = outclr;
    colormap->first = first;
    colormap->ncolors = static_cast<int32_t>(ncolors);
    colormap->low = low;
    colormap->high = static_cast<int32_t>(static_cast<long>(count) + low - 1);
    // An empty map holds no arrays: its buffers are never freed.
    if (ncolors == 0) return colormap;
    size_t n = static_cast<size_t>(ncolors);
    colormap->red = static_cast<uint8_t*>(calloc(n, 1));
    colormap->green = static_cast<uint8_t*>(calloc(n, 1));
    colormap->blue = static_cast<uint8_t*>(calloc(n, 1));
    colormap->alpha = static_cast<uint8_t*>(calloc(n, 1));
    if (!colormap->red || !colormap->green || !colormap->blue || !colormap->alpha) {
        free_colormap(colormap);
        return nullptr;
    }
    return colormap;
}

int copy_colormap(const Colormap* source, Colormap* destination) {
    *destination = *source;
    // The copy never shares the source's arrays, even half made.
    destination->alpha = destination->red = destination->green = destination->blue = nullptr;
    destination->pixels = nullptr;
    int count = source->ncolors;
    if (count <= 0) return 1;
    destination->red = copy_bytes(source->red, count);
    destination->green = copy_bytes(source->green, count);
    destination->blue = copy_bytes(source->blue, count);
    if (!destination->red || !destination->green || !destination->blue) return -1;
    if (source->has_alpha && source->alpha) {
        destination->alpha = copy_bytes(source->alpha, count);
        if (!destination->alpha) return -1;
    }
    if (source->has_pixels && source->pixels) {
        size_t bytes = static_cast<size_t>(count) * sizeof(int32_t);
        destination->pixels = static_cast<int32_t*>(malloc(bytes));
        if (!destination->pixels) return -1;
        memcpy(destination->pixels, source->pixels, bytes);
    }
    return 1;
}

int image_replace_colormap(Image* image, const Colormap* source) {
    if (!source) return -1;
    free_colormap_buffers(&image->colormap);
    return copy_colormap(source, &image->colormap) == 1 ? 1 : -1;
}

int is_external_colormap(const Colormap* colormap) {
    return colormap && memcmp(colormap->name, kExternal, sizeof kExternal) == 0 ? 1 : 0;
}

int decode_external_colormap(const Colormap* colormap, char* text) {
    return decode_name(colormap ? colormap->name : nullptr, text);
}

void set_colormap_pixclr(Colormap* colormap, int index, int alpha, int red, int green, int blue) {
    if (!colormap) return;
    store_colour(colormap, static_cast<long>(index) + colormap->first, alpha, red, green, blue);
}

void set_colormap_ndclr(Colormap* colormap, int alpha, int red, int green, int blue) {
    if (colormap) store_colour(colormap, colormap->ndclr, alpha, red, green, blue);
}

void set_colormap_outclr(Colormap* colormap, int alpha, int red, int green, int blue) {
    if (colormap) store_colour(colormap, colormap->outclr, alpha, red, green, blue);
}

int get_colormap_npixclr(const Colormap* colormap) {
    return colormap ? colormap->ncolors - colormap->first : 0;
}

void get_colormap_pixclr(const Colormap* colormap, int index, int* alpha, int* red, int* green,
                         int* blue) {
    long slot = colormap ? static_cast<long>(index) + colormap->first : -1;
    read_colour(colormap, slot, alpha, red, green, blue);
}

void get_colormap_ndclr(const Colormap* colormap, int* alpha, int* red, int* green, int* blue) {
    read_colour(colormap, colormap ? colormap->ndclr : -1, alpha, red, green, blue);
}

void get_colormap_outclr(const Colormap* colormap, int* alpha, int* red, int* green, int* blue) {
    read_colour(colormap, colormap ? colormap->outclr : -1, alpha, red, green, blue);
}

int initialize_random_colormap(Colormap* colormap, int ncolors, int low, int high, int ndclr,
                               int outclr, int first) {
    // Arrays of an earlier fill would be lost below.
    free_colormap_buffers(colormap);
    colormap->ncolors = ncolors;
    colormap->low = low;
    colormap->high = high;
    colormap->ndclr = ndclr;
    colormap->outclr = outclr;
    colormap->first = first;
    colormap->gray_low = colormap->gray_high = 0;
    colormap->gray_step = 0.0f;
    for (int k = 0; k < 3; ++k) {
        colormap->band_low[k] = colormap->band_high[k] = 0;
        colormap->band_step[k] = 0.0f;
    }
    colormap->has_pixels = 0;
    colormap->has_alpha = 0;
    colormap->alpha = nullptr;
    colormap->pixels = nullptr;
    colormap->red = colormap->green = colormap->blue = nullptr;
    copy_name(colormap->name, "DEFAULT");
    if (ncolors < 1) return 1;
    size_t n = static_cast<size_t>(ncolors);
    colormap->red = static_cast<uint8_t*>(calloc(n, 1));
    colormap->green = static_cast<uint8_t*>(calloc(n, 1));
    colormap->blue = static_cast<uint8_t*>(calloc(n, 1));
    if (!colormap->red || !colormap->green || !colormap->blue) return -1;
    store_colour(colormap, ndclr, 0, 0, 0, 0);
    store_colour(colormap, outclr, 0, 0, 0, 0);
    // The loop covers the pixel colours; a range longer than the arrays stops
    // at their end.
    long last = static_cast<long>(high) - low + first;
    if (last > ncolors - 1) last = ncolors - 1;
    for (long i = first < 0 ? 0 : first; i <= last; ++i) {
        colormap->red[i] = static_cast<uint8_t>((i % 10) * 25);
        colormap->green[i] = static_cast<uint8_t>((i * i % 5) * 60);
        colormap->blue[i] = static_cast<uint8_t>((4 - i % 4) * 60);
    }
    return 1;
}

/* ---- Lut ---- */

Lut* reset_lut(Lut* lut) {
    memset(lut, 0, sizeof(*lut));
    strcpy(lut->name, "DEFAULT");
    lut->is_single = 1;
    return lut;
}

int free_lut_buffers(Lut* lut) {
    free(lut->red.table);
    free(lut->green.table);
    free(lut->blue.table);
    lut->red.table = lut->green.table = lut->blue.table = nullptr;
    return 0;
}

void free_lut(Lut* lut) {
    if (!lut) return;
    free_lut_buffers(lut);
    free(lut);
}

Lut* create_single_lut(const char* name, int enabled, int low, int high, double float_low,
                       double float_high, uint32_t* table) {
    Lut* lut = static_cast<Lut*>(calloc(1, sizeof(Lut)));
    if (!lut) return nullptr;
    reset_lut(lut);
    copy_name(lut->name, name);
    lut->is_single = 1;
    set_lut_channel(&lut->red, enabled, low, high, float_low, float_high, table);
    return lut;
}

Lut* create_multi_lut(const char* name) {
    Lut* lut = static_cast<Lut*>(calloc(1, sizeof(Lut)));
    if (!lut) return nullptr;
    reset_lut(lut);
    copy_name(lut->name, name);
    lut->is_single = 0;
    return lut;
}

int set_multi_lut_red(Lut* lut, int enabled, int low, int high, double float_low,
                      double float_high, uint32_t* table) {
    set_lut_channel(&lut->red, enabled, low, high, float_low, float_high, table);
    return 1;
}

int set_multi_lut_green(Lut* lut, int enabled, int low, int high, double float_low,
                        double float_high, uint32_t* table) {
    set_lut_channel(&lut->green, enabled, low, high, float_low, float_high, table);
    return 1;
}

int set_multi_lut_blue(Lut* lut, int enabled, int low, int high, double float_low,
                       double float_high, uint32_t* table) {
    set_lut_channel(&lut->blue, enabled, low, high, float_low, float_high, table);
    return 1;
}

void set_lut_table(Lut* lut, uint32_t* table) { set_channel_table(&lut->red, table); }
void set_lut_red_table(Lut* lut, uint32_t* table) { set_channel_table(&lut->red, table); }
void set_lut_green_table(Lut* lut, uint32_t* table) { set_channel_table(&lut->green, table); }
void set_lut_blue_table(Lut* lut, uint32_t* table) { set_channel_table(&lut->blue, table); }
uint32_t* get_lut_table(const Lut* lut) { return lut->red.table; }
uint32_t* get_lut_red_table(const Lut* lut) { return lut->red.table; }
uint32_t* get_lut_green_table(const Lut* lut) { return lut->green.table; }
uint32_t* get_lut_blue_table(const Lut* lut) { return lut->blue.table; }

int image_replace_lut(Image* image, const Lut* source) {
    if (!source) return -1;
    free_lut_buffers(&image->lut);
    image->lut = *source;
    Lut* lut = &image->lut;
    if (source->is_single == 1) {
        // A single LUT has one table; the other two never belong to the image.
        lut->green.table = lut->blue.table = nullptr;
        return own_lut_table(&lut->red);
    }
    if (image->colormap.ncolors != 0) free_colormap_buffers(&image->colormap);
    reset_colormap(&image->colormap);
    int result = 1;
    // Each table is made private before any failure can leave a shared one.
    const uint32_t* tables[3] = {lut->red.table, lut->green.table, lut->blue.table};
    LutChannel* channels[3] = {&lut->red, &lut->green, &lut->blue};
    for (int k = 0; k < 3; ++k) channels[k]->table = nullptr;
    for (int k = 0; k < 3; ++k) {
        channels[k]->table = const_cast<uint32_t*>(tables[k]);
        if (own_lut_table(channels[k]) != 1) result = -1;
    }
    return result;
}

int is_external_lut(const Lut* lut) {
    return lut && memcmp(lut->name, kExternal, sizeof kExternal) == 0 ? 1 : 0;
}

int decode_external_lut(const Lut* lut, char* text) {
    return decode_name(lut ? lut->name : nullptr, text);
}

/* ---- Colour spaces ---- */

void ii_rgb_to_hsv(float red, float green, float blue, float* hue, float* saturation,
                   float* value) {
    double r = red / 255.0, g = green / 255.0, b = blue / 255.0;
    double v = r > g ? r : g;
    if (b > v) v = b;
    double m = r < g ? r : g;
    if (b < m) m = b;
    double s = v > 0.000001 ? (v - m) / v : 0.0;
    *value = static_cast<float>(v);
    *saturation = static_cast<float>(s);
    if (s <= 0.000001) {
        *hue = -1.0f;
        return;
    }
    double d = v - m;
    double rc = (v - r) / d, gc = (v - g) / d, bc = (v - b) / d;
    double h;
    if (r == v)
        h = bc - gc;
    else if (g == v)
        h = 2.0 + rc - bc;
    else
        h = 4.0 + gc - rc;
    h *= 60.0;
    if (h < 0.0) h += 360.0;
    *hue = static_cast<float>(h);
}

void ii_hsv_to_rgb(float hue, float saturation, float value, float* red, float* green,
                   float* blue) {
    if (saturation <= 0.000001f || hue < 0.0f) {
        *red = *green = *blue = value;
        return;
    }
    // Hues beyond any sector (and NaN) take the "no sector" answer below.
    if (!(hue < 1.0e6f)) {
        *red = *green = *blue = 0.0f;
        return;
    }
    double h = hue;
    if (static_cast<int>(h) == 360) h = 0.0;
    int i = static_cast<int>(h / 60.0);
    double f = h / 60.0 - i;
    double v = value, s = saturation;
    double p = v - v * s;
    double w = f * v * s;
    double q = v - w;
    double t = w + p;
    double r, g, b;
    switch (i) {
    case 0: r = v; g = t; b = p; break;
    case 1: r = q; g = v; b = p; break;
    case 2: r = p; g = v; b = t; break;
    case 3: r = p; g = q; b = v; break;
    case 4: r = t; g = p; b = v; break;
    case 5: r = v; g = p; b = q; break;
    default: r = g = b = 0.0; break;
    }
    *red = static_cast<float>(r);
    *green = static_cast<float>(g);
    *blue = static_cast<float>(b);
}

}
