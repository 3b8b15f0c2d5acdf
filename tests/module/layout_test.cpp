// Where the bytes of every record and class of the public headers lie.
//
// Pinned here: size and the offset of each field of the two records of a sample, the small vectors, the values of a
// parameter set, the accounts of reads and samples, and the shared records; sizes of the classes that a host
// constructs, derives from or keeps in arrays, and the offsets of their fields. Recordings hold the records of a sample
// byte for byte, so these are the same on every system; the others differ where wchar_t or the standard library's
// classes differ, and say so.
//
// The order of virtual operations is pinned by tests/models/virtual_table_test.cpp and tests/engine/lifecycle_test.cpp.
#include "KORInterface/KORInterface.h"
#include "KORInterface/ParameterFile.h"
#include "KORInterface/ParameterSet.h"
#include "KORInterface/Session.h"
#include "KORInterface/SharedRecords.h"
#include "params/ParameterAccess.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <fstream>
#include <type_traits>
#include <vector>

namespace {

// Two bytes on Windows, four elsewhere.
constexpr bool kWideCharactersHave4Bytes = sizeof(wchar_t) == 4;
static_assert(kWideCharactersHave4Bytes || sizeof(wchar_t) == 2);

constexpr std::size_t onEither(std::size_t with4ByteCharacters, std::size_t with2ByteCharacters)
{
    return kWideCharactersHave4Bytes ? with4ByteCharacters : with2ByteCharacters;
}

constexpr std::size_t roundedUp(std::size_t size, std::size_t alignment)
{
    return (size + alignment - 1) / alignment * alignment;
}

// A field of an object: where it begins and where it belongs, bytes from the object's start.
struct Place {
    const char* field;
    std::size_t offset;
    std::size_t wanted;
};

template <typename Object, typename Field>
Place place(const Object& object, const char* name, const Field& field, std::size_t wanted)
{
    const auto* start = reinterpret_cast<const char*>(&object);
    return {name, static_cast<std::size_t>(reinterpret_cast<const char*>(&field) - start), wanted};
}

void expectPlaces(const std::vector<Place>& places)
{
    for (const Place& one : places) {
        EXPECT_EQ(one.offset, one.wanted) << one.field;
    }
}

template <typename Record>
constexpr bool isPlain = std::is_standard_layout_v<Record>&& std::is_trivially_copyable_v<Record>;

// Records of a sample --------------------------------------------------------------------------------------------

TEST(Layout, ofTheRawRecordIs68Bytes)
{
    EXPECT_EQ(sizeof(KOR_RAWINFO), 68U);
    EXPECT_EQ(alignof(KOR_RAWINFO), 4U);
    EXPECT_TRUE(isPlain<KOR_RAWINFO>);
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
    EXPECT_TRUE(isPlain<KOR_INFO>);
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

TEST(Layout, ofTheSmallVectorsIsTheirNumbersInOrder)
{
    EXPECT_TRUE(isPlain<D_VECTOR2> && isPlain<D_VECTOR3> && isPlain<F_VECTOR2> && isPlain<F_VECTOR4>);
    EXPECT_EQ(sizeof(D_VECTOR2), 16U);
    EXPECT_EQ(offsetof(D_VECTOR2, x), 0U);
    EXPECT_EQ(offsetof(D_VECTOR2, y), 8U);
    EXPECT_EQ(sizeof(D_VECTOR3), 24U);
    EXPECT_EQ(offsetof(D_VECTOR3, x), 0U);
    EXPECT_EQ(offsetof(D_VECTOR3, y), 8U);
    EXPECT_EQ(offsetof(D_VECTOR3, z), 16U);
    EXPECT_EQ(sizeof(F_VECTOR2), 8U);
    EXPECT_EQ(offsetof(F_VECTOR2, x), 0U);
    EXPECT_EQ(offsetof(F_VECTOR2, y), 4U);
    EXPECT_EQ(sizeof(F_VECTOR4), 16U);
    EXPECT_EQ(offsetof(F_VECTOR4, x), 0U);
    EXPECT_EQ(offsetof(F_VECTOR4, y), 4U);
    EXPECT_EQ(offsetof(F_VECTOR4, z), 8U);
    EXPECT_EQ(offsetof(F_VECTOR4, w), 12U);
}

// Shared records -------------------------------------------------------------------------------------------------

TEST(Layout, ofTheSmallSharedRecordsIsTheirMembersInOrder)
{
    EXPECT_EQ(sizeof(CBBManager), 56U);
    const CBBManager manager;
    expectPlaces({place(manager, "members", manager.members, 0), place(manager, "value", manager.value, 48)});

    EXPECT_EQ(sizeof(CLevel), 40U);
    const CLevel level;
    expectPlaces({place(level, "members", level.members, 0), place(level, "value", level.value, 32)});

    EXPECT_EQ(sizeof(CPhotoSensor), 24U);
    const CPhotoSensor photo;
    expectPlaces({place(photo, "values", photo.values, 0)});

    EXPECT_EQ(sizeof(JSplineBLandform), 48U);
    const JSplineBLandform spline;
    expectPlaces({place(spline, "members", spline.members, 0)});

    EXPECT_EQ(sizeof(CADMModule), sizeof(int));
    const CADMModule meter;
    expectPlaces({place(meter, "thermalStatus", meter.thermalStatus, 0)});
}

// Text members are wide characters, and the sequence is the standard library's.
TEST(Layout, ofTheHandProbesRecordFollowsTheSystemsWideCharacters)
{
    using Entry = CStyloPRM::PrmEntry;
    EXPECT_EQ(sizeof(Entry), onEither(92, 60));
    EXPECT_EQ(alignof(Entry), 4U);
    const Entry entry;
    expectPlaces({place(entry, "first", entry.first, 0), place(entry, "values", entry.values, 4),
                  place(entry, "name", entry.name, 20), place(entry, "last", entry.last, onEither(84, 52))});

    const std::size_t behindEntries = 216 + sizeof(std::vector<Entry>);
    const std::size_t fixed = behindEntries + 8 + 128;
    const std::size_t tail = fixed + 4 * sizeof(Entry);
    const std::size_t tailWords = roundedUp(tail + 5, 4);
    EXPECT_EQ(sizeof(CStyloPRM), roundedUp(tailWords + 16, 8));
    const CStyloPRM probe;
    expectPlaces(
        {place(probe, "leadingWord", probe.leadingWord, 0), place(probe, "leadingLong", probe.leadingLong, 8),
         place(probe, "leadingWords", probe.leadingWords, 16), place(probe, "leadingLongs", probe.leadingLongs, 48),
         place(probe, "readStatus", probe.readStatus, 112), place(probe, "statusWords", probe.statusWords, 116),
         place(probe, "statusLongs", probe.statusLongs, 152), place(probe, "entries", probe.entries, 216),
         place(probe, "entryWords", probe.entryWords, behindEntries),
         place(probe, "values", probe.values, behindEntries + 8),
         place(probe, "fixedEntries", probe.fixedEntries, fixed), place(probe, "tailBytes", probe.tailBytes, tail),
         place(probe, "tailWords", probe.tailWords, tailWords)});
}

// Engine and parameter set ---------------------------------------------------------------------------------------

TEST(Layout, ofAnEngineIsItsTableOfOperationsAndOnePointer)
{
    EXPECT_EQ(sizeof(CKor), 2 * sizeof(void*));
    EXPECT_EQ(alignof(CKor), alignof(void*));
    EXPECT_TRUE(std::is_polymorphic_v<CKor>);
}

TEST(Layout, ofAParameterSetIsItsValuesInOrder)
{
    using Set = kor::ParameterSet;
    EXPECT_TRUE(isPlain<Set>);
    EXPECT_EQ(sizeof(Set), 496U);
    EXPECT_EQ(alignof(Set), 8U);
    EXPECT_EQ(offsetof(Set, encoderOffsetAz), 0U);
    EXPECT_EQ(offsetof(Set, encoderOffsetEl), 8U);
    EXPECT_EQ(offsetof(Set, knownVector), 16U);
    EXPECT_EQ(offsetof(Set, localMatrix), 40U);
    EXPECT_EQ(offsetof(Set, machineMatrix), 112U);
    EXPECT_EQ(offsetof(Set, tiltOffset), 184U);
    EXPECT_EQ(offsetof(Set, thermalFactor), 192U);
    EXPECT_EQ(offsetof(Set, mountMode), 208U);
    EXPECT_EQ(offsetof(Set, admOffset), 212U);
    EXPECT_EQ(offsetof(Set, levelXCount), 216U);
    EXPECT_EQ(offsetof(Set, levelXTable), 224U);
    EXPECT_EQ(offsetof(Set, levelXCoeffs), 232U);
    EXPECT_EQ(offsetof(Set, levelYCount), 240U);
    EXPECT_EQ(offsetof(Set, levelYTable), 248U);
    EXPECT_EQ(offsetof(Set, levelYCoeffs), 256U);
    EXPECT_EQ(offsetof(Set, azCompCount), 264U);
    EXPECT_EQ(offsetof(Set, elCompCount), 268U);
    EXPECT_EQ(offsetof(Set, azCompTable), 272U);
    EXPECT_EQ(offsetof(Set, elCompTable), 280U);
    EXPECT_EQ(offsetof(Set, scaleFactors), 288U);
    EXPECT_EQ(offsetof(Set, azRollover), 320U);
    EXPECT_EQ(offsetof(Set, elRollover), 328U);
    EXPECT_EQ(offsetof(Set, qvcParameters), 336U);
    EXPECT_EQ(offsetof(Set, level1Parameters), 360U);
    EXPECT_EQ(offsetof(Set, level2Parameters), 388U);
    EXPECT_EQ(offsetof(Set, encoderHalfRangeAz), 416U);
    EXPECT_EQ(offsetof(Set, encoderHalfRangeEl), 420U);
    EXPECT_EQ(offsetof(Set, levelLimits), 424U);
    EXPECT_EQ(offsetof(Set, psdX), 440U);
    EXPECT_EQ(offsetof(Set, psdY), 452U);
    EXPECT_EQ(offsetof(Set, dynamicParameters), 464U);
}

TEST(Layout, ofAParameterSetObjectIsTwoFlagsTheDirectoryAndTheValues)
{
    EXPECT_FALSE(std::is_polymorphic_v<CKorPrm>);
    const CKorPrm prm;
    expectPlaces({place(prm, "prmDirectory", prm.prmDirectory, sizeof(wchar_t)),
                  place(prm, "the values", kor::ParameterAccess::set(prm), onEither(1024, 512))});
    EXPECT_EQ(sizeof(prm.prmDirectory), 255 * sizeof(wchar_t));
    EXPECT_EQ(sizeof(CKorPrm), onEither(1024, 512) + 496);
    EXPECT_EQ(alignof(CKorPrm), 8U);
}

// Accounts of reads and samples ----------------------------------------------------------------------------------

TEST(Layout, ofTheAccountOfASampleIsTheSameOnEverySystem)
{
    using Report = kor::SampleReport;
    EXPECT_TRUE(isPlain<Report>);
    EXPECT_EQ(sizeof(Report), 32U);
    EXPECT_EQ(offsetof(Report, outcome), 0U);
    EXPECT_EQ(offsetof(Report, reason), 4U);
    EXPECT_EQ(offsetof(Report, model), 8U);
    EXPECT_EQ(offsetof(Report, capturedReference), 12U);
    EXPECT_EQ(offsetof(Report, levelXOutside), 13U);
    EXPECT_EQ(offsetof(Report, levelYOutside), 14U);
    EXPECT_EQ(offsetof(Report, spoiledBy), 16U);
    EXPECT_EQ(offsetof(Report, spoiledSince), 24U);

    using Result = kor::SampleResult;
    EXPECT_TRUE(isPlain<Result>);
    EXPECT_EQ(sizeof(Result), 176U);
    EXPECT_EQ(offsetof(Result, info), 0U);
    EXPECT_EQ(offsetof(Result, matrix), 64U);
    EXPECT_EQ(offsetof(Result, matrixCode), 136U);
    EXPECT_EQ(offsetof(Result, report), 144U);
}

TEST(Layout, ofTheAccountOfAReadIsOnePointerAndItsFindingsArePlain)
{
    EXPECT_EQ(sizeof(kor::ReadReport), sizeof(void*));
    EXPECT_FALSE(std::is_polymorphic_v<kor::ReadReport>);

    using Finding = kor::ReadFinding;
    EXPECT_TRUE(isPlain<Finding>);
    EXPECT_EQ(sizeof(Finding), 64U);
    EXPECT_EQ(offsetof(Finding, kind), 0U);
    EXPECT_EQ(offsetof(Finding, line), 4U);
    EXPECT_EQ(offsetof(Finding, block), 8U);
    EXPECT_EQ(offsetof(Finding, expected), 16U);
    EXPECT_EQ(offsetof(Finding, found), 24U);
    EXPECT_EQ(offsetof(Finding, text), 32U);
    EXPECT_EQ(offsetof(Finding, values), 40U);
    EXPECT_EQ(offsetof(Finding, rows), 48U);
    EXPECT_EQ(offsetof(Finding, count), 56U);
}

TEST(Layout, ofTheAccountOfAParameterFileIsOnePointerAndItsPartsArePlain)
{
    EXPECT_EQ(sizeof(kor::ParameterFile), sizeof(void*));
    EXPECT_FALSE(std::is_polymorphic_v<kor::ParameterFile>);

    using Value = kor::ParameterValue;
    EXPECT_TRUE(isPlain<Value>);
    EXPECT_EQ(sizeof(Value), 32U);
    EXPECT_EQ(offsetof(Value, text), 0U);
    EXPECT_EQ(offsetof(Value, line), 8U);
    EXPECT_EQ(offsetof(Value, readable), 12U);
    EXPECT_EQ(offsetof(Value, number), 16U);
    EXPECT_EQ(offsetof(Value, single), 24U);

    using Block = kor::ParameterBlock;
    EXPECT_TRUE(isPlain<Block>);
    EXPECT_EQ(sizeof(Block), 120U);
    EXPECT_EQ(offsetof(Block, kind), 0U);
    EXPECT_EQ(offsetof(Block, title), 8U);
    EXPECT_EQ(offsetof(Block, line), 16U);
    EXPECT_EQ(offsetof(Block, lastLine), 20U);
    EXPECT_EQ(offsetof(Block, whole), 24U);
    EXPECT_EQ(offsetof(Block, integer), 56U);
    EXPECT_EQ(offsetof(Block, word), 64U);
    EXPECT_EQ(offsetof(Block, rows), 96U);
    EXPECT_EQ(offsetof(Block, columns), 100U);
    EXPECT_EQ(offsetof(Block, extras), 104U);
    EXPECT_EQ(offsetof(Block, unread), 112U);

    using Kind = kor::ParameterBlockKind;
    EXPECT_TRUE(isPlain<Kind>);
    EXPECT_EQ(sizeof(Kind), 32U);
    EXPECT_EQ(offsetof(Kind, title), 0U);
    EXPECT_EQ(offsetof(Kind, layout), 8U);
    EXPECT_EQ(offsetof(Kind, rows), 12U);
    EXPECT_EQ(offsetof(Kind, columns), 16U);
    EXPECT_EQ(offsetof(Kind, fields), 20U);
    EXPECT_EQ(offsetof(Kind, required), 24U);
    EXPECT_EQ(offsetof(Kind, modeSevenUp), 25U);

    using Field = kor::ParameterField;
    EXPECT_TRUE(isPlain<Field>);
    EXPECT_EQ(sizeof(Field), 40U);
    EXPECT_EQ(offsetof(Field, name), 0U);
    EXPECT_EQ(offsetof(Field, unit), 8U);
    EXPECT_EQ(offsetof(Field, least), 16U);
    EXPECT_EQ(offsetof(Field, most), 24U);
    EXPECT_EQ(offsetof(Field, eitherSign), 32U);
}

TEST(Layout, ofTheReportOfACheckIsOnePointerAndItsFindingsArePlain)
{
    EXPECT_EQ(sizeof(kor::CheckReport), sizeof(void*));
    EXPECT_FALSE(std::is_polymorphic_v<kor::CheckReport>);

    using Finding = kor::CheckFinding;
    EXPECT_TRUE(isPlain<Finding>);
    EXPECT_EQ(sizeof(Finding), 72U);
    EXPECT_EQ(offsetof(Finding, severity), 0U);
    EXPECT_EQ(offsetof(Finding, line), 4U);
    EXPECT_EQ(offsetof(Finding, rule), 8U);
    EXPECT_EQ(offsetof(Finding, block), 16U);
    EXPECT_EQ(offsetof(Finding, field), 24U);
    EXPECT_EQ(offsetof(Finding, found), 32U);
    EXPECT_EQ(offsetof(Finding, expected), 40U);
    EXPECT_EQ(offsetof(Finding, advice), 48U);
    EXPECT_EQ(offsetof(Finding, text), 56U);
    EXPECT_EQ(offsetof(Finding, more), 64U);

    using Rule = kor::CheckRule;
    EXPECT_TRUE(isPlain<Rule>);
    EXPECT_EQ(sizeof(Rule), 24U);
    EXPECT_EQ(offsetof(Rule, name), 0U);
    EXPECT_EQ(offsetof(Rule, severity), 8U);
    EXPECT_EQ(offsetof(Rule, meaning), 16U);
}

TEST(Layout, ofTheConfigurationsOptionsIsFiveFlagsAndFourNumbers)
{
    EXPECT_EQ(sizeof(kor::ConfigureOptions), 24U);
    EXPECT_EQ(alignof(kor::ConfigureOptions), 4U);
    EXPECT_TRUE(std::is_trivially_copyable_v<kor::ConfigureOptions>);
}

// Models ---------------------------------------------------------------------------------------------------------

// Ways in to the protected fields. The offsets are those of g++, clang and MinGW on 64-bit systems, where a derived
// class begins at the next place that is aligned for it.
struct OpenModel : CKorModel {
    std::vector<Place> places() const
    {
        const CKorModel& self = *this;
        return {place(self, "sFactors", sFactors, 8),
                place(self, "iMMode", iMMode, 40),
                place(self, "qvcParameters", qvcParameters, 44),
                place(self, "level1Parameters", level1Parameters, 68),
                place(self, "level2Parameters", level2Parameters, 96),
                place(self, "qvcMatrix", qvcMatrix, 124)};
    }
};

struct OpenFirstVersion : CKorThreeVec2Level {
    std::vector<Place> places() const
    {
        const CKorThreeVec2Level& self = *this;
        return {place(self, "m_posHistL1", m_posHistL1, 152),
                place(self, "m_velHistL1", m_velHistL1, 2600),
                place(self, "m_accL1", m_accL1, 5048),
                place(self, "m_accAlongL1", m_accAlongL1, 5072),
                place(self, "m_level1Filtered", m_level1Filtered, 5080),
                place(self, "m_posHistL2", m_posHistL2, 5088),
                place(self, "m_velHistL2", m_velHistL2, 7536),
                place(self, "m_accL2", m_accL2, 9984),
                place(self, "m_accAlongL2", m_accAlongL2, 10008),
                place(self, "m_level2Filtered", m_level2Filtered, 10016),
                place(self, "m_counterL1", m_counterL1, 10024),
                place(self, "m_counterL2", m_counterL2, 10028),
                place(self, "m_level1Excluded", m_level1Excluded, 10032),
                place(self, "m_level2Excluded", m_level2Excluded, 10033),
                place(self, "m_timeL1", m_timeL1, 10040),
                place(self, "m_timeL2", m_timeL2, 10048),
                place(self, "m_filterLength", m_filterLength, 10056),
                place(self, "m_filterCountL1", m_filterCountL1, 10060),
                place(self, "m_filterReserve", m_filterReserve, 10064),
                place(self, "m_filterBufL1", m_filterBufL1, 10072),
                place(self, "m_filterBufL2", m_filterBufL2, 10080),
                place(self, "m_filterCountL2", m_filterCountL2, 10088),
                place(self, "m_lastLevel2Output", m_lastLevel2Output, 10096),
                place(self, "m_driftA", m_driftA, 10104),
                place(self, "m_driftB", m_driftB, 10112)};
    }
};

struct OpenSecondVersion : CKorThreeVec2Levelv2 {
    std::vector<Place> places() const
    {
        const CKorThreeVec2Levelv2& self = *this;
        return {place(self, "m_ringIndex", m_ringIndex, 10120),
                place(self, "m_rawRing", m_rawRing, 10128),
                place(self, "m_filteredRing", m_filteredRing, 13800),
                place(self, "m_psdRing", m_psdRing, 17472),
                place(self, "m_psdFilteredRing", m_psdFilteredRing, 18288),
                place(self, "m_axisZRing", m_axisZRing, 19104),
                place(self, "m_accAlongL1v2", m_accAlongL1v2, 19920),
                place(self, "m_level1Value", m_level1Value, 19928),
                place(self, "m_accVectorV2", m_accVectorV2, 19936),
                place(self, "m_accAlongL2v2", m_accAlongL2v2, 19960),
                place(self, "m_level2Value", m_level2Value, 19968),
                place(self, "m_counterL1v2", m_counterL1v2, 19976),
                place(self, "m_counterL2v2", m_counterL2v2, 19980),
                place(self, "m_level1ExcludedV2", m_level1ExcludedV2, 19984),
                place(self, "m_level2ExcludedV2", m_level2ExcludedV2, 19985),
                place(self, "m_timeL1v2", m_timeL1v2, 19992),
                place(self, "m_timeL2v2", m_timeL2v2, 20000),
                place(self, "m_shortLength", m_shortLength, 20008),
                place(self, "m_logStream", m_logStream, 20016),
                place(self, "m_dynamicParams", m_dynamicParams, 20016 + sizeof(std::ofstream))};
    }
};

TEST(Layout, ofAModelIsItsParameterArraysInOrder)
{
    EXPECT_EQ(sizeof(CKorModel), 152U);
    EXPECT_EQ(alignof(CKorModel), 8U);
    expectPlaces(OpenModel().places());
}

TEST(Layout, ofTheGeometricModelsIsThatOfTheBase)
{
    EXPECT_EQ(sizeof(CKorDualLevel), sizeof(CKorModel));
    EXPECT_EQ(sizeof(CKorPendulum), sizeof(CKorModel));
    EXPECT_EQ(sizeof(CKorPolarizer), sizeof(CKorModel));
    EXPECT_EQ(sizeof(CKorThreeVec), sizeof(CKorModel));
}

TEST(Layout, ofTheFirstTwoLevelModelIsItsMembersInOrder)
{
    EXPECT_EQ(sizeof(CKorThreeVec2Level), 10120U);
    expectPlaces(OpenFirstVersion().places());
}

// The stream is the standard library's.
TEST(Layout, ofTheSecondTwoLevelModelIsItsMembersInOrder)
{
    EXPECT_EQ(sizeof(CKorThreeVec2Levelv2), roundedUp(20016 + sizeof(std::ofstream) + 28, 8));
    expectPlaces(OpenSecondVersion().places());
}

} // namespace
