// The registry of drivers with type codes above 1000. A fixed table of 32
// slots, kept dense: the occupied slots are always 0 .. NumUDF - 1, since the
// walks through UDFindex stop at the first free one. The slot order is the
// order in which identification asks the drivers, so it decides who wins a
// file that several would accept.

#include "udf/udf.h"

#include <ctype.h>
#include <stdlib.h>
#include <string.h>

#include "udf/registered_drivers.h"
#include <tarnimage/tarn_file.h>

namespace {

UDFRecord UDFList[UDF_MAX_DRIVERS];
int32_t NumUDF = 0;
// Last code handed out. It only rises, so no code is given out twice in a
// process, even to a driver that registers again.
uint32_t typeUDF = 1000;

char* copy_string(const char* text, bool lower) {
    if (!text) text = "";
    size_t length = strlen(text);
    char* copy = static_cast<char*>(malloc(length + 1));
    if (!copy) return nullptr;
    for (size_t i = 0; i <= length; ++i)
        copy[i] = lower ? static_cast<char>(tolower(static_cast<unsigned char>(text[i]))) : text[i];
    return copy;
}

void free_strings(UDFRecord* slot) {
    free(slot->keyword);
    free(slot->suffix);
    free(slot->description);
    free(slot->filter);
    slot->keyword = slot->suffix = slot->description = slot->filter = nullptr;
}

}  // namespace

extern "C" {

uint32_t II_RegisterUDF(UDFRecord* record) {
    if (!record || NumUDF >= UDF_MAX_DRIVERS) return 0;
    if (NumUDF < 1)
        for (UDFRecord& slot : UDFList) slot.type = 0;
    UDFRecord* free_slot = nullptr;
    for (UDFRecord& slot : UDFList)
        if (slot.type == 0) {
            free_slot = &slot;
            break;
        }
    if (!free_slot) return 0;
    // An exhausted heap refuses the driver before a code is spent on it.
    char* keyword = copy_string(record->keyword, false);
    char* suffix = copy_string(record->suffix, true);
    char* description = copy_string(record->description, false);
    char* filter = copy_string(record->filter, false);
    if (!keyword || !suffix || !description || !filter) {
        free(keyword);
        free(suffix);
        free(description);
        free(filter);
        return 0;
    }
    record->type = ++typeUDF;
    free_slot->type = record->type;
    free_slot->exist = record->exist;
    free_slot->open = record->open;
    free_slot->close = record->close;
    free_slot->getrow = record->getrow;
    free_slot->spare1 = record->spare1;
    free_slot->spare2 = record->spare2;
    free_slot->keyword = keyword;
    free_slot->suffix = suffix;
    free_slot->description = description;
    free_slot->filter = filter;
    ++NumUDF;
    return record->type;
}

void II_UnregisterUDF(uint32_t type) {
    // Code 0 marks free slots: matching it would drop a live driver's count.
    if (NumUDF <= 0 || type == 0) return;
    UDFRecord* freed = nullptr;
    for (UDFRecord& slot : UDFList)
        if (slot.type == type) {
            freed = &slot;
            break;
        }
    if (!freed) return;
    free_strings(freed);
    freed->type = 0;
    --NumUDF;
    if (NumUDF == 0) return;
    // The last driver jumps into the gap, so the table stays dense; it is
    // asked earlier from now on.
    UDFRecord* last = nullptr;
    for (int i = UDF_MAX_DRIVERS - 1; i >= 0; --i)
        if (UDFList[i].type != 0) {
            last = &UDFList[i];
            break;
        }
    // Freeing the last slot itself leaves nothing to move.
    if (!last || last < freed) return;
    *freed = *last;
    memset(last, 0, sizeof *last);
}

void II_UnregisterAllUDF(void) {
    if (NumUDF <= 0) return;
    for (UDFRecord& slot : UDFList)
        if (slot.type != 0) {
            free_strings(&slot);
            slot.type = 0;
        }
    NumUDF = 0;
}

int II_GetUDFKeyword(uint32_t type, char* buffer, int size) {
    const UDFRecord* slot = type == 0 ? nullptr : UDFentry(type);
    if (!slot || !slot->keyword) return -1;
    int length = static_cast<int>(strlen(slot->keyword));
    if (buffer && size > 0) {
        int n = length < size - 1 ? length : size - 1;
        memcpy(buffer, slot->keyword, static_cast<size_t>(n));
        buffer[n] = '\0';
    }
    return length;
}

UDFRecord* UDFentry(uint32_t type) {
    if (NumUDF <= 0) return nullptr;
    for (UDFRecord& slot : UDFList)
        if (slot.type == type) return &slot;
    return nullptr;
}

UDFRecord* UDFindex(uint32_t index) {
    if (index >= UDF_MAX_DRIVERS || UDFList[index].type == 0) return nullptr;
    return &UDFList[index];
}

uint32_t UDFsuffix(const char* suffix) {
    if (NumUDF < 1 || !suffix) return 0;
    for (const UDFRecord& slot : UDFList)
        if (slot.type != 0 && slot.suffix && strcmp(slot.suffix, suffix) == 0) return slot.type;
    return 0;
}

int UDFExist(const char* name, char* out_path, FILE* fp) {
    for (uint32_t i = 0;; ++i) {
        const UDFRecord* slot = UDFindex(i);
        if (!slot) return 0;
        int result = 0;
        try {
            if (fp) tarn_fseek(fp, 0, SEEK_SET);
            if (slot->exist) result = slot->exist(name, out_path, fp);
        } catch (...) {
            // A driver that throws has declined.
            result = 0;
        }
        if (result != 0) return result;
    }
}

int UDFinitial(UDFHeader* header) {
    if (header) memset(header, 0, sizeof *header);
    return 0;
}

int placeholder_exist(const char*, char*, FILE*) { return 0; }
int placeholder_open(const char*, int, int, int, int, UDFHeader*) { return -1; }
int placeholder_close(UDFHeader* header) {
    if (header) header->priv = nullptr;
    return 0;
}
int placeholder_getrow(int, void*, UDFHeader*) { return -1; }

}  // extern "C"

extern const RegisteredDriver registered_GIF, registered_SRP, registered_ADRG, registered_CADRG,
    registered_CIB, registered_JFIF, registered_NITF, registered_TIF6, registered_IMGN;

namespace {

// The order is binding: it is the order of the type codes and the order in
// which the drivers are asked. A ".img" reaches SRP and ADRG before IMAGINE;
// CADRG and CIB come before the general NITF driver.
const RegisteredDriver* const kRegistered[] = {
    &registered_GIF,  &registered_SRP,  &registered_ADRG, &registered_CADRG, &registered_CIB,
    &registered_JFIF, &registered_NITF, &registered_TIF6, &registered_IMGN,
};

void register_driver(const RegisteredDriver& driver) {
    UDFRecord record = {};
    record.exist = driver.exist;
    record.open = driver.open;
    record.close = driver.close;
    record.getrow = driver.getrow;
    record.keyword = const_cast<char*>(driver.keyword);
    record.suffix = const_cast<char*>(driver.suffix);
    record.description = const_cast<char*>(driver.description);
    record.filter = const_cast<char*>(driver.filter);
    driver.state->type = II_RegisterUDF(&record);
}

}  // namespace

void start_registered_driver(const RegisteredDriver& driver) {
    RegisteredState& state = *driver.state;
    switch (driver.start) {
    case START_COUNTED:
        if (++state.starts == 1) register_driver(driver);
        break;
    case START_UNGUARDED:
        register_driver(driver);
        break;
    case START_TOOLKIT_GATED:
        if (state.starts != 0) return;
        if (!driver.start_toolkit || driver.start_toolkit() == 0) return;
        ++state.starts;
        register_driver(driver);
        break;
    }
}

void stop_registered_driver(const RegisteredDriver& driver) {
    RegisteredState& state = *driver.state;
    switch (driver.start) {
    case START_COUNTED:
        if (--state.starts != 0) return;
        II_UnregisterUDF(state.type);
        state.type = 0;
        if (driver.at_exit) driver.at_exit();
        break;
    case START_UNGUARDED:
        II_UnregisterUDF(state.type);
        state.type = 0;
        if (driver.at_exit) driver.at_exit();
        break;
    case START_TOOLKIT_GATED:
        // Code 0, when the driver never registered, leaves the table alone.
        II_UnregisterUDF(state.type);
        if (--state.starts == 0) state.type = 0;
        break;
    }
}

extern "C" {

int UDF_LibInit(void) {
    for (const RegisteredDriver* driver : kRegistered) start_registered_driver(*driver);
    return 1;
}

// Same order as the start, not reversed.
int UDF_LibExit(void) {
    for (const RegisteredDriver* driver : kRegistered) stop_registered_driver(*driver);
    return 1;
}

int registered_all_bands_in_row(int type) {
    for (const RegisteredDriver* driver : kRegistered)
        if (driver->all_bands_in_row && type > 0 && driver->state->type == static_cast<uint32_t>(type))
            return 1;
    return 0;
}

int registered_header_transform(int type, const char* name, double* transform) {
    for (const RegisteredDriver* driver : kRegistered)
        if (driver->header_transform && type > 0 && driver->state->type == static_cast<uint32_t>(type))
            return driver->header_transform(name, transform);
    return -1;
}

int UDF_LibCanExit(void) {
    for (const RegisteredDriver* driver : kRegistered) {
        if (!driver->asked_at_exit) continue;
        if (driver->can_exit && driver->can_exit() == 0) return 0;
    }
    return 1;
}

}  // extern "C"
