#ifndef TARN_UDF_REGISTERED_DRIVERS_H
#define TARN_UDF_REGISTERED_DRIVERS_H

/* The drivers the library registers at start-up, one row each, defined at the
 * bottom of the driver's own file. UDF_LibInit, UDF_LibExit and
 * UDF_LibCanExit walk the rows in the table's order, which is the order of
 * the type codes and the order in which identification asks the drivers. */

#include "udf/udf.h"

/* How a driver guards its registration against repeated starts. */
enum RegisteredStart {
    /* Registers on the first start only, unregisters on the last exit. */
    START_COUNTED,
    /* Registers on every start, unregisters on every exit. */
    START_UNGUARDED,
    /* Registers once, and only when its toolkit gives an instance; every exit
     * unregisters whatever code it holds, and the code is cleared when the
     * count comes back to 0 (so an exit without a start leaves it at -1). */
    START_TOOLKIT_GATED,
};

/* A driver's own state: its type code (0 while not registered) and its count
 * of starts. */
struct RegisteredState {
    uint32_t type;
    int32_t starts;
};

struct RegisteredDriver {
    UDFExistFunc exist;
    UDFOpenFunc open;
    UDFCloseFunc close;
    UDFGetRowFunc getrow;
    const char* keyword;
    const char* suffix;
    const char* description;
    const char* filter;
    RegisteredStart start;
    /* Whether UDF_LibCanExit asks this driver. */
    bool asked_at_exit;
    /* The toolkit's start for START_TOOLKIT_GATED: non-zero for an instance. */
    int (*start_toolkit)(void);
    /* The driver's answer to UDF_LibCanExit; null answers 1. */
    int (*can_exit)(void);
    RegisteredState* state;
    /* Rows hold every band of the file, whatever band was asked for. */
    bool all_bands_in_row = false;
    /* Called when the driver is unregistered, to drop what it keeps for the process. */
    void (*at_exit)(void) = nullptr;
    /* The file's own georeference with its rotation terms, which the header's
     * origin and pixel size cannot carry: 0 with all six terms (world-file
     * order, first pixel's centre), -1 to use the header. Null: the header. */
    int (*header_transform)(const char* name, double transform[6]) = nullptr;
};

/* Entry points of a driver whose reader is not written yet: exist declines,
 * open and getrow fail, close clears the private pointer. */
TARN_BEGIN_C
int placeholder_exist(const char* name, char* out_path, FILE* fp);
int placeholder_open(const char* name, int band, int red, int green, int blue, UDFHeader* header);
int placeholder_close(UDFHeader* header);
int placeholder_getrow(int row, void* buffer, UDFHeader* header);
TARN_END_C

/* Registers, unregisters and asks one driver by its start policy. */
void start_registered_driver(const RegisteredDriver& driver);
void stop_registered_driver(const RegisteredDriver& driver);

#endif
