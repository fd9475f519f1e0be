#ifndef TARN_DRIVERS_MILITARY_NITF_FILE_H
#define TARN_DRIVERS_MILITARY_NITF_FILE_H

/* The structure of a NITF 2.0 file: the file header with its table of segment
 * lengths, image and data extension subheaders, the image data mask, and
 * where each segment lies. Shared by the NITF image driver and the RPF frame
 * drivers (CADRG, CIB), which tell their files apart by FHDR and IID.
 *
 * Every text field is blank-padded ASCII of fixed width, kept with one more
 * byte for a terminating zero; numbers are decimal ASCII read with base 10
 * (blanks read as strtol reads them). Every function answers 0 on success and
 * -1 on failure, without a message. Only the image data mask is binary. */

#include <stdint.h>
#include <stdio.h>

#include <tarnimage/export.h>

TARN_BEGIN_C

enum {
    NITF_MAX_BANDS = 9,
    NITF_MAX_COMMENTS = 9,
    NITF_MAX_LUTS = 4,
    NITF_MAX_LUT_ENTRIES = 65536,
};

/* Segment groups, the `kind` of CalcFileOffset. */
enum {
    NITF_IMAGE_SEGMENT = 1,
    NITF_SYMBOL_SEGMENT = 2,
    NITF_LABEL_SEGMENT = 3,
    NITF_TEXT_SEGMENT = 4,
    NITF_DATA_EXT_SEGMENT = 5,
    NITF_RESERVED_SEGMENT = 6,
};

/* One open file. Each group of segments keeps its count and two arrays of
 * that many lengths (null for a count of 0): subheader, then data. */
typedef struct NITFFile {
    FILE* file;
    char FHDR[10];
    int16_t CLEVEL;
    char STYPE[5];
    char OSTAID[11];
    char FDT[15];
    char FTITLE[81];
    char FSCLAS;
    char FSCODE[41];
    char FSCTLH[41];
    char FSREL[41];
    char FSCAUT[21];
    char FSCTLN[21];
    char FSDWNG[7];
    char FSDEVT[41]; /* read only when FSDWNG is "999998" */
    int32_t FSCOP;
    int32_t FSCPYS;
    char ENCRYP;
    char ONAME[28];
    char OPHONE[19];
    int32_t FL; /* must equal the size of the file */
    int32_t HL; /* offset of the first segment */
    int16_t NUMI;
    int32_t* LISH;
    int32_t* LI;
    int16_t NUMS;
    int32_t* LSSH;
    int32_t* LS;
    int16_t NUML;
    int32_t* LLSH;
    int32_t* LL;
    int16_t NUMT;
    int32_t* LTSH;
    int32_t* LT;
    int16_t NUMDES;
    int32_t* LDSH;
    int32_t* LD;
    int16_t NUMRES;
    int32_t* LRESH;
    int32_t* LRE;
    int32_t UDHDL;
    int32_t UDHOFL;   /* only when UDHDL isn't 0 */
    uint8_t* UDHD;    /* UDHDL bytes after UDHOFL */
    int32_t XHDL;
    uint8_t* XHD;     /* XHDL bytes */
} NITFFile;

typedef struct NITFImageSubHeader {
    char IM[3];
    char IID[11]; /* "CADRG" or "CIB..." in the frames of those products */
    char IDATIM[15];
    char TGTID[18];
    char ITITLE[81];
    char ISCLAS;
    char ISCODE[41];
    char ISCTLH[41];
    char ISREL[41];
    char ISCAUT[21];
    char ISCTLN[21];
    char ISDWNG[7];
    char ISDEVT[41]; /* only when ISDWNG is "999998" */
    char ENCRYP;
    char ISORCE[43];
    int32_t NROWS;
    int32_t NCOLS;
    char PVTYPE[4];
    char IREP[9];
    char ICAT[9];
    int16_t ABPP;
    char PJUST;
    char ICORDS;
    char IGEOLO[61]; /* absent when ICORDS is 'N' or 'n' */
    int16_t NICOM;   /* 0 to 9 */
    char ICOM[NITF_MAX_COMMENTS][81];
    char IC[3];
    char COMRAT[5]; /* only for the compressed codes C0-C4, M0, M3, M4 */
    int16_t NBANDS; /* 1 to 9 */
    char IREPBAND[NITF_MAX_BANDS][3];
    char ISUBCAT[NITF_MAX_BANDS][7];
    char IFC[NITF_MAX_BANDS];
    char IMFLT[NITF_MAX_BANDS][4];
    int16_t NLUTS[NITF_MAX_BANDS]; /* 0 to 4 */
    int32_t NELUT[NITF_MAX_BANDS]; /* 1 to 65536 when NLUTS isn't 0 */
    uint8_t* LUTD[NITF_MAX_BANDS]; /* NLUTS tables of NELUT bytes, one after another */
    int16_t ISYNC;
    char IMODE;
    int32_t NBPR;  /* blocks per row */
    int32_t NBPC;  /* blocks per column */
    int32_t NPPBH; /* pixels per block horizontally */
    int32_t NPPBV; /* pixels per block vertically */
    int16_t NBPP;
    int16_t IDLVL;
    int16_t IALVL;
    char ILOC[11];
    char IMAG[5];
    int32_t UDIDL;  /* 0 to 99999 */
    int32_t UDOFL;  /* only when UDIDL isn't 0 */
    uint8_t* UDID;  /* UDIDL bytes of room, UDIDL - 3 read */
    int32_t IXSHDL; /* 0 to 99999 */
    int32_t IXSOFL; /* only when IXSHDL isn't 0 */
    uint8_t* IXSHD; /* IXSHDL bytes of room, IXSHDL - 3 read and a zero behind them */
} NITFImageSubHeader;

typedef struct NITFDataExtSubHeader {
    char DE[3];
    char DESTAG[26];
    int16_t DESVER;
    char DESCLAS;
    char DESCODE[41];
    char DESCTLH[41];
    char DESREL[41];
    char DESCAUT[21];
    char DESCTLN[21];
    char DESDWNG[7];
    char DESDEVT[41]; /* only when DESDWNG is "999998" */
    char DESOFLW[7];
    int16_t DESITEM;
    int32_t DESSHL;
    uint8_t* DESSHF; /* DESSHL bytes, when DESSHL is above 0 */
    uint8_t* DESDATA; /* the segment's LD bytes, read only when DESSHL is above 0 */
} NITFDataExtSubHeader;

/* The table in front of the blocks of a masked image (IC "NM", "M0", "M3",
 * "M4"). Offsets count from the first block, which lies IMDATOFF bytes into
 * the image data; NITF_BLOCK_ABSENT marks a block that isn't stored. One
 * table of NBPR * NBPC offsets per band in IMODE "S", one in the others. */
#define NITF_BLOCK_ABSENT 0xFFFFFFFFu
typedef struct NITFImageDataMask {
    uint32_t IMDATOFF;
    uint16_t BMRLNTH;   /* 0: no block offsets */
    uint16_t TMRLNTH;   /* 0: no pad pixel offsets */
    uint16_t TPXCDLNTH; /* bits of the pad pixel code */
    uint8_t* TPXCD;     /* TPXCDLNTH / 8 bytes rounded up */
    int32_t ntables;    /* tables in BMR and TMR */
    uint32_t* BMR[NITF_MAX_BANDS]; /* NBPR * NBPC block offsets per table */
    uint32_t* TMR[NITF_MAX_BANDS]; /* NBPR * NBPC pad pixel mask offsets per table */
} NITFImageDataMask;

/* Opens `name` in `mode` ("rb" also reads the header), or takes the handle
 * already in file->file, which stays the caller's. A failed open leaves the
 * record closed. */
int NITF_OpenFile(const char* name, const char* mode, NITFFile* file);
/* Closes the handle and frees the length tables and header data; -1 for null. */
int NITF_CloseFile(NITFFile* file);
/* Reads the header from the start of file->file. Fails when FL isn't the size
 * of the file, or when a segment or a length reaches past its end. */
int NITF_ReadHeader(NITFFile* file);

/* Offset of the subheader of segment `index` of a group; its data follows
 * after the subheader's length. (unsigned long)-1 for a negative index or a
 * null record, 0 for an unknown kind. */
unsigned long CalcFileOffset(int kind, int index, NITFFile* file);
/* Non-zero for the codes of images with a mask table: "NM", "M0", "M3", "M4". */
int NITF_ImageIsBlocked(NITFImageSubHeader* header);

int NITF_ReadImageSubHeader(int index, NITFFile* file, NITFImageSubHeader* header);
int NITF_ReadDataExtSubHeader(int index, NITFFile* file, NITFDataExtSubHeader* header);
/* Reads nothing and answers 0 for an image without a mask table. A failure
 * leaves what was allocated for NITF_FreeImageDataMaskHeader. */
int NITF_ReadImageDataMaskHeader(int index, NITFFile* file, NITFImageSubHeader* header,
                                 NITFImageDataMask* mask);

/* Empty records: texts blank, numbers and pointers 0, IFC "N" for every band. */
void NITF_InitImageSubHeader(NITFImageSubHeader* header);
void NITF_InitDataExtSubHeader(NITFDataExtSubHeader* header);
void NITF_InitImageDataMaskHeader(NITFImageDataMask* mask);
/* Release the buffers; only the first also clears its pointers. */
void NITF_FreeImageSubHeader(NITFImageSubHeader* header);
void NITF_FreeDataExtSubHeader(NITFDataExtSubHeader* header);
void NITF_FreeImageDataMaskHeader(NITFImageDataMask* mask);

/* Write the header at the start of the file, and image subheader `index` at
 * its offset, field by field; a value wider than its field fails. */
TARN_EXPORT int NITF_WriteHeader(NITFFile* file);
TARN_EXPORT int NITF_WriteImageSubHeader(int index, NITFFile* file, NITFImageSubHeader* header);

TARN_END_C

#endif
