#include "colour/colormap.h"

#include <stdlib.h>
#include <string.h>

extern "C" {

int reset_colormap(Colormap* colormap) {
    memset(colormap, 0, sizeof(*colormap));
    strcpy(colormap->name, "DEFAULT");
    colormap->color_type = 2;
    return 1;
}

int validate_colormap(Colormap* colormap) {
    if (colormap->ndclr == 0 && colormap->outclr == 0 && colormap->first == 0) {
        int high = colormap->low + colormap->ncolors - 1;
        colormap->high = high < 0 ? 0 : high;
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

}
