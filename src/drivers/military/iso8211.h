#ifndef TARN_DRIVERS_MILITARY_ISO8211_H
#define TARN_DRIVERS_MILITARY_ISO8211_H

/* Indexed reader of ISO 8211 files (the general, quality, header and image
 * files of ADRG, ASRP and USRP products). Read8211File scans the file once
 * and indexes its data records by their RTY and RID subfields; any record can
 * then be read by number into fields and subfields. Every call answers 0 on
 * success and a negative code on failure:
 *   -1 out of memory, -2 file can't be opened, -5 file can't be closed,
 *   -7 bad data description record, -8 a subfield can't be read or a record
 *   lacks RTY or RID, -10 bad subfield (longer than 2048 bytes or not
 *   described), -11 a record can't be read, -12 read past the last record,
 *   -13 tag or label not found, -19 illegal parameter or file not open.
 * One file may be read by one thread at a time; distinct files are
 * independent. */

#include <stdint.h>
#include <stdio.h>

struct ISO8211Reader;

/* Bytes of one index entry: RTY (3 characters) at 0, RID (10 characters and
 * a zero, so the two read as one string) at 3, the low 8 bits of the record
 * number at 14. */
enum { ISO8211_INDEX_ENTRY = 15, ISO8211_MAX_SUBFIELD = 2048 };

struct ISO8211File {
    int32_t handle;         /* non-zero while open */
    int32_t position;       /* records loaded so far, the descriptive record counting as 1 */
    char mode;              /* 'r' while open, blank when closed */
    int32_t nrecords;       /* data records indexed */
    unsigned char* index;   /* nrecords entries of ISO8211_INDEX_ENTRY bytes */
    int32_t level;          /* interchange level of the descriptive record */
    char inline_code;       /* leader byte 7 */
    char version[3];        /* leader bytes 17-19, the extended character set */
    ISO8211Reader* reader;  /* the open file and its record offsets */
};

struct ISO8211SubField {
    char label[10];   /* from the field's array descriptor; empty for an elementary field */
    char format[10];  /* its format control, such as "A(3)", "I", "B(8)", "b12" */
    char* value;      /* the subfield's bytes and a terminating zero */
    int32_t length;   /* bytes in value, binary subfields included */
};

struct ISO8211Field {
    char tag[10];
    int32_t nsubfields;
    ISO8211SubField* subfields;
};

struct ISO8211Record {
    int32_t nfields;
    ISO8211Field* fields;
};

/* The file structure needn't be initialised; an open one must be closed first. */
int Read8211File(ISO8211File* file, const char* name);
int Close8211File(ISO8211File* file);
/* The record must be zeroed or hold a record read before, which is freed. */
int ReadFirst8211Record(ISO8211File* file, ISO8211Record* record);
int Read8211Record(ISO8211File* file, int number, ISO8211Record* record); /* number from 1 */
int ReadNext8211Record(ISO8211File* file, ISO8211Record* record);
int Free8211Record(ISO8211Record* record);
int Free8211Field(ISO8211Record* record, const char* tag);
/* Index of the first field at or behind start whose tag matches exactly. */
int Find8211Field(ISO8211Record* record, const char* tag, int start);
/* Index of the first subfield of field number `field` at or behind start
 * whose label matches exactly. */
int Find8211SubField(ISO8211Record* record, const char* label, int field, int start);
int Dump8211Record(ISO8211Record* record, FILE* fp);

/* Where the first field of that tag in data record `number` lies in the
 * file: the offset of its first byte and its length without the terminator.
 * Leaves the file's position alone and decodes no subfield, so it also
 * serves fields too long to read whole, such as an image's pixels. */
int Locate8211Field(ISO8211File* file, int number, const char* tag, long* offset, long* length);

/* The integer of a binary subfield: "b1w" unsigned and "b2w" signed, least
 * significant byte first, and "B(n)" bit strings of up to 64 bits, most
 * significant first. -19 for any other subfield. */
int Get8211BinaryValue(const ISO8211SubField* subfield, int64_t* value);

/* Pads text on the left with '0' to width characters into a new string that
 * *out owns. -19 for a null argument or a width below 1, -11 for a text
 * longer than width, -1 when out of memory. */
int prependZero(const char* text, int width, char** out);

#endif
