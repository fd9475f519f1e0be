#ifndef TARN_DRIVERS_MILITARY_RPF_FRAME_H
#define TARN_DRIVERS_MILITARY_RPF_FRAME_H

/* The RPF sections of a CADRG or CIB frame file, parsed into one record.
 * Two address spaces: coverage, colour tables, converters and the image
 * description follow one another in the first image subheader's user data;
 * compression tables, mask, display parameters and spatial data are read at
 * the file offsets the location section gives. Numbers are big-endian.
 *
 * Every function answers 0 on success and -1 on failure, without a message.
 * Every size is checked against the bytes it is read from before allocating;
 * a failed Extract leaves what it took for RPF_FreeFrameFile. */

#include <stdint.h>

#include "drivers/military/nitf_file.h"

TARN_BEGIN_C

/* RPF_ReadFile formats: CIB's fixed 6 x 6 subframes, or the layout the file gives. */
enum { RPF_FORMAT_CIB = 1, RPF_FORMAT_FROM_FILE = 2 };

/* Section ids of the location section. */
enum {
    RPF_COVERAGE = 130,
    RPF_COMPRESSION = 131,
    RPF_LOOKUP = 132,
    RPF_COLOR_GRAYSCALE = 134,
    RPF_COLORMAP = 135,
    RPF_IMAGE_DESCRIPTION = 136,
    RPF_DISPLAY_PARAMETERS = 137,
    RPF_MASK = 138,
    RPF_COLOR_CONVERTER = 139,
    RPF_SPATIAL_DATA = 140,
};

/* An entry of the subframe mask for a subframe that isn't stored. */
#define RPF_SUBFRAME_ABSENT 0xFFFFFFFFu

typedef struct RPFFrameHeader {
    uint16_t endian;         /* 0 in the file (big-endian); kept as 1 */
    uint16_t header_length;  /* as stored, unswapped, unused */
    char file_name[13];
    uint16_t new_indicator;
    char standard_number[16];
    char standard_date[9];
    char classification;
    char country[3];
    char release[3];
    uint32_t location_offset; /* as stored, unswapped, unused */
} RPFFrameHeader;

typedef struct RPFLocationRecord {
    uint16_t id;
    uint32_t length;
    uint32_t offset; /* file offset of the section */
} RPFLocationRecord;

typedef struct RPFFrameLocation {
    uint16_t section_length;
    uint32_t table_offset;
    uint16_t count;
    uint16_t record_length;
    uint32_t aggregate_length; /* the sum of the records' lengths */
    RPFLocationRecord* records;
} RPFFrameLocation;

typedef struct RPFFrameCoverage {
    double nw_lat, nw_lon, sw_lat, sw_lon, ne_lat, ne_lon, se_lat, se_lon;
    double ns_resolution, ew_resolution;
    double lat_interval, lon_interval; /* degrees per pixel */
} RPFFrameCoverage;

typedef struct RPFLookupTableRecord {
    uint16_t id;
    uint32_t records;
    uint16_t values; /* per record */
    uint16_t bits;   /* per value */
    uint32_t offset;
} RPFLookupTableRecord;

/* Table t holds records[t].records records of record_bytes[t] bytes one after
 * another: byte j of record c is tables[t][c * record_bytes[t] + j]. */
typedef struct RPFFrameCompression {
    uint16_t algorithm;
    uint16_t ntables;
    uint16_t nparameters;
    uint32_t offset_table_offset;
    uint16_t offset_record_length;
    RPFLookupTableRecord* records;
    uint32_t* record_bytes;
    uint8_t** tables;
} RPFFrameCompression;

typedef struct RPFColorTableRecord {
    uint16_t id;
    uint32_t records;
    uint8_t element_length;
    uint16_t histogram_length;
    uint32_t table_offset;
    uint32_t histogram_offset;
} RPFColorTableRecord;

typedef struct RPFConverterRecord {
    uint16_t id;
    uint32_t records;
    uint32_t table_offset, source_offset, target_offset;
} RPFConverterRecord;

/* colors[t] holds records * element_length bytes, entry by entry as stored;
 * histograms[t] records * histogram_length bytes; converters[t] records u32. */
typedef struct RPFFrameColorGrayscale {
    uint16_t ncolor_tables;
    uint16_t nconverter_tables;
    char external_name[13];
    uint32_t colormap_offset_table_offset;
    uint16_t offset_record_length;
    RPFColorTableRecord* color_records;
    uint8_t** colors;
    uint8_t** histograms;
    uint32_t converter_offset_table_offset;
    uint16_t converter_offset_record_length;
    uint16_t converter_record_length;
    RPFConverterRecord* converter_records;
    uint32_t** converters;
} RPFFrameColorGrayscale;

/* The image description with the mask and the display parameters. Mask
 * offsets are [spectral group][subframe row][subframe column], counted from
 * the start of the spatial data, mask_entries of each kind. */
typedef struct RPFFrameImage {
    uint16_t spectral_groups;
    uint16_t subframe_table_entries;
    uint16_t band_tables;
    uint16_t lines_per_row;
    uint16_t subframes_across;
    uint16_t subframes_down;
    uint32_t columns_per_subframe;
    uint32_t rows_per_subframe;
    uint32_t subframe_mask_offset;
    uint32_t transparency_mask_offset;
    uint16_t subframe_sequence_length;
    uint16_t transparency_sequence_length;
    uint16_t transparent_code_length; /* bits: 0 or 8 */
    uint8_t* transparent_code;        /* one byte when the length is 8 */
    uint32_t mask_entries;
    uint32_t* subframe_offsets;      /* null without a subframe mask */
    uint32_t* transparency_offsets;  /* null without a transparency mask */
    uint32_t image_rows;
    uint32_t codes_per_row;
    uint8_t code_bit_length;
} RPFFrameImage;

typedef struct RPFFrameFile {
    int format;
    RPFFrameHeader header;
    RPFFrameLocation location;
    RPFFrameCoverage coverage;
    RPFFrameCompression compression;
    RPFFrameColorGrayscale color;
    RPFFrameImage image;
} RPFFrameFile;

/* Reads every table of the frame in `file` (opened with its header read).
 * A failure frees what was taken. */
int RPF_ReadFile(NITFFile* file, RPFFrameFile* frame, int format);

void RPF_InitFrameFile(RPFFrameFile* frame, int format);
void RPF_InitFrameHeader(RPFFrameHeader* header);
void RPF_InitFrameLocation(RPFFrameLocation* location);
void RPF_InitFrameCoverage(RPFFrameCoverage* coverage);
void RPF_InitFrameCompression(RPFFrameCompression* compression);
void RPF_InitFrameColorGrayscale(RPFFrameColorGrayscale* color);
void RPF_InitFrameImage(RPFFrameImage* image, int format);

/* "RPFHDR" in the file header's user-defined data. */
int RPF_ExtractFrameHeader(NITFFile* file, RPFFrameFile* frame);
/* "RPFIMG" in the first image subheader's user data: location, coverage,
 * colour tables, converters and the image description. */
int RPF_ExtractFrameInformation(NITFImageSubHeader* subheader, RPFFrameFile* frame);
/* Sections 131 and 132 at their file offsets; no 132 leaves no tables. */
int RPF_ExtractFrameCompression(NITFFile* file, RPFFrameFile* frame);
int RPF_ExtractFrameImageMask(NITFFile* file, RPFFrameFile* frame);
int RPF_ExtractFrameImageParameters(NITFFile* file, RPFFrameFile* frame);

/* The file offset and length of the last location record with `id`; -1 without one. */
int RPF_FindSection(const RPFFrameFile* frame, uint16_t id, uint32_t* offset, uint32_t* length);

void RPF_FreeFrameFile(RPFFrameFile* frame);
void RPF_FreeFrameLocation(RPFFrameLocation* location);
void RPF_FreeFrameCompression(RPFFrameCompression* compression);
void RPF_FreeFrameColorGrayscale(RPFFrameColorGrayscale* color);
void RPF_FreeFrameImage(RPFFrameImage* image);

TARN_END_C

#endif
