// The library's drivers as the first manager of a fresh process registers
// them. Codes are never reused in a process, so this runs alone in its own
// executable, as a single test.

#include <gtest/gtest.h>
#include <tarnimage/naming.h>
#include <tarnimage/tarnimage.h>

#include "udf/udf.h"

namespace {

// Built also with the IMAGINE driver switched off, when eight drivers register.
const uint32_t kDrivers = TARN_WITH_IMAGINE ? 9 : 8;

void expect_drivers_from(uint32_t first) {
    const char* const keywords[] = {"gif", "SRP", "ArcDRG", "CADRG", "CIB", "JPG", "NITF", "TIFF6", "ERDAS Imagine"};
    for (uint32_t i = 0; i < kDrivers; ++i) {
        const UDFRecord* slot = UDFindex(i);
        ASSERT_NE(slot, nullptr) << i;
        EXPECT_EQ(slot->type, first + i);
        EXPECT_STREQ(slot->keyword, keywords[i]);
    }
    EXPECT_EQ(UDFindex(kDrivers), nullptr);
    EXPECT_EQ(UDFsuffix("img"), TARN_WITH_IMAGINE ? first + 8 : 0u);
    EXPECT_EQ(UDFsuffix("tif"), first + 7);
    EXPECT_EQ(UDFsuffix("TIF"), 0u);
}

TEST(FreshProcess, ManagersStartAndStopTheDrivers) {
    EXPECT_EQ(UDFindex(0), nullptr);
    IInternalImageManager* first = getManager();
    ASSERT_NE(first, nullptr);
    expect_drivers_from(1001);
    EXPECT_EQ(keyword_from_type(nullptr, 1008), -1);

    // A second manager starts nothing; the last one to go stops the drivers.
    IInternalImageManager* second = getManager();
    first->release();
    expect_drivers_from(1001);
    second->release();
    EXPECT_EQ(UDFindex(0), nullptr);
    EXPECT_EQ(UDFsuffix("tif"), 0u);

    // A new manager registers them again, under fresh codes.
    IInternalImageManager* third = getManager();
    expect_drivers_from(1001 + kDrivers);
    third->release();
    EXPECT_EQ(UDFindex(0), nullptr);
}

}  // namespace
