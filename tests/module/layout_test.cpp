// Sizes and offsets of the records that hosts and recordings share byte for byte, the same on every platform.
#include "KORInterface/Records.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

namespace {

TEST(Layout, ofTheRawRecordIs68Bytes)
{
    EXPECT_EQ(sizeof(KOR_RAWINFO), 68U);
    EXPECT_EQ(alignof(KOR_RAWINFO), 4U);
    EXPECT_TRUE(std::is_standard_layout_v<KOR_RAWINFO> && std::is_trivially_copyable_v<KOR_RAWINFO>);
    EXPECT_EQ(offsetof(KOR_RAWINFO, reserved0), 0U);
    EXPECT_EQ(offsetof(KOR_RAWINFO, status), 4U);
    EXPECT_EQ(offsetof(KOR_RAWINFO, sensorVector), 8U);
    EXPECT_EQ(offsetof(KOR_RAWINFO, azimuthRaw), 20U);
    EXPECT_EQ(offsetof(KOR_RAWINFO, elevationRaw), 24U);
    EXPECT_EQ(offsetof(KOR_RAWINFO, levelXRaw), 28U);
    EXPECT_EQ(offsetof(KOR_RAWINFO, levelYRaw), 32U);
    EXPECT_EQ(offsetof(KOR_RAWINFO, levelTemperature), 36U);
    EXPECT_EQ(offsetof(KOR_RAWINFO, referenceGate), 40U);
    EXPECT_EQ(offsetof(KOR_RAWINFO, reserved44), 44U);
    EXPECT_EQ(offsetof(KOR_RAWINFO, referenceHold), 48U);
    EXPECT_EQ(offsetof(KOR_RAWINFO, reserved49), 49U);
    EXPECT_EQ(offsetof(KOR_RAWINFO, temperatureCount), 52U);
    EXPECT_EQ(offsetof(KOR_RAWINFO, timeStampMs), 64U);
}

TEST(Layout, ofTheResultRecordIs60Bytes)
{
    EXPECT_EQ(sizeof(KOR_INFO), 60U);
    EXPECT_EQ(alignof(KOR_INFO), 4U);
    EXPECT_TRUE(std::is_standard_layout_v<KOR_INFO> && std::is_trivially_copyable_v<KOR_INFO>);
    EXPECT_EQ(offsetof(KOR_INFO, reserved0), 0U);
    EXPECT_EQ(offsetof(KOR_INFO, azimuth), 4U);
    EXPECT_EQ(offsetof(KOR_INFO, elevation), 8U);
    EXPECT_EQ(offsetof(KOR_INFO, levelX), 12U);
    EXPECT_EQ(offsetof(KOR_INFO, levelY), 16U);
    EXPECT_EQ(offsetof(KOR_INFO, orientationAngles), 20U);
    EXPECT_EQ(offsetof(KOR_INFO, reserved32), 32U);
    EXPECT_EQ(offsetof(KOR_INFO, sensorOut), 36U);
    EXPECT_EQ(offsetof(KOR_INFO, temperature), 48U);
}

} // namespace
